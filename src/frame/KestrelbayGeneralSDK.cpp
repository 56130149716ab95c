#include "KestrelbayGeneralSDK.h"

#include <cstdlib>
#include <memory>

#include "frame/CommonFunc.h"
#include "frame/HostText.h"
#include "frame/LoadTimeObjects.h"
#include "frame/SDKLog.h"
#include "frame/Worker.h"
#include "inventory/InstalledApps.h"
#include "platform/Events.h"

namespace kestrelbay {
namespace {

constexpr char kFile[] = "KestrelbayGeneralSDK";
constexpr const char* kBlockList[] = {"com.tolvan.tvdisk", "com.tolvan.baymarket"};

void ListInstalledApps(AppListCallback callback, bool includeIcons) {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, includeIcons);
  callback(entries, static_cast<std::int32_t>(count));
  ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
}

void ReportAppIcon(IconCallback callback, const char* displayName) {
  const std::unique_ptr<char, decltype(&std::free)> iconText(
      NewHostText(GetAppIconByName(Utf8ToWide(displayName))), &std::free);
  callback(iconText.get());
}

}  // namespace
}  // namespace kestrelbay

using namespace kestrelbay;

extern "C" {

void InitDllLogger(LogCallback callback) {
  SDKLog& log = SDKLog::GetInstance();
  log.useLogDll = callback == nullptr;
  if (callback) {
    log.logCallback = callback;
    SDK_LOG(kLogInfo, kFile, "KestrelbayGeneralSDK log call back init success.");
  } else {
    SDK_LOG(kLogInfo, kFile, "KestrelbayGeneralSDK log dll init success.");
  }
}

void SetStopAppEvent() {
  platform::SetEvent(StopEvent);
  SDK_LOG(kLogInfo, kFile, "setStopAppEvent success.");
}

void GetRootDir(char* buffer, int32_t* size, uint32_t mode) {
  if (!CopyToHost(kestrelbay::GetRootDir(mode), buffer, size)) {
    SDK_LOG(kLogError, kFile, "buffer length is too small.");
  }
}

void GetInstalledAppList(InstalledAppEntry** entries, uint32_t* count, bool includeIcons) {
  SDK_LOG(kLogInfo, kFile, "enter GetInstalledAppList");
  const OrderedApps apps = GetInstalledAppsInPlace(includeIcons);
  *entries = NewEntries(apps.order.size());
  FillEntries(apps, *entries);
  *count = static_cast<std::uint32_t>(apps.order.size());
}

void ReleaseInstalledAppList(InstalledAppEntry** entries, int32_t count) {
  SDK_LOG(kLogInfo, kFile, "enter ReleaseInstalledAppList");
  DeleteEntries(*entries, count);
  *entries = nullptr;
}

void GetInstalledAppListAsync(AppListCallback callback, bool includeIcons) {
  SDK_LOG(kLogInfo, kFile, "enter GetInstalledAppListAsync");
  StartWorker([=] { ListInstalledApps(callback, includeIcons); }).detach();
}

void GetAppIconAsync(IconCallback callback, const char* displayName) {
  SDK_LOG(kLogInfo, kFile, "enter GetAppIconAsync");
  StartWorker([=] { ReportAppIcon(callback, displayName); }).detach();
}

void GetAppBlackList(const char* const** table, uint32_t* count) {
  *table = kBlockList;
  *count = std::size(kBlockList);
}

void ReleaseDllStr(char** text) {
  std::free(*text);
  *text = nullptr;
}

}  // extern "C"
