#include "lifecycle/JobOracle.h"

#include <optional>

#include "base/CommonFunc.h"
#include "base/LoadTimeObjects.h"
#include "base/RegistryKey.h"
#include "inventory/InstalledApps.h"
#include "platform/Constants.h"
#include "platform/Events.h"
#include "platform/Processes.h"
#include "platform/Registry.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

/** The result of a look-up: command and registry path for an uninstallation, the version for an installation.
 */
struct Found {
  std::string version;
  std::string command = {};
  std::string root = {};
  std::string subKey = {};
  RegistryView view = k64BitView;
};

std::optional<Found> LookUpByName(const std::string& name, bool isUninstallation) {
  const auto apps = GetInstalledApps(false);
  for (const AppRecord& app : *apps) {
    if (WideToUtf8(app.DisplayName) != name) continue;
    if (!isUninstallation) return Found{.version = WideToUtf8(app.DisplayVersion)};
    const std::string command = WideToUtf8(app.UninstallString);
    const std::string root = WideToUtf8(app.rootKeyStr);
    return Found{"", command, root, WideToUtf8(app.subKeyPath), app.architecture};
  }
  return std::nullopt;
}

std::optional<Found> LookUpRoot(bool isUninstallation) {
  const auto key = OpenKey64(LocalMachineRoot(), Utf8ToWide(""));
  if (!key) return std::nullopt;
  const auto read = [&](const char16_t* name) { return WideToUtf8(ReadRegistryValue(*key, name)); };
  if (read(u"DisplayName") != "HKEY_CURRENT_USER") return std::nullopt;
  if (!isUninstallation) return Found{.version = read(u"DisplayVersion")};
  const std::string command = read(u"UninstallString");
  const std::string root = read(u"rootKeyStr");
  return Found{"", command, root, read(u"subKeyPath")};
}

std::optional<Found> LookUp(const std::string& name, const std::string& registryPath, bool isUninstallation) {
  return registryPath.empty() ? LookUpByName(name, isUninstallation) : LookUpRoot(isUninstallation);
}

// Each conversion is a call that may fail, that of the file first.
bool StartElevated(const std::string& file, const std::string& parameters, platform::HANDLE& process) {
  const std::u16string wideFile = Utf8ToWide(file);
  return StartPlainlyElevated(wideFile, Utf8ToWide(parameters), process);
}

void WaitForChange(const Found& place, const std::string& name) {
  const platform::HANDLE changed = platform::CreateEventW(nullptr, false, true, Utf8ToWide(name).c_str());
  if (!changed) return;
  const platform::HKEY root =
      place.root == "HKEY_LOCAL_MACHINE" ? platform::HKEY_LOCAL_MACHINE : platform::HKEY_USERS;
  const platform::REGSAM view = place.view == k64BitView ? platform::KEY_WOW64_64KEY : 0;
  platform::HKEY key = nullptr;
  const bool isOpen = platform::RegOpenKeyExW(root, Utf8ToWide(place.subKey).c_str(), 0,
                                              platform::KEY_NOTIFY | view, &key) == 0;
  if (isOpen &&
      platform::RegNotifyChangeKeyValue(key, true, platform::REG_NOTIFY_CHANGE_NAME, changed, true) == 0) {
    const platform::HANDLE ends[] = {changed, StopEvent};
    platform::WaitForMultipleObjects(2, ends, false, platform::INFINITE);
  }
  platform::CloseHandle(changed);
  if (isOpen) platform::RegCloseKey(key);
}

}  // namespace

Expectation PlainInstallation(const std::string& path, const std::string& name,
                              const std::string& registryPath) {
  if (!FileExists(path)) return {kMissing};
  const auto before = LookUp(name, registryPath, false);
  platform::HANDLE process = nullptr;
  if (StartElevated(path, "", process)) {
    const platform::HANDLE ends[] = {process, StopEvent};
    platform::WaitForMultipleObjects(2, ends, false, platform::INFINITE);
    platform::CloseHandle(process);
  }
  const auto after = LookUp(name, registryPath, false);
  const std::string version = after ? after->version : "";
  if (!before) return {after ? kInstalled : kNotInstalled, version};
  return {before->version == version ? kNotUpdated : kUpdated, version};
}

Expectation PlainUninstallation(const std::string& name, const std::string& registryPath,
                                const std::string& exePath) {
  const auto found = LookUp(name, registryPath, true);
  if (!found || found->command.empty()) return {kNoCommand};
  if (exePath.find(":\\") != exePath.npos && !FileExists(exePath)) return {kProgramMissing};
  platform::HANDLE process = nullptr;
  if (!StartElevated(exePath, "/S", process)) return {kNotStarted};
  WaitForChange(*found, name);
  return {LookUp(name, registryPath, true) ? kStillInstalled : kUninstalled};
}

}  // namespace kestrelbay
