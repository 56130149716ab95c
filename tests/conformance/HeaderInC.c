#include "HeaderInC.h"

#include "KestrelbayGeneralSDK.h"

/* Typed as a host would: a declaration that C reads otherwise does not compile. */
static void (*const initDllLogger)(LogCallback) = InitDllLogger;
static void (*const getRootDir)(char*, int32_t*, uint32_t) = GetRootDir;
static void (*const getList)(InstalledAppEntry**, uint32_t*, bool) = GetInstalledAppList;
static void (*const releaseList)(InstalledAppEntry**, int32_t) = ReleaseInstalledAppList;
static void (*const getListAsync)(AppListCallback, bool) = GetInstalledAppListAsync;
static void (*const getIconAsync)(IconCallback, const char*) = GetAppIconAsync;
static void (*const getBlackList)(const char* const**, uint32_t*) = GetAppBlackList;

const AnyFunction* FunctionsInC(size_t* count) {
  static AnyFunction functions[9];
  functions[0] = (AnyFunction)initDllLogger;
  functions[1] = (AnyFunction)SetStopAppEvent;
  functions[2] = (AnyFunction)getRootDir;
  functions[3] = (AnyFunction)getList;
  functions[4] = (AnyFunction)releaseList;
  functions[5] = (AnyFunction)getListAsync;
  functions[6] = (AnyFunction)getIconAsync;
  functions[7] = (AnyFunction)getBlackList;
  functions[8] = (AnyFunction)ReleaseDllStr;
  *count = sizeof functions / sizeof *functions;
  return functions;
}

size_t EntryBytesInC(void) { return sizeof(InstalledAppEntry); }
