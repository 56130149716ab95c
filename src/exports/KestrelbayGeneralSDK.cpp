#include "KestrelbayGeneralSDK.h"

#include <cstdlib>
#include <memory>

#include "base/CommonFunc.h"
#include "base/LoadTimeObjects.h"
#include "base/SDKLog.h"
#include "base/Worker.h"
#include "exports/AppEntries.h"
#include "exports/HostText.h"
#include "facts/SystemInfo.h"
#include "inventory/InstalledApps.h"
#include "inventory/RegistryEntryRemoval.h"
#include "inventory/RegistryPath.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/AppStart.h"
#include "lifecycle/AppUninstall.h"
#include "platform/Events.h"
#include "protection/Security.h"

namespace kestrelbay {
namespace {

constexpr char kFile[] = "KestrelbayGeneralSDK";
constexpr platform::DWORD kStartPauseMs = 500;  // prescribed: hosts rely on starts half a second apart
// Static: each call returns this table, and hosts may keep its address.
constexpr const char* kBlockList[] = {"com.tolvan.tvdisk", "com.tolvan.baymarket"};

// An empty fact and a missing or small buffer fail alike.
bool CopyFact(const std::string& fact, char* buffer, std::int32_t* size) {
  return !fact.empty() && buffer && CopyToHost(fact, buffer, size);
}

// Registers a job and starts it. The pause is inside the lock, so that all starts are half a second apart.
//
// The table keeps the host's record and not a copy, because the job writes its result there. A record of the
// same name is replaced, and a running job reports to the new callback: by design there is one slot per flow.
template <class Flow, class Request, class Callback>
void StartJob(Request* request, Callback callback, void (Flow::*start)(const std::string&)) {
  const std::lock_guard<std::recursive_mutex> held(LifecycleMutex);
  platform::Sleep(kStartPauseMs);
  Flow& flow = Flow::GetInstance();
  const std::string name = TextOf(request->displayName);
  flow.jobMap[name] = request;
  flow.jobCallback = callback;
  (flow.*start)(name);
}

std::string ReadInstalledVersion(const RegistryKey& key) {
  return WideToUtf8(ReadRegistryValue(key, u"DisplayVersion"));
}

std::string FindInstalledVersion(const char* displayName) {
  const AppRecord* const app = FindInstalledApp(displayName);
  return app ? WideToUtf8(app->DisplayVersion) : std::string();
}

// Calls the exports, so the host's log shows the same lines as for a list that it asked for itself.
void ListInstalledApps(AppListCallback callback, bool includeIcons) {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, includeIcons);
  callback(entries, static_cast<std::int32_t>(count));
  ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
}

// Calls back for an unknown name and a failed icon too: it is the only sign that the request has ended.
void ReportAppIcon(IconCallback callback, const char* displayName) {
  const std::unique_ptr<char, decltype(&std::free)> iconText(
      NewHostText(GetAppIconByName(Utf8ToWide(TextOf(displayName)))), &std::free);
  callback(iconText.get());
}

}  // namespace
}  // namespace kestrelbay

using namespace kestrelbay;

