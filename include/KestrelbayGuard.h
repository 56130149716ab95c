/*
 * KestrelbayGuard: the functions of KestrelbayGeneral for hosts that cannot catch its exceptions.
 *
 * KestrelbayGeneral reports lack of memory, a thread that cannot be started and two invalid settings by C++
 * exceptions of g++. A host in C, or of another compiler, cannot catch them and ends. KestrelbayGuard.dll
 * calls KestrelbayGeneral.dll, catches each exception and returns a status instead. It must be in the same
 * folder as KestrelbayGeneral.dll and log.dll.
 *
 * Conventions:
 *
 *  1. A function GuardX calls X of KestrelbayGeneralSDK.h with the same parameters, text rules, ownership and
 *     threads. It differs only in what this header says.
 *  2. Each function except GuardVersion returns int32_t. A negative result is a GuardStatus and means that an
 *     exception was caught. 0 or 1 is the result of X (false or true); 0 if X returns nothing.
 *  3. Call GuardQueueLog or GuardInitDllLogger first. Before that, a function that logs calls a null pointer.
 *  4. GetAppBlackList and ReleaseDllStr throw nothing. Call them directly.
 *  5. An exception on a thread of the library cannot be caught here and ends the process: lack of memory in a
 *     running installation, uninstallation or asynchronous call, or an exception that leaves a callback.
 *  6. If not even a small block of memory is free, g++'s runtime may end the process before it can raise an
 *     exception.
 */
#ifndef KESTRELBAY_GUARD_H
#define KESTRELBAY_GUARD_H

#include "KestrelbayGeneralSDK.h"

/* A host may define this before the include, as the keyword of its compiler for imported functions. */
#ifndef KESTRELBAY_GUARD_API
#define KESTRELBAY_GUARD_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Why a function failed. */
typedef enum GuardStatus {
  GUARD_INVALID_SETTING = -1, /**< the setting is missing or is not a 32-bit number */
  GUARD_NO_MEMORY = -2,
  GUARD_NO_THREAD = -3,       /**< the thread of the call could not be started */
  GUARD_UNEXPECTED = -4,      /**< any other exception */
  GUARD_BUFFER_TOO_SMALL = -5 /**< GuardTakeLog only */
} GuardStatus;

/**
 * Version of this DLL and of the KestrelbayGeneral.dll that it was built with, for example "1.0". Throws
 * nothing and does not log.
 *
 * @return a constant text; the library owns it
 */
KESTRELBAY_GUARD_API const char* GuardVersion(void);

/* ----------------------------------------------------------------------------------------- Log queue -- */

/**
 * Sends all log records to a queue inside this DLL. The library then never waits for the host, so a host that
 * runs callbacks on one fixed thread cannot deadlock. Keeps the newest 4096 records and drops older ones.
 *
 * Keep this DLL loaded afterwards: the library calls it for each record.
 *
 * Does nothing, on any thread, if records already go to the queue. The first call, and a call after
 * GuardInitDllLogger, is not thread-safe: same rule as InitDllLogger.
 */
KESTRELBAY_GUARD_API int32_t GuardQueueLog(void);

/**
 * Takes the oldest record from the queue. Does not block and does not log. Thread-safe.
 *
 * @param level     out: level of the record
 * @param text      out: source file, blank, text of the record; null-terminated UTF-8
 * @param size      in: size of `text` in bytes. out: length of the text plus one
 * @param dropped   out: number of records dropped since the last call, also if that failed
 * @return 1 if a record was taken; 0 if the queue is empty; GUARD_BUFFER_TOO_SMALL if `text` is too small:
 *         `size` is set, and the record stays in the queue
 */
KESTRELBAY_GUARD_API int32_t GuardTakeLog(int32_t* level, char* text, int32_t* size, uint32_t* dropped);

/* ---------------------------------------------------------------------------------------------- Jobs -- */

/**
 * An installation for hosts without a callback. The host fills `request`, sets everything else to 0, and
 * keeps the record at its place until `finished` is 1.
 */
typedef struct GuardInstallJob {
  InstallRequest request;
  char room[1024];           /**< for a version text that overruns `request` */
  volatile int32_t finished; /**< out: 1 when `request` has its results and is no longer used */
} GuardInstallJob;

/** An uninstallation for hosts without a callback; as GuardInstallJob. */
typedef struct GuardUninstallJob {
  UninstallRequest request;
  char room[1024];
  volatile int32_t finished;
} GuardUninstallJob;

