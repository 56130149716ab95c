#include "lifecycle/AppInstall.h"

#include "base/CommonFunc.h"
#include "base/LoadTimeObjects.h"
#include "base/SDKLog.h"
#include "base/Worker.h"
#include "inventory/InstalledApps.h"
#include "platform/Constants.h"
#include "platform/Events.h"
#include "platform/Processes.h"

namespace kestrelbay {
namespace {

constexpr char kFile[] = "AppInstall";

// The texts are prescribed, including their grammar and the "NULL" of a success: hosts compare them.
constexpr Outcome kPathEmpty{"Fail", "Install path is empty!", kLogError,
                             "install path is empty, displayName: %s"};
constexpr Outcome kPathMissing{"Fail", "Install path is not exist!", kLogError,
                               "install path is not exist, installationPath: %s"};
constexpr Outcome kNameEmpty{"Fail", "DisplayName is empty!", kLogError, "displayName is empty"};
constexpr Outcome kInstalled{"Success", "NULL", kLogInfo, "Install success, displayName: %s"};
constexpr Outcome kNotInstalled{"Fail", "Cannot find the app from registry!", kLogInfo,
                                "Install fail, cannot find the app from registry, displayName: %s"};
constexpr Outcome kUpdated{"Success", "Update success!", kLogInfo, "Update success, displayName: %s"};
constexpr Outcome kNotUpdated{"Fail", "Update fail!", kLogInfo, "Update fail, displayName: %s"};

}  // namespace

AppInstall& AppInstall::GetInstance() {
  static AppInstall instance;
  return instance;
}

void AppInstall::StartInstall(const std::string& name) {
  SDK_LOG(kLogInfo, kFile, "StartInstall begin.");
  StartWorker(workerThread, [this, name] { RunJob(name); });
}

void AppInstall::RunJob(const std::string& name) {
  using Jobs = UnlockedJobs<AppInstall>;
  InstallRequest* const request = Jobs::FindRequest(*this, name);
  // The record is read only here: a change by the host while the installer runs has no effect.
  const std::string installationPath = request->installerPath;
  const std::string displayName = request->displayName;
  const std::string registryPath = request->registryPath;
  const std::string para = request->installerParams;
  ResultMap result = InstallThreadImp(installationPath, displayName, registryPath, para);
  CopyToField(request->Result, result["Result"]);
  CopyToField(request->ErrMsg, result["ErrMsg"]);
  CopyToField(request->DisplayVersion, result["DisplayVersion"]);
  // Only now, by design: a later job may have replaced the callback while the installer ran.
  const auto callback = Jobs::FindCallback(*this);
  callback(request);
  Jobs::Erase(*this, displayName);  // by design this may erase a later job of the same name
}

ResultMap AppInstall::InstallThreadImp(const std::string& installationPath, const std::string& displayName,
                                       const std::string& registryPath, const std::string& para) {
  SDK_LOG(kLogInfo, kFile, "InstallThreadImp begin.");
  ResultMap before;
  ResultMap after;
  // Logs each outcome with the line of its decision.
  const auto conclude = [&, function = __func__](std::int32_t line, const Outcome& outcome,
                                                 const std::string& argument) {
    Conclude(after, outcome, displayName, argument, {kFile, function, line});
    return after;
  };
  // In this order: if path and name are empty, hosts expect the error of the path.
  if (installationPath.empty()) return conclude(__LINE__, kPathEmpty, displayName);
  if (!FileExists(installationPath)) return conclude(__LINE__, kPathMissing, installationPath);
  if (displayName.empty()) return conclude(__LINE__, kNameEmpty, displayName);
  InquryInstallInfo(before, displayName, registryPath);
  StartInstallProcessAndWait(installationPath, para);  // ignores a failed start: the inventory decides
  InquryInstallInfo(after, displayName, registryPath);
  if (before.empty() && after.empty()) return conclude(__LINE__, kNotInstalled, displayName);
  if (before.empty()) return conclude(__LINE__, kInstalled, displayName);
  // By design any difference is an update, also a downgrade or an application that is gone.
  if (before["DisplayVersion"] != after["DisplayVersion"]) return conclude(__LINE__, kUpdated, displayName);
  return conclude(__LINE__, kNotUpdated, displayName);
}

void AppInstall::InquryInstallInfo(ResultMap& info, const std::string& displayName,
                                   const std::string& registryPath) {
  if (registryPath.empty()) {
    if (const AppRecord* const app = FindInstalledApp(displayName.c_str())) {
      info["DisplayName"] = displayName;
      info["DisplayVersion"] = WideToUtf8(app->DisplayVersion);
    }
    return;
  }
  // By design `displayName` is not compared here: OpenGivenPath decides by a name of its own.
  const OpenedPath opened = OpenGivenPath({kFile, __func__, __LINE__});
  if (!opened.key) return;
  info["DisplayName"] = kGivenPathDisplayName;
  info["DisplayVersion"] = WideToUtf8(ReadRegistryValue(*opened.key, u"DisplayVersion"));
  SDK_LOG(kLogInfo, kFile, "application found from the given registry path.");
}

bool AppInstall::StartInstallProcessAndWait(const std::string& appPath, const std::string& para) {
  SDK_LOG(kLogInfo, kFile, "enter StartInstallProcessAndWait:appPath=%s, para=%s", appPath.c_str(),
          para.c_str());
  platform::HANDLE process = nullptr;
  if (!StartElevated(appPath, para, platform::SW_SHOW, process)) {
    // Also if the user refuses the elevation prompt. Only an uninstallation has the result "Cancel".
    SDK_LOG(kLogError, kFile, "Create process failed: %d", platform::GetLastError());
    return false;
  }
  // No time limit, by design. StopEvent ends the wait and not the installer. Ignores the result of the wait,
  // even a failure for a null process: the second look-up decides.
  const platform::HANDLE ends[] = {process, StopEvent};
  platform::WaitForMultipleObjects(std::size(ends), ends, false, platform::INFINITE);
  platform::CloseHandle(process);
  return true;
}

}  // namespace kestrelbay
