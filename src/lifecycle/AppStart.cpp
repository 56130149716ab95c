#include "lifecycle/AppStart.h"

#include "base/CommonFunc.h"
#include "base/SDKLog.h"
#include "base/Worker.h"
#include "facts/AppsFolder.h"
#include "inventory/InstalledApps.h"
#include "platform/Constants.h"

namespace kestrelbay {
namespace {

// The texts of the log are prescribed, including their grammar.
constexpr char kFile[] = "AppStart";

}  // namespace

AppStart& AppStart::GetInstance() {
  static AppStart instance;
  return instance;
}

bool AppStart::StartApp(const std::string& displayName, const std::string& appAlias) {
  if (displayName.empty()) {
    SDK_LOG(kLogError, kFile, "displayName is null.");
    return false;
  }
  const auto [path, source] = LocateApp(displayName, appAlias);
  // An item of the apps folder need not have an executable. The shell starts it by its parsing name.
  if (source == APPSRC_FOLDER) {
    SDK_LOG(kLogInfo, kFile, "find app in APPSRC_FOLDER, fullpath is %s.", path.c_str());
    return StartProcess(Utf8ToWide("explorer.exe shell:AppsFolder\\" + path)) != 0;
  }
  if (source != APPSRC_REGISTRY) {
    SDK_LOG(kLogError, kFile, "the app is not exist.");
    return false;
  }
  SDK_LOG(kLogInfo, kFile, "find app in APPSRC_REGISTRY, fullpath is %s.", path.c_str());
  const std::string exePath = ExtractExePath(path);
  if (!FileExists(exePath)) {
    // Only logged: the start is tried all the same, and the shell decides. By design the record has the name
    // and not the path.
    SDK_LOG(kLogError, kFile, "start app failed, %s is not exist.", displayName.c_str());
  }
  // By design the process stays open for the life of the host.
  return !exePath.empty() && StartProcessElevated(exePath, "", platform::SW_SHOW) != nullptr;
}

AppLocation AppStart::LocateApp(const std::string& displayName, const std::string& appAlias) {
  std::vector<AppsFolderEntry> folder;
  EnumerateAppsFolder(folder);
  for (const AppsFolderEntry& entry : folder) {
    // By design the name of the item is searched in the request: an item without a name matches every
    // request.
    if (displayName.find(entry.displayName) != std::string::npos ||
        appAlias.find(entry.displayName) != std::string::npos) {
      return {entry.parsingName, APPSRC_FOLDER};
    }
  }
  // Only after the folder, and without the alias.
  if (const AppRecord* const app = FindInstalledApp(displayName.c_str())) {
    return {WideToUtf8(app->DisplayIcon), APPSRC_REGISTRY};
  }
  return {};
}

bool AppStart::StartAnyExe(const std::string& exePath, const std::string& exeArgs) {
  return StartProcess(Utf8ToWide(BuildAnyExeCommand(exePath, exeArgs))) != 0;
}

void AppStart::StartAnyExeAsync(const std::string& exePath, const std::string& exeArgs) {
  std::thread worker;
  StartWorker(worker, [this, exePath, exeArgs] { StartAnyExe(exePath, exeArgs); });
}

std::string BuildAnyExeCommand(const std::string& exePath, const std::string& exeArgs) {
  // The blank stays without arguments, too. The arguments are not quoted, so the host decides where each one
  // ends.
  return '"' + exePath + "\" " + exeArgs;
}

}  // namespace kestrelbay
