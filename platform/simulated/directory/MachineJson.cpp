#include "simulated/directory/MachineJson.h"

#include "simulated/base/WideText.h"
#include "simulated/directory/JsonShape.h"

namespace simulated {
namespace {

using nlohmann::json;

const std::map<std::string_view, platform::DWORD> kRights = {
    {"KEY_QUERY_VALUE", 0x1},
    {"KEY_SET_VALUE", 0x2},
    {"KEY_CREATE_SUB_KEY", 0x4},
    {"KEY_ENUMERATE_SUB_KEYS", 0x8},
    {"KEY_NOTIFY", 0x10},
    {"DELETE", 0x10000},
    // Without READ_CONTROL, which is in both: a refusal to write must not refuse to read.
    {"KEY_READ", 0x19},
    {"KEY_WRITE", 0x6},
    {"KEY_ALL_ACCESS", 0xF003F}};

class Reader : JsonShape {
 public:
  using JsonShape::JsonShape;

  MachineDescription Read(const json& root) {
    if (!root.is_object()) Fail("", "not an object; write {\"member\": ...}");
    // First, because a newer format may have members that are unknown here.
    if (root.contains("capture")) description_.capture = ReadCapture(*this, root);
    for (const auto& [name, value] : root.items()) ReadMember(name, value);
    return std::move(description_);
  }

 private:
  void ReadMember(const std::string& name, const json& value);
  void ReadUser(const json& value);
  void ReadEnvironment(const json& value);
  void ReadElevation(const json& value);
  void ReadRegistryOrder(const json& value);
  void ReadDeniedAccess(const json& value);
  platform::DWORD Rights(const json& names, const std::string& member) const;
  void ReadDisks(const json& value);
  std::uint64_t Bytes(const json& disk, const char* name, const std::string& member) const;
  void ReadGraphicsAdapters(const json& value);
  void ReadAppsFolder(const json& value);
  AppsFolderItem ReadApp(const json& value, const std::string& member) const;

