#include "HeaderInC.h"

#include "KestrelbayGeneralSDK.h"

/* Every function with its type as a host expects it. If C reads a declaration differently, this does not
 * compile. */
#define FUNCTIONS(X)                                                   \
  X(void, InitDllLogger, (LogCallback))                                \
  X(void, Install, (InstallRequest*, InstallCallback))                 \
  X(void, Uninstall, (UninstallRequest*, UninstallCallback))           \
  X(void, SetStopAppEvent, (void))                                     \
  X(bool, GetManufacturer, (char*, int32_t*))                          \
  X(bool, GetDeviceId, (char*, int32_t*))                              \
  X(bool, GetProductName, (char*, int32_t*))                           \
  X(bool, GetProxyServer, (char*, int32_t*))                           \
  X(bool, GetGraphics, (char*, int32_t*))                              \
  X(bool, GetAppVersion, (const char*, const char*, char*, int32_t*))  \
  X(int64_t, GetDiskAvailableSpace, (const char*))                     \
  X(bool, IsTabletPC, (void))                                          \
  X(void, GetRootDir, (char*, int32_t*, uint32_t))                     \
  X(void, GetInstalledAppList, (InstalledAppEntry**, uint32_t*, bool)) \
  X(void, ReleaseInstalledAppList, (InstalledAppEntry**, int32_t))     \
  X(void, GetInstalledAppListAsync, (AppListCallback, bool))           \
  X(void, GetAppIconAsync, (IconCallback, const char*))                \
  X(bool, DeleteAppRegistryInfo, (const char*))                        \
  X(int32_t, StartApp, (const char*, const char*))                     \
  X(bool, StartAnyExe, (const char*, const char*))                     \
  X(void, StartAnyExeAsync, (const char*, const char*))                \
  X(void, Encrypt, (const char*, char**))                              \
  X(void, Decrypt, (const char*, char**))                              \
  X(void, GetAppBlackList, (const char* const**, uint32_t*))           \
  X(void, ReleaseDllStr, (char**))

const AnyFunction* FunctionsInC(size_t* count) {
#define COUNT(result, name, parameters) +1
  static AnyFunction functions[0 FUNCTIONS(COUNT)];
  *count = 0;
#define ADD(result, name, parameters)           \
  {                                             \
    result(*const typed) parameters = name;     \
    functions[(*count)++] = (AnyFunction)typed; \
  }
  FUNCTIONS(ADD)
  return functions;
}

const size_t* InstallRequestInC(size_t* count) {
  static const size_t layout[] = {
      offsetof(InstallRequest, installerPath),  offsetof(InstallRequest, displayName),
      offsetof(InstallRequest, registryPath),   offsetof(InstallRequest, installerParams),
      offsetof(InstallRequest, Result),         offsetof(InstallRequest, ErrMsg),
      offsetof(InstallRequest, DisplayVersion), sizeof(InstallRequest)};
  *count = sizeof layout / sizeof *layout;
  return layout;
}

const size_t* UninstallRequestInC(size_t* count) {
  static const size_t layout[] = {
      offsetof(UninstallRequest, displayName), offsetof(UninstallRequest, registryPath),
      offsetof(UninstallRequest, Result), offsetof(UninstallRequest, ErrMsg), sizeof(UninstallRequest)};
  *count = sizeof layout / sizeof *layout;
  return layout;
}

const size_t* EntryInC(size_t* count) {
  static const size_t layout[] = {offsetof(InstalledAppEntry, displayName),
                                  offsetof(InstalledAppEntry, installLocation),
                                  offsetof(InstalledAppEntry, displayVersion),
                                  offsetof(InstalledAppEntry, displayIcon),
                                  offsetof(InstalledAppEntry, iconText),
                                  offsetof(InstalledAppEntry, installDate),
                                  offsetof(InstalledAppEntry, lastWriteTime),
                                  offsetof(InstalledAppEntry, architecture),
                                  sizeof(InstalledAppEntry)};
  *count = sizeof layout / sizeof *layout;
  return layout;
}