// By design no export catches an exception: it crosses into the host.
extern "C" {

void InitDllLogger(LogCallback callback) {
  SDKLog& log = SDKLog::GetInstance();
  // Null keeps the callback that is stored. Neither write takes the lock: a host calls this before its other
  // threads.
  log.useLogDll = callback == nullptr;
  if (callback) {
    log.logCallback = callback;
    SDK_LOG(kLogInfo, kFile, "KestrelbayGeneralSDK log call back init success.");
  } else {
    SDK_LOG(kLogInfo, kFile, "KestrelbayGeneralSDK log dll init success.");
  }
}

void Install(InstallRequest* request, InstallCallback callback) {
  StartJob(request, callback, &AppInstall::StartInstall);
}

void Uninstall(UninstallRequest* request, UninstallCallback callback) {
  StartJob(request, callback, &AppUninstall::StartUninstall);
}

void SetStopAppEvent() {
  // Never reset, by design: each wait of a later job ends at once. The log line does not depend on the
  // result.
  platform::SetEvent(StopEvent);
  SDK_LOG(kLogInfo, kFile, "setStopAppEvent success.");
}

// The five differ only in their name, which is also in their log lines.
#define BUFFER_FACT(name)                                                      \
  bool name(char* buffer, int32_t* size) {                                     \
    SDK_LOG(kLogInfo, kFile, "enter " #name);                                  \
    if (CopyFact(SystemInfo::GetInstance().name(), buffer, size)) return true; \
    SDK_LOG(kLogError, kFile, "failed " #name);                                \
    return false;                                                              \
  }
BUFFER_FACT(GetManufacturer)
BUFFER_FACT(GetDeviceId)
BUFFER_FACT(GetProductName)
BUFFER_FACT(GetProxyServer)
BUFFER_FACT(GetGraphics)
#undef BUFFER_FACT

bool GetAppVersion(const char* displayName, const char* registryPath, char* buffer, int32_t* size) {
  SDK_LOG(kLogInfo, kFile, "enter GetAppVersion");
  if (!registryPath || !*registryPath) return CopyFact(FindInstalledVersion(displayName), buffer, size);
  // By design the text of the path is not read: any path opens HKEY_LOCAL_MACHINE itself.
  const OpenedPath opened = OpenRegistryPath({});
  if (!opened.key) {
    SDK_LOG(kLogError, kFile, "failed open registry.");
    return false;
  }
  return CopyFact(ReadInstalledVersion(*opened.key), buffer, size);
}

void GetRootDir(char* buffer, int32_t* size, uint32_t mode) {
  if (!CopyToHost(kestrelbay::GetRootDir(mode), buffer, size)) {
    SDK_LOG(kLogError, kFile, "buffer length is too small.");
  }
}

int64_t GetDiskAvailableSpace(const char* path) {
  SDK_LOG(kLogInfo, kFile, "enter GetDiskAvailableSpace");
  return SystemInfo::GetInstance().GetDiskAvailableSpace(path);
}

bool IsTabletPC() {
  SDK_LOG(kLogInfo, kFile, "enter IsTabletPC");
  return SystemInfo::GetInstance().IsTabletPC();
}

// A failure is the empty text in a block of one byte, which the host must release as well.
void Encrypt(const char* input, char** output) {
  const SecretText plain{TextOf(input)};
  HandOut(Security::GetInstance().Encrypt(plain.text), output);
}

void Decrypt(const char* input, char** output) {
  const SecretText plain{Security::GetInstance().Decrypt(TextOf(input))};
  HandOut(plain.text, output);
}

void GetInstalledAppList(InstalledAppEntry** entries, uint32_t* count, bool includeIcons) {
  SDK_LOG(kLogInfo, kFile, "enter GetInstalledAppList");
  const std::unique_ptr<AppRecords> apps = GetInstalledApps(includeIcons);
  *entries = NewEntries(apps->size());
  FillEntries(*apps, *entries);
  *count = static_cast<std::uint32_t>(apps->size());
}

void ReleaseInstalledAppList(InstalledAppEntry** entries, int32_t count) {
  SDK_LOG(kLogInfo, kFile, "enter ReleaseInstalledAppList");
  DeleteEntries(*entries, count);
  *entries = nullptr;
}

void GetInstalledAppListAsync(AppListCallback callback, bool includeIcons) {
  SDK_LOG(kLogInfo, kFile, "enter GetInstalledAppListAsync");
  std::thread worker;
  StartWorker(worker, [=] { ListInstalledApps(callback, includeIcons); });
}

void GetAppIconAsync(IconCallback callback, const char* displayName) {
  SDK_LOG(kLogInfo, kFile, "enter GetAppIconAsync");
  // By design the worker takes the host's pointer and reads the name later.
  std::thread worker;
  StartWorker(worker, [=] { ReportAppIcon(callback, displayName); });
}

int32_t StartApp(const char* displayName, const char* appAlias) {
  SDK_LOG(kLogInfo, kFile, "enter StartApp");
  return AppStart::GetInstance().StartApp(TextOf(displayName), TextOf(appAlias));
}

bool StartAnyExe(const char* exePath, const char* exeArgs) {
  SDK_LOG(kLogInfo, kFile, "enter StartAnyExe");
  return AppStart::GetInstance().StartAnyExe(TextOf(exePath), TextOf(exeArgs));
}

void StartAnyExeAsync(const char* exePath, const char* exeArgs) {
  SDK_LOG(kLogInfo, kFile, "enter StartAnyExeAsync");
  AppStart::GetInstance().StartAnyExeAsync(TextOf(exePath), TextOf(exeArgs));
}

bool DeleteAppRegistryInfo(const char* displayName) {
  SDK_LOG(kLogInfo, kFile, "enter DeleteAppRegistryInfo");
  return kestrelbay::DeleteAppRegistryInfo(Utf8ToWide(TextOf(displayName)));
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