  MachineDescription description_;
};

void Reader::ReadMember(const std::string& name, const json& value) {
  if (name == "capture") return;
  if (name == "user") return ReadUser(value);
  if (name == "environment") return ReadEnvironment(value);
  if (name == "hostPath") return void(description_.hostPath = Text(value, name));
  if (name == "currentDirectory") return void(description_.currentDirectory = Text(value, name));
  if (name == "elevation") return ReadElevation(value);
  if (name == "registryOrder") return ReadRegistryOrder(value);
  if (name == "deniedAccess") return ReadDeniedAccess(value);
  if (name == "disks") return ReadDisks(value);
  if (name == "graphicsAdapters") return ReadGraphicsAdapters(value);
  if (name == "appsFolder") return ReadAppsFolder(value);
  if (name == "programs") return void(description_.programs = ReadPrograms(*this, value));
  Fail(name, "unknown; remove it, or see docs/machine-directory.md for what there is");
}

void Reader::ReadUser(const json& value) {
  for (const auto& [name, member] : Object(value, "user").items()) {
    const std::u16string text = Text(member, "user." + name);
    // A profile of a volume may have no SID: its hive has the name of its folder.
    const bool isKey =
        text.size() <= Key::kLongestName && text.find_first_of(std::u16string_view(u"\\\0", 2)) == text.npos;
    if (name == "sid" && !isKey) Fail("user.sid", "not the name of a hive; write it as S-1-5-21-...");
    if (name != "sid" && name != "name") Fail("user." + name, "unknown; a user has a name and a sid");
    (name == "sid" ? description_.userSid : description_.userName) = text;
  }
}

void Reader::ReadEnvironment(const json& value) {
  auto& environment = description_.environment.emplace();
  for (const auto& [name, text] : Object(value, "environment").items()) {
    if (name.empty() || name.find('=') != name.npos)
      Fail("environment." + name, "no variable's name; correct it");
    if (!text.is_string()) Fail("environment." + name, "must be a text; put it in quotes");
    environment[FromUtf8(name)] = FromUtf8(text.get_ref<const std::string&>());
  }
}

void Reader::ReadElevation(const json& value) {
  if (value != "granted" && value != "refused")
    Fail("elevation", "must be \"granted\" or \"refused\"; correct it");
  description_.elevationGranted = value == "granted";
}

void Reader::ReadRegistryOrder(const json& value) {
  if (value != "sorted" && value != "as listed")
    Fail("registryOrder", "must be \"sorted\" or \"as listed\"; correct it");
  description_.listsAsMade = value == "as listed";
}

void Reader::ReadDeniedAccess(const json& value) {
  for (const auto& [path, rights] : Object(value, "deniedAccess").items())
    description_.deniedRights[FromUtf8(path)] = Rights(rights, "deniedAccess." + path);
}

platform::DWORD Reader::Rights(const json& names, const std::string& member) const {
  platform::DWORD rights = 0;
  std::size_t count = 0;
  for (const json& name : Array(names, member)) {
    const auto right = name.is_string() ? kRights.find(name.get_ref<const std::string&>()) : kRights.end();
    if (right == kRights.end())
      Fail(Element(member, count), "unknown right; name it as Windows does, such as KEY_READ or DELETE");
    rights |= right->second;
    ++count;
  }
  return rights;
}

std::uint64_t Reader::Bytes(const json& disk, const char* name, const std::string& member) const {
  const auto found = disk.find(name);
  if (found == disk.end() || !found->is_number_unsigned())
    Fail(member + "." + name, "must be a whole number of bytes; correct it");
  return found->get<std::uint64_t>();
}

void Reader::ReadDisks(const json& value) {
  for (const auto& [letter, disk] : Object(value, "disks").items()) {
    const std::string member = "disks." + letter;
    if (letter.size() != 1 || (letter[0] | 0x20) < 'a' || (letter[0] | 0x20) > 'z')
      Fail(member, "no drive letter; write one of A to Z");
    for (const auto& [name, bytes] : Object(disk, member).items())
      if (name != "freeBytes" && name != "sizeBytes")
        Fail(member + "." + name, "unknown; a disk has freeBytes and sizeBytes");
    const DriveSpace space{Bytes(disk, "freeBytes", member), Bytes(disk, "sizeBytes", member)};
    if (space.freeBytes > space.sizeBytes) Fail(member, "more free than there is; correct it");
    description_.disks[static_cast<char16_t>(letter[0])] = space;
  }
}

void Reader::ReadGraphicsAdapters(const json& value) {
  for (const json& adapter : Array(value, "graphicsAdapters")) {
    const std::string member = Element("graphicsAdapters", description_.graphicsAdapters.size());
    auto& name = description_.graphicsAdapters.emplace_back();
    if (!adapter.is_null()) name = Text(adapter, member);
  }
}

void Reader::ReadAppsFolder(const json& value) {
  description_.appsFolder.isThere = !value.is_null();
  if (value.is_null()) return;
  for (const json& app : Array(value, "appsFolder")) {
    const std::string member = Element("appsFolder", description_.appsFolder.items.size());
    auto& item = description_.appsFolder.items.emplace_back();
    if (!app.is_null()) item = ReadApp(app, member);
  }
}

AppsFolderItem Reader::ReadApp(const json& value, const std::string& member) const {
  AppsFolderItem item;
  for (const auto& [name, text] : Object(value, member).items()) {
    const std::string place = member + "." + name;
    if (name != "name" && name != "id") Fail(place, "unknown; an app has a name and an id");
    // An empty name is allowed: the shell may have one.
    if (!text.is_string()) Fail(place, "must be a text; put it in quotes");
    (name == "name" ? item.name : item.id) = FromUtf8(text.get_ref<const std::string&>());
  }
  return item;
}

}  // namespace

MachineDescription ParseMachineJson(std::span<const std::uint8_t> bytes, const std::string& fileName) {
  JsonFile file = ParseJsonFile(bytes, fileName);
  MachineDescription description = Reader(fileName, file.lines).Read(file.root);
  description.lines = std::move(file.lines);
  return description;
}

void ApplyFacts(const MachineDescription& description, Machine& machine) {
  if (description.environment) machine.environment.Clear();
  AddFacts(description, machine);
}

void AddFacts(const MachineDescription& description, Machine& machine) {
  if (description.listsAsMade) machine.registry.ListAsMade();
  if (description.userSid) machine.registry.SetUser(*description.userSid);
  if (description.userName) machine.environment.Set(u"USERNAME", *description.userName);
  if (description.environment)
    for (const auto& [name, value] : *description.environment) machine.environment.Set(name, value);
  for (const auto& [letter, space] : description.disks) machine.drives.SetSpace(letter, space);
  machine.graphicsAdapters = description.graphicsAdapters;
  machine.appsFolder = description.appsFolder;
  machine.hostPath = description.hostPath.value_or(machine.hostPath);
  machine.currentDirectory = description.currentDirectory.value_or(machine.currentDirectory);
  machine.elevationGranted = description.elevationGranted.value_or(machine.elevationGranted);
}

void ApplyDeniedRights(const MachineDescription& description, const std::string& fileName, Machine& machine) {
  const JsonShape shape(fileName, description.lines);
  for (const auto& [path, rights] : description.deniedRights) {
    if (!machine.registry.Find(path))
      shape.Fail("deniedAccess." + ToUtf8(path), "no such key in the registry; correct its path");
    machine.registry.Deny(path, rights);
  }
}

}  // namespace simulated
