#include "lifecycle/AppUninstall.h"

#include "base/CommonFunc.h"
#include "base/LoadTimeObjects.h"
#include "base/SDKLog.h"
#include "base/Worker.h"
#include "inventory/InstalledApps.h"
#include "platform/Constants.h"
#include "platform/Events.h"
#include "platform/Processes.h"
#include "platform/Registry.h"

namespace kestrelbay {
namespace {

constexpr char kFile[] = "AppUninstall";

// The texts are prescribed, including their grammar: hosts compare them. kNotStarted is the only "Cancel" of
// the library. A user who refuses the elevation prompt gets it. A success is not logged, unlike that of an
// installation.
constexpr Outcome kNameEmpty{"Fail", "DisplayName is empty!", kLogError, "displayName is empty"};
constexpr Outcome kNoCommand{"Fail", "Get uninstall path is empty!", kLogError,
                             "get uninstall path is empty, displayName: %s"};
constexpr Outcome kProgramMissing{"Fail", "Uninstall path is not exist!", kLogError,
                                  "get uninstall is not exist, exeFile: %s"};
constexpr Outcome kNotStarted{"Cancel", "Start uninstall process fail!", kLogInfo,
                              "Start uninstall process fail, displayName: %s"};
constexpr Outcome kStillInstalled{"Fail", "The app is still in registry!", kLogInfo,
                                  "the app is still in registry, displayName: %s"};
constexpr Outcome kUninstalled{"Success", "NULL", kLogInfo, nullptr};

// A record of a user's hive has the default view, so its architecture is unknown.
std::string ArchitectureText(RegistryView view) {
  switch (view) {
    case k32BitView:
      return "X86";
    case k64BitView:
      return "X64";
    default:
      return "ARCH_UNKNOWN";
  }
}

// Any other text means HKEY_USERS, even the empty one: an application found by a given path has neither root
// nor path, and so its job watches all of HKEY_USERS.
platform::HKEY WatchedRoot(const std::string& rootKeyStr) {
  if (rootKeyStr == "HKEY_CURRENT_USER") return platform::HKEY_CURRENT_USER;
  if (rootKeyStr == "HKEY_LOCAL_MACHINE") return platform::HKEY_LOCAL_MACHINE;
  return platform::HKEY_USERS;
}

// The view of the entry: a 32-bit entry is stored elsewhere, and its change would not reach a watch of the
// other view.
platform::REGSAM WatchAccess(const std::string& architecture) {
  if (architecture == "X86") return platform::KEY_NOTIFY | platform::KEY_WOW64_32KEY;
  if (architecture == "X64") return platform::KEY_NOTIFY | platform::KEY_WOW64_64KEY;
  return platform::KEY_NOTIFY;
}

// Splits at the first blank after the first ".exe". Blanks before it belong to the path, quoted or not.
void SplitCommand(const std::string& command, std::string& exePath, std::string& para) {
  const auto exeAt = static_cast<std::int32_t>(command.find(".exe"));
  // By design both positions have 32 bits. Without ".exe", -1 becomes the largest position: the search starts
  // after the end and finds nothing. So a command with ".EXE" or a script is not split at all.
  const auto blankAt = static_cast<std::int32_t>(command.find(' ', static_cast<std::size_t>(exeAt)));
  exePath = blankAt < 1 ? command : command.substr(0, static_cast<std::size_t>(blankAt));
  para = blankAt < 1 ? std::string() : command.substr(static_cast<std::size_t>(blankAt) + 1);
}

// A bare program name counts as existing, because the shell searches for it. The quotes are removed for this
// check only: the shell gets the path with them.
bool IsMissingFullPath(const std::string& exePath, std::string& bare) {
  if (exePath.find(":\\") == exePath.npos) return false;
  bare = exePath;
  std::erase(bare, '"');
  return !FileExists(bare);
}

}  // namespace

AppUninstall& AppUninstall::GetInstance() {
  static AppUninstall instance;
  return instance;
}

void AppUninstall::StartUninstall(const std::string& name) {
  SDK_LOG(kLogInfo, kFile, "StartUninstall begin, displayName: %s.", name.c_str());
  StartWorker(workerThread, [this, name] { RunJob(name); });
}

void AppUninstall::RunJob(const std::string& name) {
  using Jobs = UnlockedJobs<AppUninstall>;
  UninstallRequest* const request = Jobs::FindRequest(*this, name);
  // The record is read only here: a change by the host while the job runs has no effect.
  const std::string displayName = request->displayName;
  const std::string registryPath = request->registryPath;
  ResultMap result = UninstallThreadImp(displayName, registryPath);
  CopyToField(request->Result, result["Result"]);
  CopyToField(request->ErrMsg, result["ErrMsg"]);
  const auto callback = Jobs::FindCallback(*this);
  callback(request);
  Jobs::Erase(*this, displayName);
}

ResultMap AppUninstall::UninstallThreadImp(const std::string& displayName, const std::string& registryPath) {
  ResultMap info;
  // Logs each outcome with the line of its decision.
  const auto conclude = [&, function = __func__](std::int32_t line, const Outcome& outcome,
                                                 const std::string& argument) {
    Conclude(info, outcome, displayName, argument, {kFile, function, line});
    return info;
  };
  if (displayName.empty()) return conclude(__LINE__, kNameEmpty, displayName);
  const UninstallTarget target = GetUninstallPath(displayName, registryPath);
  if (target.exePath.empty()) return conclude(__LINE__, kNoCommand, displayName);
  if (std::string bare; IsMissingFullPath(target.exePath, bare))
    return conclude(__LINE__, kProgramMissing, bare);
  // By design the process is neither waited for nor closed: many uninstallers start a copy of themselves and
  // end at once.
  if (!StartUninstallProcess(target.exePath, target.para))
    return conclude(__LINE__, kNotStarted, displayName);
  RegWatcher(target.rootKeyStr, target.subKeyPath, target.architecture, displayName);  // result ignored
  // The inventory alone decides, not the program: an entry that is gone is a success even if nobody watched.
  InquryUnInstallInfo(info, displayName, registryPath);
  if (!info.empty()) return conclude(__LINE__, kStillInstalled, displayName);
  return conclude(__LINE__, kUninstalled, displayName);
}

UninstallTarget AppUninstall::GetUninstallPath(const std::string& displayName,
                                               const std::string& registryPath) {
  ResultMap info;
  InquryUnInstallInfo(info, displayName, registryPath);
  const std::string command = info["UninstallString"];
  UninstallTarget target;
  target.rootKeyStr = info["rootKeyStr"];
  target.subKeyPath = info["subKeyPath"];
  target.architecture = info["architecture"];
  SDK_LOG(kLogInfo, kFile, "uninstallPath=%s, uninstallRegHkey=%s, uninstallRegPath=%s, arch:%s",
          command.c_str(), target.rootKeyStr.c_str(), target.subKeyPath.c_str(), target.architecture.c_str());
  SplitCommand(command, target.exePath, target.para);
  SDK_LOG(kLogInfo, kFile, "exePath=%s, para=%s", target.exePath.c_str(), target.para.c_str());
  return target;
}

void AppUninstall::InquryUnInstallInfo(ResultMap& info, const std::string& displayName,
                                       const std::string& registryPath) {
  if (registryPath.empty()) {
    if (const AppRecord* const app = FindInstalledApp(displayName.c_str())) {
      info["DisplayName"] = displayName;
      info["UninstallString"] = WideToUtf8(app->UninstallString);
      info["rootKeyStr"] = WideToUtf8(app->rootKeyStr);
      info["subKeyPath"] = WideToUtf8(app->subKeyPath);
      info["architecture"] = ArchitectureText(app->architecture);
    }
    return;
  }
  const OpenedPath opened = OpenGivenPath({kFile, __func__, __LINE__});
  if (!opened.key) return;
  info["DisplayName"] = kGivenPathDisplayName;
  // By design rootKeyStr and subKeyPath are read as values of the entry, which hardly ever has them.
  info["UninstallString"] = WideToUtf8(ReadRegistryValue(*opened.key, u"UninstallString"));
  info["rootKeyStr"] = WideToUtf8(ReadRegistryValue(*opened.key, u"rootKeyStr"));
  info["subKeyPath"] = WideToUtf8(ReadRegistryValue(*opened.key, u"subKeyPath"));
  info["architecture"] = ArchitectureText(opened.key->view);
  SDK_LOG(kLogInfo, kFile, "application found from the given registry path.");
}

platform::HANDLE AppUninstall::StartUninstallProcess(const std::string& appPath, const std::string& para) {
  SDK_LOG(kLogInfo, kFile, "enter StartUninstallProcess:appPath=%s, para=%s", appPath.c_str(), para.c_str());
  platform::HANDLE process = nullptr;
  if (!StartElevated(appPath, para, platform::SW_SHOW, process)) {
    SDK_LOG(kLogError, kFile, "Create process failed: %d", platform::GetLastError());
    return nullptr;
  }
  return process;  // null, too, if the shell returned no process: that counts as not started
}

// The parameters are prescribed to be values. NOLINTNEXTLINE(performance-unnecessary-value-param)
bool AppUninstall::RegWatcher(std::string rootKeyStr, std::string subKeyPath, std::string architecture,
                              const std::string& displayName) {
  SDK_LOG(kLogInfo, kFile, "rootKeyStr=%s, uninstallRegPath=%s", rootKeyStr.c_str(), subKeyPath.c_str());
  // By design the event is automatic, created signalled and named after the application.
  // RegNotifyChangeKeyValue clears it. Windows refuses a name with a backslash: such a job does not wait.
  const platform::HANDLE changed =
      platform::CreateEventW(nullptr, false, true, Utf8ToWide(displayName).c_str());
  if (!changed) {
    SDK_LOG(kLogError, kFile, "CreateEvent failed");
    return false;
  }
  platform::HKEY key = nullptr;
  const platform::LSTATUS openStatus = platform::RegOpenKeyExW(
      WatchedRoot(rootKeyStr), Utf8ToWide(subKeyPath).c_str(), 0, WatchAccess(architecture), &key);
  if (openStatus) {
    platform::CloseHandle(changed);
    SDK_LOG(kLogError, kFile, "RegOpenKeyEx failed: %d", openStatus);
    return false;
  }
  // Names only: a program that changes values of its entry has not removed it yet.
  if (platform::RegNotifyChangeKeyValue(key, true, platform::REG_NOTIFY_CHANGE_NAME, changed, true)) {
    platform::CloseHandle(changed);
    platform::RegCloseKey(key);
    // Logs the last error after the closes and not the status of the call, unlike the line above, by design.
    SDK_LOG(kLogError, kFile, "RegNotifyChangeKeyValue failed: %d", platform::GetLastError());
    return false;
  }
  // No time limit, by design. SetStopAppEvent ends the wait and not the uninstaller.
  const platform::HANDLE ends[] = {changed, StopEvent};
  platform::WaitForMultipleObjects(std::size(ends), ends, false, platform::INFINITE);
  platform::CloseHandle(changed);
  platform::RegCloseKey(key);
  return true;
}

}  // namespace kestrelbay
