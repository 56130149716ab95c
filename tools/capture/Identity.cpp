#include <algorithm>

#include "FixedNames.h"
#include "MachineCalls.h"
#include "Redaction.h"
#include "Text.h"
#include "platform/Constants.h"
#include "platform/Registry.h"
#include "platform/Text.h"

namespace capture {
namespace {

using platform::DWORD;
using platform::HKEY;

constexpr std::u16string_view kProfiles = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";

constexpr std::size_t kRoomChars = 32768;

std::u16string Expanded(const std::u16string& text) {
  std::u16string expanded(kRoomChars, u'\0');
  platform::ExpandEnvironmentStringsW(text.c_str(), expanded.data(), static_cast<DWORD>(expanded.size()));
  return expanded.c_str();
}

/** Reads a text of the registry and expands its variables; empty on failure. */
std::u16string Read(std::u16string_view path, const char16_t* name,
                    platform::REGSAM view = platform::KEY_WOW64_64KEY) {
  HKEY key = nullptr;
  if (platform::RegOpenKeyExW(platform::HKEY_LOCAL_MACHINE, std::u16string(path).c_str(), 0,
                              platform::KEY_READ | view, &key) != 0)
    return {};
  std::u16string text(kRoomChars, u'\0');
  auto bytes = static_cast<DWORD>((text.size() - 1) * sizeof(char16_t));
  DWORD type = 0;
  const auto status = platform::RegQueryValueExW(key, name, nullptr, &type,
                                                 reinterpret_cast<platform::BYTE*>(text.data()), &bytes);
  platform::RegCloseKey(key);
  const bool isText = type == platform::REG_SZ || type == platform::REG_EXPAND_SZ;
  return status == 0 && isText ? Expanded(text.c_str()) : std::u16string();
}

std::vector<std::u16string> SubKeys(HKEY root, std::u16string_view path) {
  std::vector<std::u16string> names;
  HKEY key = nullptr;
  const DWORD access = platform::KEY_READ | platform::KEY_WOW64_64KEY;
  if (platform::RegOpenKeyExW(root, std::u16string(path).c_str(), 0, access, &key) != 0) return names;
  char16_t name[260];
  for (DWORD index = 0, chars = 260;
       platform::RegEnumKeyExW(key, index, name, &chars, nullptr, nullptr, nullptr, nullptr) == 0;
       ++index, chars = 260)
    names.emplace_back(name);
  platform::RegCloseKey(key);
  return names;
}

std::u16string LastName(std::u16string_view path) {
  return std::u16string(path.substr(path.find_last_of(u"\\/") + 1));
}

/** Returns the path Folded() and without a separator at its end; empty if it is not a folder on a drive. */
std::u16string FolderOf(std::u16string_view path) {
  while (path.ends_with(u'\\') || path.ends_with(u'/')) path.remove_suffix(1);
  return path.size() < 4 || path[1] != u':' ? std::u16string() : Folded(path);
}

bool IsWindowsOwn(const std::u16string& folder) {
  return folder.find(u"\\SERVICEPROFILES\\") != folder.npos || folder.find(u"\\SYSTEMPROFILE") != folder.npos;
}

/** Adds a user folder, and its last name, which is usually the name of the user. */
void AddFolder(const std::u16string& path, Identity& identity) {
  std::vector<std::u16string>& folders = identity.places.folders;
  const std::u16string folder = FolderOf(path);
  if (folder.empty() || IsWindowsOwn(folder) || std::ranges::find(folders, folder) != folders.end()) return;
  folders.push_back(folder);
  identity.users.push_back(LastName(folder));
}

/** Adds the names of the account that captures, unless it is one in which services run on every machine. */
void AddAccount(const CapturedMachine& machine, Identity& identity) {
  for (const std::u16string_view service : {u"S-1-5-18", u"S-1-5-19", u"S-1-5-20"}) {
    if (machine.userSid == service) return;
  }
  identity.users.push_back(LastName(machine.account));
  const std::size_t separator = machine.account.find(u'\\');
  if (separator != machine.account.npos) identity.computers.push_back(machine.account.substr(0, separator));
}

void AddFolders(const CapturedMachine& machine, Identity& identity) {
  AddFolder(machine.Variable(u"USERPROFILE"), identity);
  for (const std::u16string& sid : SubKeys(platform::HKEY_LOCAL_MACHINE, kProfiles))
    AddFolder(Read(std::u16string(kProfiles) + u"\\" + sid, u"ProfileImagePath"), identity);
  const std::u16string root = FolderOf(Read(kProfiles, u"ProfilesDirectory"));
  if (!root.empty()) identity.places.roots.push_back(root);
}

/** Adds the names of hives that are no SIDs. On a volume, a profile without a SID has the name of its folder.
 */
void AddHives(Identity& identity) {
  for (const std::u16string& name : SubKeys(platform::HKEY_USERS, u"")) {
    if (!name.starts_with(u"S-1-") && Folded(name) != u".DEFAULT") identity.users.push_back(name);
  }
}

void AddVariables(const CapturedMachine& machine, Identity& identity) {
  FolderPlaces& places = identity.places;
  const UserFolders folders(places);
  for (const auto& [name, value] : EnvironmentVariables()) {
    const std::u16string variable = AsciiUpper(name);
    const std::u16string folder = FolderOf(value);
    PersonalParts parts;
    folders.Find(value, true, parts);
    const bool isOther =
        parts.empty() && IsUsersVariable(variable) && !folder.empty() && !IsWindowsOwn(folder);
    if (isOther) places.others.push_back(folder);
    const bool isPath = value.size() >= 2 && (value[1] == u':' || value.starts_with(u"\\\\"));
    places.variables.emplace(variable, !parts.empty() || isOther ? VariableValue::UsersFolder
                                       : isPath                  ? VariableValue::OtherPath
                                                                 : VariableValue::OtherText);
  }
  for (const auto& [name, value] : machine.environment) places.captured.insert(AsciiUpper(name));
}

std::u16string TextOf(const CapturedValue& value) {
  std::u16string text;
  for (std::size_t i = 0; IsText(value) && i + 1 < value.bytes.size(); i += 2)
    text += static_cast<char16_t>(value.bytes[i] | value.bytes[i + 1] << 8);
  return text.c_str();
}

/** Adds the persons and organisations to whom the machine and its programs are registered. */
void AddOwners(const CapturedMachine& machine, Identity& identity) {
  constexpr std::u16string_view kWindows = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
  for (const platform::REGSAM view : {platform::KEY_WOW64_64KEY, platform::KEY_WOW64_32KEY}) {
    identity.users.push_back(Read(kWindows, u"RegisteredOwner", view));
    identity.organizations.push_back(Read(kWindows, u"RegisteredOrganization", view));
  }
  for (const CapturedKey& key : machine.keys) {
    for (const CapturedValue& value : key.values) {
      if (HoldsOrganization(value.name))
        identity.organizations.push_back(TextOf(value));
      else if (HoldsOwner(value.name))
        identity.users.push_back(TextOf(value));
    }
  }
}

void AddComputers(const CapturedMachine& machine, Identity& identity) {
  constexpr std::u16string_view kControl = u"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName";
  constexpr std::u16string_view kNetwork = u"SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters";
  identity.computers = {machine.Variable(u"COMPUTERNAME"), machine.Variable(u"USERDOMAIN"),
                        Read(kControl, u"ComputerName"), Read(kNetwork, u"Hostname"),
                        Read(kNetwork, u"Domain")};
  for (const auto& [name, value] : EnvironmentVariables()) {
    const std::u16string variable = AsciiUpper(name);
    if (variable == u"USERDNSDOMAIN" || variable == u"USERDOMAIN_ROAMINGPROFILE" ||
        variable == u"LOGONSERVER")
      identity.computers.push_back(LastName(value));
  }
}

}  // namespace

Identity ReadIdentity(const CapturedMachine& machine) {
  Identity identity;
  identity.users = {machine.Variable(u"USERNAME")};
  AddOwners(machine, identity);
  AddFolders(machine, identity);
  AddHives(identity);
  AddVariables(machine, identity);
  AddComputers(machine, identity);
  AddAccount(machine, identity);
  for (const platform::REGSAM view : {platform::KEY_WOW64_64KEY, platform::KEY_WOW64_32KEY})
    identity.guids.push_back(Read(u"SOFTWARE\\Microsoft\\Cryptography", u"MachineGuid", view));
  return identity;
}

namespace {

/** Whether the note is about a key. */
bool IsKey(const CapturedNote& note) { return note.place.starts_with(u"HKEY_"); }

/** Visits all texts except paths of keys and names of variables. */
template <typename Visit>
void ForEachText(CapturedMachine& machine, Visit visit) {
  visit(machine.userSid);
  visit(machine.account);
  visit(machine.hostPath);
  visit(machine.currentDirectory);
  for (auto& [name, value] : machine.environment) visit(value);
  for (CapturedKey& key : machine.keys) {
    for (CapturedValue& value : key.values)
      if (!IsFixedValueName(value.name)) visit(value.name);
  }
  for (auto& adapter : machine.graphicsAdapters)
    if (adapter) visit(*adapter);
  for (auto& app : machine.apps) {
    if (app && app->name) visit(*app->name);
    if (app && app->id) visit(*app->id);
  }
  for (CapturedFile& file : machine.files) visit(file.path);
  for (CapturedNote& note : machine.notes) {
    visit(note.what);
    if (IsKey(note)) continue;
    // A file of a volume has a relative path, and user folders are found behind a separator only.
    note.place.insert(0, u"\\");
    visit(note.place);
    note.place.erase(0, 1);
  }
}

}  // namespace

void Redact(CapturedMachine& machine, const Identity& identity) {
  Redactor redactor(identity);
  ForEachText(machine, [&](std::u16string& text) { redactor.Learn(text); });
  for (const CapturedKey& key : machine.keys) {
    for (const std::u16string& name : SplitPath(key.path)) redactor.Learn(name);
    for (const CapturedValue& value : key.values) redactor.Learn(value);
  }
  redactor.EndLearning();
  for (CapturedKey& key : machine.keys) {
    redactor.HideKey(key.path);
    for (CapturedValue& value : key.values) redactor.Hide(value);
  }
  for (CapturedNote& note : machine.notes) {
    if (IsKey(note)) redactor.HideKey(note.place);
  }
  ForEachText(machine, [&](std::u16string& text) { redactor.Hide(text); });
  for (auto& [name, value] : machine.environment) redactor.HideVariable(name);
  for (CapturedAnswer& answer : machine.answers)
    answer.isPath ? redactor.HideKey(answer.text) : redactor.Hide(answer.text);
  for (CapturedFile& file : machine.files)
    redactor.Hide({reinterpret_cast<std::uint8_t*>(file.bytes.data()), file.bytes.size()}, Search::File);
}

}  // namespace capture
