#include "KestrelbayGuard.h"

#include <optional>

#include "Apartment.h"
#include "StatusOfException.h"

using kestrelbay::guard::StatusOf;

namespace {

bool HasNullText(const InstalledAppEntry& entry) {
  return !entry.displayName || !entry.installLocation || !entry.displayVersion || !entry.displayIcon ||
         !entry.iconText || !entry.installDate || !entry.lastWriteTime;
}

bool HasNullText(const InstalledAppEntry* entries, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    if (HasNullText(entries[i])) return true;
  }
  return false;
}

// Releases a list that may be incomplete. If memory is short, the release may fail too, and the list is
// leaked.
void DropList(InstalledAppEntry** entries, std::uint32_t* count) {
  StatusOf([=] { return ReleaseInstalledAppList(entries, static_cast<std::int32_t>(*count)), 0; });
  *entries = nullptr;
  *count = 0;
}

std::int32_t StatusOfText(void (*function)(const char*, char**), const char* input, char** output) {
  *output = nullptr;
  const std::int32_t status = StatusOf([=] { return function(input, output), 0; });
  return status == 0 && !*output ? GUARD_NO_MEMORY : status;
}

}  // namespace

extern "C" {

const char* GuardVersion() { return KESTRELBAY_VERSION; }

int32_t GuardInstall(InstallRequest* request, InstallCallback callback) {
  return StatusOf([=] { return Install(request, callback), 0; });
}

int32_t GuardUninstall(UninstallRequest* request, UninstallCallback callback) {
  return StatusOf([=] { return Uninstall(request, callback), 0; });
}

int32_t GuardSetStopAppEvent() {
  return StatusOf([] { return SetStopAppEvent(), 0; });
}

#define GUARD_BUFFER_FACT(name)                          \
  int32_t Guard##name(char* buffer, int32_t* size) {     \
    return StatusOf([=] { return name(buffer, size); }); \
  }
GUARD_BUFFER_FACT(GetManufacturer)
GUARD_BUFFER_FACT(GetDeviceId)
GUARD_BUFFER_FACT(GetProductName)
GUARD_BUFFER_FACT(GetProxyServer)
GUARD_BUFFER_FACT(GetGraphics)
#undef GUARD_BUFFER_FACT

int32_t GuardGetAppVersion(const char* displayName, const char* registryPath, char* buffer, int32_t* size) {
  return StatusOf([=] { return GetAppVersion(displayName, registryPath, buffer, size); });
}

int32_t GuardGetDiskAvailableSpace(const char* path, int64_t* mebibytes) {
  *mebibytes = -1;
  return StatusOf([=] { return *mebibytes = GetDiskAvailableSpace(path), 0; });
}

int32_t GuardIsTabletPC() {
  return StatusOf([] { return IsTabletPC(); });
}

int32_t GuardGetRootDir(char* buffer, int32_t* size, uint32_t mode) {
  return StatusOf([=] { return GetRootDir(buffer, size, mode), 0; });
}

int32_t GuardGetInstalledAppList(InstalledAppEntry** entries, uint32_t* count, bool includeIcons) {
  std::optional<kestrelbay::guard::Apartment> apartment;
  if (includeIcons) apartment.emplace();
  *entries = nullptr;
  *count = 0;
  const int32_t status = StatusOf([=] { return GetInstalledAppList(entries, count, includeIcons), 0; });
  if (status == 0 && !HasNullText(*entries, *count)) return 0;
  DropList(entries, count);
  return status == 0 ? GUARD_NO_MEMORY : status;
}

int32_t GuardReleaseInstalledAppList(InstalledAppEntry** entries, int32_t count) {
  return StatusOf([=] { return ReleaseInstalledAppList(entries, count), 0; });
}

int32_t GuardGetInstalledAppListAsync(AppListCallback callback, bool includeIcons) {
  return StatusOf([=] { return GetInstalledAppListAsync(callback, includeIcons), 0; });
}

int32_t GuardGetAppIconAsync(IconCallback callback, const char* displayName) {
  return StatusOf([=] { return GetAppIconAsync(callback, displayName), 0; });
}

int32_t GuardDeleteAppRegistryInfo(const char* displayName) {
  const kestrelbay::guard::Apartment apartment;
  return StatusOf([=] { return DeleteAppRegistryInfo(displayName); });
}

int32_t GuardStartApp(const char* displayName, const char* appAlias) {
  return StatusOf([=] { return StartApp(displayName, appAlias); });
}

int32_t GuardStartAnyExe(const char* exePath, const char* exeArgs) {
  return StatusOf([=] { return StartAnyExe(exePath, exeArgs); });
}

int32_t GuardStartAnyExeAsync(const char* exePath, const char* exeArgs) {
  return StatusOf([=] { return StartAnyExeAsync(exePath, exeArgs), 0; });
}

int32_t GuardEncrypt(const char* input, char** output) { return StatusOfText(&Encrypt, input, output); }

int32_t GuardDecrypt(const char* input, char** output) { return StatusOfText(&Decrypt, input, output); }

}  // extern "C"
