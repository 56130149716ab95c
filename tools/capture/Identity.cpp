#include <algorithm>

#include "Redaction.h"
#include "Text.h"
#include "platform/Constants.h"
#include "platform/Registry.h"

namespace capture {
namespace {

using platform::DWORD;
using platform::HKEY;

constexpr std::u16string_view kProfiles = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList";

/** A text of the machine's registry; empty where there is none. */
std::u16string Read(std::u16string_view path, const char16_t* name) {
  HKEY key = nullptr;
  const DWORD access = platform::KEY_READ | platform::KEY_WOW64_64KEY;
  if (platform::RegOpenKeyExW(platform::HKEY_LOCAL_MACHINE, std::u16string(path).c_str(), 0, access, &key) !=
      0)
    return {};
  std::u16string text(1024, u'\0');
  auto bytes = static_cast<DWORD>((text.size() - 1) * sizeof(char16_t));
  const auto status = platform::RegQueryValueExW(key, name, nullptr, nullptr,
                                                 reinterpret_cast<platform::BYTE*>(text.data()), &bytes);
  platform::RegCloseKey(key);
  return status == 0 ? std::u16string(text.c_str()) : std::u16string();
}

std::vector<std::u16string> SubKeys(std::u16string_view path) {
  std::vector<std::u16string> names;
  HKEY key = nullptr;
  const DWORD access = platform::KEY_READ | platform::KEY_WOW64_64KEY;
  if (platform::RegOpenKeyExW(platform::HKEY_LOCAL_MACHINE, std::u16string(path).c_str(), 0, access, &key) !=
      0)
    return names;
  char16_t name[260];
  for (DWORD index = 0, chars = 260;
       platform::RegEnumKeyExW(key, index, name, &chars, nullptr, nullptr, nullptr, nullptr) == 0;
       ++index, chars = 260)
    names.emplace_back(name);
  platform::RegCloseKey(key);
  return names;
}

std::u16string LastName(std::u16string_view path) {
  while (path.ends_with(u'\\')) path.remove_suffix(1);
  return std::u16string(path.substr(path.find_last_of(u"\\/") + 1));
}

bool IsWindowsOwn(const std::u16string& folder) {
  return folder.find(u"\\SERVICEPROFILES\\") != folder.npos || folder.ends_with(u"\\SYSTEMPROFILE");
}

/** A user's folder: its path, and the name that it mostly shares with the user. */
void AddFolder(const std::u16string& path, Identity& identity) {
  const std::u16string folder = Folded(path);
  const bool isKnown = std::ranges::find(identity.folders, folder) != identity.folders.end();
  if (path.size() < 4 || path[1] != u':' || isKnown || IsWindowsOwn(folder)) return;
  identity.folders.push_back(folder);
  identity.users.push_back(LastName(path));
}

void AddUsers(const CapturedMachine& machine, Identity& identity) {
  identity.users = {machine.Variable(u"USERNAME"),
                    Read(u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", u"RegisteredOwner")};
  AddFolder(machine.Variable(u"USERPROFILE"), identity);
  for (const std::u16string& sid : SubKeys(kProfiles))
    AddFolder(Read(std::u16string(kProfiles) + u"\\" + sid, u"ProfileImagePath"), identity);
  for (const auto& [name, value] : machine.environment) {
    const std::u16string variable = AsciiUpper(name);
    identity.variables.insert(variable);
    const std::u16string place = Folded(value);
    const auto holds = [&](const std::u16string& folder) {
      return place.starts_with(folder) || (variable == u"HOMEPATH" && folder.ends_with(place));
    };
    if (place.size() > 2 && std::ranges::any_of(identity.folders, holds))
      identity.folderVariables.insert(variable);
  }
}

}  // namespace

Identity ReadIdentity(const CapturedMachine& machine) {
  Identity identity;
  AddUsers(machine, identity);
  constexpr std::u16string_view kControl = u"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName";
  constexpr std::u16string_view kNetwork = u"SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters";
  identity.computers = {machine.Variable(u"COMPUTERNAME"), machine.Variable(u"USERDOMAIN"),
                        Read(kControl, u"ComputerName"), Read(kNetwork, u"Hostname"),
                        Read(kNetwork, u"Domain")};
  identity.guids = {Read(u"SOFTWARE\\Microsoft\\Cryptography", u"MachineGuid")};
  return identity;
}

void Redact(CapturedMachine& machine, const Identity& identity) {
  Redactor redactor(identity);
  const auto forEachText = [&](auto visit) {
    visit(machine.userSid);
    visit(machine.hostPath);
    visit(machine.currentDirectory);
    for (auto& [name, value] : machine.environment) visit(value);
    for (CapturedKey& key : machine.keys) visit(key.path);
    for (CapturedKey& key : machine.keys)
      for (CapturedValue& value : key.values) visit(value.name);
    for (auto& app : machine.apps) {
      if (app && app->name) visit(*app->name);
      if (app && app->id) visit(*app->id);
    }
    for (CapturedFile& file : machine.files) visit(file.path);
    for (std::u16string& note : machine.notes) visit(note);
  };
  forEachText([&](std::u16string& text) { redactor.Learn(text); });
  for (const CapturedKey& key : machine.keys)
    for (const CapturedValue& value : key.values) redactor.Learn(value);
  redactor.EndLearning();
  forEachText([&](std::u16string& text) { redactor.Hide(text); });
  for (CapturedKey& key : machine.keys)
    for (CapturedValue& value : key.values) redactor.Hide(value);
  for (CapturedFile& file : machine.files)
    redactor.Hide({reinterpret_cast<std::uint8_t*>(file.bytes.data()), file.bytes.size()}, false);
}

}  // namespace capture