/**
 * Calls Install with a callback of this DLL that sets `finished`. After a negative result `finished` stays 0
 * and no job runs; keep the record at its place even then, because the library still has its address. Jobs of
 * one kind must not overlap: wait for `finished`, then at least half a second, before the next start.
 */
KESTRELBAY_GUARD_API int32_t GuardStartInstall(GuardInstallJob* job);
/** Calls Uninstall; as GuardStartInstall. */
KESTRELBAY_GUARD_API int32_t GuardStartUninstall(GuardUninstallJob* job);

/* ----------------------------------------------------------------- Functions of KestrelbayGeneralSDK.h -- */

KESTRELBAY_GUARD_API int32_t GuardInitDllLogger(LogCallback callback);
/** After a negative result there is no callback. Keep the request valid: the library keeps its address. */
KESTRELBAY_GUARD_API int32_t GuardInstall(InstallRequest* request, InstallCallback callback);
/** As GuardInstall. */
KESTRELBAY_GUARD_API int32_t GuardUninstall(UninstallRequest* request, UninstallCallback callback);
KESTRELBAY_GUARD_API int32_t GuardSetStopAppEvent(void);

KESTRELBAY_GUARD_API int32_t GuardGetManufacturer(char* buffer, int32_t* size);
KESTRELBAY_GUARD_API int32_t GuardGetDeviceId(char* buffer, int32_t* size);
KESTRELBAY_GUARD_API int32_t GuardGetProductName(char* buffer, int32_t* size);
/** -1 (GUARD_INVALID_SETTING) if `ProxyEnable` is missing or not a number, 0 without a proxy, 1 with one. */
KESTRELBAY_GUARD_API int32_t GuardGetProxyServer(char* buffer, int32_t* size);
KESTRELBAY_GUARD_API int32_t GuardGetGraphics(char* buffer, int32_t* size);
KESTRELBAY_GUARD_API int32_t GuardGetAppVersion(const char* displayName, const char* registryPath,
                                                char* buffer, int32_t* size);
/** @param mebibytes  out: the result of GetDiskAvailableSpace; -1 on failure */
KESTRELBAY_GUARD_API int32_t GuardGetDiskAvailableSpace(const char* path, int64_t* mebibytes);
/** -1 (GUARD_INVALID_SETTING) if `IsTabletPc` is missing or not a number, 0 no tablet, 1 tablet. */
KESTRELBAY_GUARD_API int32_t GuardIsTabletPC(void);
KESTRELBAY_GUARD_API int32_t GuardGetRootDir(char* buffer, int32_t* size, uint32_t mode);

/**
 * On failure `entries` is null and `count` is 0. No text of a list is null: a list that lacks one fails. With
 * icons, initialises COM on this thread (single-threaded) during the call if the host has not.
 */
KESTRELBAY_GUARD_API int32_t GuardGetInstalledAppList(InstalledAppEntry** entries, uint32_t* count,
                                                      bool includeIcons);
KESTRELBAY_GUARD_API int32_t GuardReleaseInstalledAppList(InstalledAppEntry** entries, int32_t count);
/** After a negative result there is no callback. */
KESTRELBAY_GUARD_API int32_t GuardGetInstalledAppListAsync(AppListCallback callback, bool includeIcons);
/** After a negative result there is no callback. */
KESTRELBAY_GUARD_API int32_t GuardGetAppIconAsync(IconCallback callback, const char* displayName);
/** Initialises COM on this thread (single-threaded) during the call if the host has not. */
KESTRELBAY_GUARD_API int32_t GuardDeleteAppRegistryInfo(const char* displayName);

KESTRELBAY_GUARD_API int32_t GuardStartApp(const char* displayName, const char* appAlias);
KESTRELBAY_GUARD_API int32_t GuardStartAnyExe(const char* exePath, const char* exeArgs);
KESTRELBAY_GUARD_API int32_t GuardStartAnyExeAsync(const char* exePath, const char* exeArgs);

/** On failure `output` is null. */
KESTRELBAY_GUARD_API int32_t GuardEncrypt(const char* input, char** output);
/** On failure `output` is null. */
KESTRELBAY_GUARD_API int32_t GuardDecrypt(const char* input, char** output);

#ifdef __cplusplus
}
#endif

#endif
