#include "simulated/MachineJson.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "simulated/WideText.h"

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
    // Without READ_CONTROL, which both hold: refusing to write must not refuse to read.
    {"KEY_READ", 0x19},
    {"KEY_WRITE", 0x6},
    {"KEY_ALL_ACCESS", 0xF003F}};

/** A member's name as an error line can show it: it may hold line ends. */
std::string OnOneLine(std::string name) {
  std::ranges::replace_if(
      name, [](char byte) { return static_cast<unsigned char>(byte) < 0x20; }, '?');
  return name;
}

class Reader {
 public:
  explicit Reader(const std::string& fileName) : fileName_(fileName) {}

  MachineDescription Read(const json& root) {
    if (!root.is_object()) throw MachineError(fileName_ + ": not an object; write {\"member\": ...}");
    for (const auto& [name, value] : root.items()) ReadMember(name, value);
    return std::move(description_);
  }

 private:
  [[noreturn]] void Fail(const std::string& member, const std::string& what) const {
    throw MachineError(fileName_ + ": " + OnOneLine(member) + ": " + what);
  }

  std::u16string Text(const json& value, const std::string& member) const {
    if (!value.is_string() || value.get_ref<const std::string&>().empty())
      Fail(member, "must be a text that is not empty; correct it");
    return FromUtf8(value.get_ref<const std::string&>());
  }
  const json& Object(const json& value, const std::string& member) const {
    if (!value.is_object()) Fail(member, "must be an object; write {\"name\": ...}");
    return value;
  }
  const json& Array(const json& value, const std::string& member) const {
    if (!value.is_array()) Fail(member, "must be a list; write [...]");
    return value;
  }

  void ReadMember(const std::string& name, const json& value);
  void ReadUser(const json& value);
  void ReadEnvironment(const json& value);
  void ReadElevation(const json& value);
  void ReadDeniedAccess(const json& value);
  platform::DWORD Rights(const json& names, const std::string& member) const;
  void CheckDisks(const json& value) const;
  void CheckAppsFolder(const json& value) const;
  void CheckPrograms(const json& value) const;

  const std::string& fileName_;
  MachineDescription description_;
};

void Reader::ReadMember(const std::string& name, const json& value) {
  if (name == "user") return ReadUser(value);
  if (name == "environment") return ReadEnvironment(value);
  if (name == "hostPath") return void(description_.hostPath = Text(value, name));
  if (name == "currentDirectory") return void(description_.currentDirectory = Text(value, name));
  if (name == "elevation") return ReadElevation(value);
  if (name == "deniedAccess") return ReadDeniedAccess(value);
  if (name == "disks") return CheckDisks(value);
  if (name == "graphicsAdapters") {
    for (const json& adapter : Array(value, name)) static_cast<void>(Text(adapter, name));
    return;
  }
  if (name == "appsFolder") return CheckAppsFolder(value);
  if (name == "programs") return CheckPrograms(value);
  Fail(name, "unknown; remove it, or see docs/machine-directory.md for what there is");
}

void Reader::ReadUser(const json& value) {
  for (const auto& [name, member] : Object(value, "user").items()) {
    const std::u16string text = Text(member, "user." + name);
    if (name == "sid" && !text.starts_with(u"S-1-")) Fail("user.sid", "no SID; write it as S-1-5-21-...");
    if (name == "sid")
      description_.userSid = text;
    else if (name != "name")
      Fail("user." + name, "unknown; a user has a name and a sid");
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

void Reader::ReadDeniedAccess(const json& value) {
  for (const auto& [path, rights] : Object(value, "deniedAccess").items())
    description_.deniedRights[FromUtf8(path)] = Rights(rights, "deniedAccess." + path);
}

platform::DWORD Reader::Rights(const json& names, const std::string& member) const {
  platform::DWORD rights = 0;
  for (const json& name : Array(names, member)) {
    const auto right = name.is_string() ? kRights.find(name.get_ref<const std::string&>()) : kRights.end();
    if (right == kRights.end())
      Fail(member, "unknown right; name it as Windows does, such as KEY_READ or DELETE");
    rights |= right->second;
  }
  return rights;
}

void Reader::CheckDisks(const json& value) const {
  for (const auto& [letter, disk] : Object(value, "disks").items()) {
    const std::string member = "disks." + letter;
    if (letter.size() != 1 || (letter[0] | 0x20) < 'a' || (letter[0] | 0x20) > 'z')
      Fail(member, "no drive letter; write one of A to Z");
    for (const auto& [name, bytes] : Object(disk, member).items()) {
      if (name != "freeBytes" && name != "sizeBytes")
        Fail(member + "." + name, "unknown; a disk has freeBytes and sizeBytes");
      if (!bytes.is_number_unsigned())
        Fail(member + "." + name, "must be a whole number of bytes; correct it");
    }
  }
}

void Reader::CheckAppsFolder(const json& value) const {
  for (const json& app : Array(value, "appsFolder"))
    for (const auto& [name, text] : Object(app, "appsFolder").items()) {
      if (name != "name" && name != "id") Fail("appsFolder." + name, "unknown; an app has a name and an id");
      static_cast<void>(Text(text, "appsFolder." + name));
    }
}

void Reader::CheckPrograms(const json& value) const {
  for (const auto& [path, program] : Object(value, "programs").items())
    static_cast<void>(Object(program, "programs." + path));
}

/** The part of the library's message that says what was found, on one line. */
std::string Explanation(const json::parse_error& error) {
  const std::string message = error.what();
  const std::size_t start = message.find("syntax error");
  return start == message.npos ? message : message.substr(start);
}

}  // namespace

MachineDescription ParseMachineJson(std::span<const std::uint8_t> bytes, const std::string& fileName) {
  try {
    return Reader(fileName).Read(json::parse(bytes.begin(), bytes.end()));
  } catch (const json::parse_error& error) {
    const auto before = static_cast<std::ptrdiff_t>(std::min(error.byte, bytes.size()));
    const auto line = 1 + std::count(bytes.begin(), bytes.begin() + before, '\n');
    throw MachineError(fileName + ":" + std::to_string(line) + ": " + Explanation(error) +
                       "; correct the JSON");
  } catch (const json::out_of_range& error) {
    // The library does not tell where such a number stands, but it quotes it.
    const std::string message = error.what();
    throw MachineError(fileName + ": " + message.substr(message.find(']') + 2) + "; correct the number");
  }
}

void ApplyFacts(const MachineDescription& description, Machine& machine) {
  if (description.userSid) machine.registry.SetUser(*description.userSid);
  if (description.environment) {
    machine.environment.Clear();
    for (const auto& [name, value] : *description.environment) machine.environment.Set(name, value);
  }
  machine.hostPath = description.hostPath.value_or(machine.hostPath);
  machine.currentDirectory = description.currentDirectory.value_or(machine.currentDirectory);
  machine.elevationGranted = description.elevationGranted.value_or(machine.elevationGranted);
}

void ApplyDeniedRights(const MachineDescription& description, const std::string& fileName, Machine& machine) {
  for (const auto& [path, rights] : description.deniedRights) {
    if (!machine.registry.Find(path))
      throw MachineError(fileName + ": deniedAccess." + OnOneLine(ToUtf8(path)) +
                         ": no such key in the registry; correct its path");
    machine.registry.Deny(path, rights);
  }
}

}  // namespace simulated
