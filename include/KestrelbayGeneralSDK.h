/*
 * KestrelbayGeneral: the machine-side library of an application store.
 *
 * For x64 only. The library reports no version: build a host against the header of the library that it ships
 * with. The guide docs/hosts.md has a program or the reason for each rule.
 *
 * Conventions of all functions below, unless a function says otherwise:
 *
 *  1. Language. Plain C functions with undecorated names, for C99 and C++. On x64 Windows there is one
 *     calling convention, so the declarations name none.
 *  2. Text. Every text is null-terminated UTF-8, except that GetRootDir returns bytes of the system's ANSI
 *     code page. The library replaces invalid UTF-8 by U+FFFD and never refuses it.
 *  3. First call. Call InitDllLogger before any function that logs. Before it, a function that logs calls a
 *     null pointer. Each function says whether it logs.
 *  4. Pointers. The library checks none. A parameter may be null only if the function says so; otherwise the
 *     process crashes.
 *  5. Ownership. Each function says who frees its memory, and how. Never use the free() of the host for it.
 *  6. Callbacks. The arguments are valid until the callback returns. The library owns them, except requests,
 *     which the host owns. No exception may leave a callback: on a worker thread it ends the process.
 *  7. Errors. There are no error codes. A failure is an empty text, a count of 0, a false or negative result
 *     or an unchanged output, as each function says. The log has the details.
 *  8. Exceptions. The library catches none. Lack of memory, or a thread that cannot be started, leaves the
 *     function as an exception of g++'s C++ runtime. A host of another compiler or language cannot catch it
 *     and ends with status 0x20474343: it uses KestrelbayGuard.h. If memory is missing only for the host's
 *     copy of a text, the library calls the invalid-parameter handler instead; if the handler returns, that
 *     text is null. It is the handler of the C runtime that the library imports (msvcrt.dll).
 *  9. Threads. Each function may be called from any thread. Any number of them may run at once, except
 *     InitDllLogger, and except Install and Uninstall as described there under "Jobs at once". Each
 *     asynchronous call has a separate, detached thread. Do not call the library from DllMain or a static
 *     constructor: its threads wait for the loader lock.
 * 10. End. No function waits for a running worker, and StartAnyExeAsync has no callback. The host must not
 *     unload the library, call exit or return from main before each asynchronous call has made its callback
 *     and its thread has had a moment to end. The host may call _Exit at any time.
 * 11. Caching. The library caches nothing: each call reads the machine anew, so two calls can differ.
 * 12. Services. In session 0 an installer shows no window and waits forever, and Windows draws no icons.
 *     HKEY_CURRENT_USER, the proxy, the keys of Encrypt and the temporary folder are the service account's.
 * 13. Search paths. Windows searches for `reg`, `explorer.exe` and an uninstall command without a folder on
 *     the process's search path: let only administrators write to its folders.
 */
#ifndef KESTRELBAY_GENERAL_SDK_H
#define KESTRELBAY_GENERAL_SDK_H

#include <stdbool.h>
#include <stdint.h>

/* A host may define this before the include, as the keyword of its compiler for imported functions. */
#ifndef KESTRELBAY_API
#define KESTRELBAY_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------------------------- Logging -- */

/**
 * Receives one log record.
 *
 * Called on the thread that logs, one call at a time, while the logger holds its lock. Every other thread
 * that logs waits meanwhile. A call from the callback to a function that logs never returns. The callback
 * must not wait for a thread that calls the library: that thread may wait for the logger.
 *
 * @param file   name of a source file of the library, without directory or ending; never null
 * @param level  3 information, 5 error (2 debug and 4 warning are reserved)
 * @param text   function name, ":", line number, blank, message; no time and no newline; never null
 */
typedef void (*LogCallback)(const char* file, int32_t level, const char* text);

/**
 * Chooses the destination of log records. May be called again, but not while another thread may log. Logs
 * once, to the new destination.
 *
 * @param callback  receives every record from now on. Null sends records to log.dll instead, with the file
 * and the unexpanded format of each. log.dll appends them to the file that the environment variable
 * KESTRELBAY_LOG_FILE names, otherwise to KestrelbayGeneral.log in the temporary folder. This library does
 * not load without log.dll, even if there is a callback. On Linux there is no log.dll: this library appends
 * the records to the same file itself, in the same form.
 */
KESTRELBAY_API void InitDllLogger(LogCallback callback);

/* ----------------------------------------------------------------------------------------- Lifecycle -- */

/**
 * The parameters and results of one installation. Texts have up to 259 bytes: an application with a longer
 * name is listed, but cannot be used here.
 */
typedef struct InstallRequest {
  char installerPath[260];   /**< in: path of the installer to run, an executable; without quotes */
  char displayName[260];     /**< in: name that the application is listed under; identifies the job */
  char registryPath[260];    /**< in: leave empty. Another text is not read, and nothing is found. */
  char installerParams[260]; /**< in: command-line parameters of the installer */
  char Result[260];          /**< out: "Success" or "Fail" */
  char ErrMsg[260];          /**< out: the reason; "NULL" after a successful first installation,
                                "Update success!" after an update */
  char DisplayVersion[260];  /**< out: version found afterwards; by design the copy ignores its size */
} InstallRequest;

/** The parameters and results of one uninstallation. Texts are as in InstallRequest. */
typedef struct UninstallRequest {
  char displayName[260];  /**< in: name that the application is listed under; identifies the job */
  char registryPath[260]; /**< in: leave empty. Another text is not read, and nothing is found. */
  char Result[260];       /**< out: "Success", "Fail", or "Cancel" if its program did not start, or if
                             the shell returned no process handle */
  char ErrMsg[260];       /**< out: the reason; "NULL" after a success */
} UninstallRequest;

/**
 * Receives the request of a finished job, on the thread of the job. The job stays in the library's table
 * until the callback returns.
 * @param request  the pointer that the host passed to Install or Uninstall
 */
typedef void (*InstallCallback)(InstallRequest* request);
typedef void (*UninstallCallback)(UninstallRequest* request);

/**
 * Starts an installation. Runs the installer elevated on a new thread and waits for its end or for
 * SetStopAppEvent. The result depends on the inventory: the application appears there or changes its version.
 * The exit code of the installer is ignored. A job has no time limit. The installer starts in the current
 * directory of the host, and a relative path is relative to that directory. If the shell returns no process
 * handle, the job judges at once, while the installer still runs. Blocks for half a second and for the start
 * of the thread. Starts of installations and uninstallations wait for each other. Logs at the start and on
 * the thread of the job. A job keeps up to two inventories allocated for the life of the process, one for
 * each look-up.
 *
 * Jobs at once: an installation and an uninstallation do not disturb each other. Two installations share a
 * table without a lock. Each job looks itself up there when it begins and removes itself when it ends. A
 * start that writes at that moment, or a second job that ends at that moment, breaks the table: a job is lost
 * or the process crashes. It is safe to start the next job after the callback of the previous one has
 * returned, but not from inside it: the thread of the previous job ends during the half second of the start.
 * A host that runs several jobs at once accepts this risk.
 *
 * @param request   owned by the caller; must stay valid and writable until the callback has returned. A long
 *                  version text overruns DisplayVersion, so leave room after the record (1 KiB is enough). A
 *                  second request with the name of a running one is not refused, but the first of them to end
 *                  removes both from the table: use each name in one running request at a time.
 * @param callback  called exactly once, also for a request that is refused; never null. There is one callback
 *                  for all installations: a running job reports to the last one.
 */
KESTRELBAY_API void Install(InstallRequest* request, InstallCallback callback);

/**
 * Starts an uninstallation. Runs the uninstall command of the application elevated on a new thread and waits
 * for a change of its registry entry or for SetStopAppEvent, but never for the program. The uninstallation
 * succeeds if the application is not in the inventory afterwards. If the program does not change the entry,
 * for example because its user cancelled it, the job waits for ever. Only SetStopAppEvent ends that wait. The
 * job waits for an event with the name of the application. If another kind of object has that name, or the
 * name contains a backslash, the job does not wait.
 *
 * Blocking, logging, kept inventories, jobs at once, request and callback are as in Install; uninstallations
 * have a separate callback and table. The handle of the program stays open.
 */
KESTRELBAY_API void Uninstall(UninstallRequest* request, UninstallCallback callback);

/**
 * Ends every wait of installations and uninstallations, now and for the life of the process: the event stays
 * set. Ends no program and drops no job. Logs after it has set the event. Blocks only in the logger.
 */
KESTRELBAY_API void SetStopAppEvent(void);

/* --------------------------------------------------------------------------------------------- Facts -- */

/*
 * The buffer facts. Each logs its entry, and an error line on failure.
 *
 * buffer  out: the fact and its NUL; null makes the call fail
 * size    in: size of the buffer in bytes. Pass at least the length plus one. A size equal to the length is
 *         accepted but has no room for the NUL: the function empties the buffer and calls the
 *         invalid-parameter handler (convention 8). A negative size means no limit.
 *         out: length of the fact without its NUL; unchanged on failure
 * result  false if the fact is empty or unknown, or if the buffer is too small
 */

/** Maker of the main board. */
KESTRELBAY_API bool GetManufacturer(char* buffer, int32_t* size);
/** The identity of the machine exactly as Windows stores it. */
KESTRELBAY_API bool GetDeviceId(char* buffer, int32_t* size);
/** Model of the machine. */
KESTRELBAY_API bool GetProductName(char* buffer, int32_t* size);
/**
 * The proxy setting of the calling user unchanged, even a list per protocol; fails if the proxy is off.
 * Closes the process's handle of HKEY_CURRENT_USER, which Windows opens again at its next use. Another thread
 * that uses it at that moment can fail.
 * @throws std::invalid_argument, std::out_of_range  across the C boundary, if the user has the key
 *         Software\Microsoft\Windows\CurrentVersion\Internet Settings, but its value ProxyEnable is missing,
 *         as for the account LocalService, or is not a 32-bit number
 */
KESTRELBAY_API bool GetProxyServer(char* buffer, int32_t* size);
/** Names of the graphics adapters in the order of the system, joined by commas. */
KESTRELBAY_API bool GetGraphics(char* buffer, int32_t* size);

/**
 * The version of an installed application. Logs its entry, and a line if the registry does not open; other
 * failures are silent. Each call without `registryPath` keeps one inventory allocated for the life of the
 * process.
 *
 * @param displayName   name exactly as listed, case included
 * @param registryPath  null or empty. With any other text, which is not read, the library finds no version.
 * @param buffer, size  as for the buffer facts
 * @return false if the application is unknown or has no version, or if the buffer is null or too small
 */
KESTRELBAY_API bool GetAppVersion(const char* displayName, const char* registryPath, char* buffer,
                                  int32_t* size);

/**
 * Free space of a drive. Logs its entry. For a drive without a medium Windows opens a window, unless the host
 * has called SetErrorMode(SEM_FAILCRITICALERRORS).
 *
 * @param path  its first byte is the drive letter, the rest is ignored; may be null
 * @return mebibytes free to the calling user, rounded down; -1 on failure
 */
KESTRELBAY_API int64_t GetDiskAvailableSpace(const char* path);

/**
 * Whether the machine is a tablet. Logs its entry.
 * @throws std::invalid_argument, std::out_of_range  across the C boundary, if the machine has the key
 *         SOFTWARE\Microsoft\Windows\Tablet PC without a 32-bit number as its value IsTabletPc
 */
KESTRELBAY_API bool IsTabletPC(void);

/**
 * Returns the directory of the host in the system's ANSI code page, not in UTF-8. In East Asian code pages
 * the second byte of a character can be 0x5C, the byte of a backslash. Characters outside the code page are
 * lost, most of them as "?". A path of the host of more than 259 bytes is cut; for a longer current directory
 * the result is empty. A host can use a function of its language instead. Logs one line for modes 1 and 2,
 * and one if the buffer is too small.
 *
 * @param buffer  out: the directory and its NUL; never null
 * @param size    as for the buffer facts; unchanged if the buffer is too small, which nothing else reports
 * @param mode    1 the current directory; 2 the directory of the host's executable, without trailing
 *                backslash; any other number the empty text
 */
KESTRELBAY_API void GetRootDir(char* buffer, int32_t* size, uint32_t mode);

/* ----------------------------------------------------------------------------------------- Inventory -- */

/**
 * An installed application, as registered. An unknown text is empty, except lastWriteTime. No text is null,
 * except for lack of memory (convention 8).
 */
typedef struct InstalledAppEntry {
  char* displayName;     /**< name, never empty; not unique */
  char* installLocation; /**< folder as registered, unchecked */
  char* displayVersion;  /**< version text as registered */
  char* displayIcon;     /**< source of the icon as registered, with quotes and icon index */
  char* iconText;        /**< empty, the path of an icon file, or "data:image/png;base64," and a picture */
  char* installDate;     /**< as registered, mostly YYYYMMDD */
  char* lastWriteTime;   /**< milliseconds since 1970-01-01 UTC in decimal, of the registry entry;
                            -11644473600000 if that cannot be read */
  int32_t architecture;  /**< registry view of the entry: 0 unknown, 1 32-bit, 2 64-bit */
} InstalledAppEntry;

/**
 * Lists the installed applications, sorted by name without regard to the case of ASCII letters.
 *
 * Reads the registry on the calling thread. With icons, it also draws one picture for each application that
 * has an executable. If the machine has no key HKEY_LOCAL_MACHINE\Software\Classes\Installer\Products, the
 * list is empty: even the applications of users are missing. Logs its entry. Does not initialise COM: a host
 * that asks for icons initialises it first, single-threaded, because Microsoft's documentation asks for it on
 * the thread that draws them.
 *
 * If an exception leaves the function, `count` is unchanged, and `entries` is either unchanged or an array of
 * unknown length. So set it to null before the call, and release it with count 0: this leaks only the texts.
 *
 * @param entries       out: an array, also if nothing was found; never null. The caller releases it with
 *                      ReleaseInstalledAppList.
 * @param count         out: the number of entries; never null
 * @param includeIcons  true draws the icon of each executable as a PNG; false leaves those icon texts empty.
 *                      A displayIcon with ".exe" in exactly this case is an executable. For any other one
 *                      the icon text is always its path, without quotes and cut at the first comma.
 */
KESTRELBAY_API void GetInstalledAppList(InstalledAppEntry** entries, uint32_t* count, bool includeIcons);

/**
 * Releases the array of GetInstalledAppList. Logs its entry.
 * @param entries  in: the array; out: null. A pointer to null is allowed, null is not.
 * @param count    the count of GetInstalledAppList, cast: by design it is unsigned there, and signed here and
 * in the callback. 0 or less releases the array but none of its texts.
 */
KESTRELBAY_API void ReleaseInstalledAppList(InstalledAppEntry** entries, int32_t count);

/**
 * Receives a list of installed applications, once for each request, on the thread of the request.
 * @param entries  first of `count` entries; never null; released by the library after the callback
 * @param count    number of entries; may be 0
 */
typedef void (*AppListCallback)(InstalledAppEntry* entries, int32_t count);

/**
 * Calls GetInstalledAppList on a new thread. Returns when that thread has its arguments. Logs its entry and
 * the entries of the two functions that the thread calls.
 *
 * @param callback      called exactly once, also for an empty list; never null
 * @param includeIcons  as in GetInstalledAppList
 */
KESTRELBAY_API void GetInstalledAppListAsync(AppListCallback callback, bool includeIcons);

/**
 * Receives the icon of one application, once for each request, on the thread of the request.
 * @param iconText  an icon text as in InstalledAppEntry; "" if the application or its icon was not found;
 * null only for lack of memory (convention 8); freed by the library after the callback
 */
typedef void (*IconCallback)(char* iconText);

/**
 * Draws the icon of one application on a new thread. Returns when that thread has its arguments. Logs its
 * entry. Each request keeps one inventory allocated for the life of the process.
 *
 * @param callback     called exactly once, also on failure; never null
 * @param displayName  name exactly as listed, case included; not copied: valid until the callback is called
 */
KESTRELBAY_API void GetAppIconAsync(IconCallback callback, const char* displayName);

/**
 * Removes the registry entry of the first application with exactly this name, below HKEY_LOCAL_MACHINE in the
 * 64-bit view. If the entry cannot be deleted, starts an elevated command and does not wait for it.
 *
 * By design an entry of a user, or of the 32-bit view, is not found there, counts as removed and stays. But a
 * key of the same path in the 64-bit view is deleted. Initialise COM, single-threaded, on this thread first:
 * Windows needs it to start the command. Logs its entry and the result of the search. Each call keeps one
 * inventory allocated for the life of the process. The handle of a started command stays open.
 *
 * @return true if the entry counts as removed or the command was started; false for an unknown name, a
 *         command that did not start, or one whose process handle the shell did not return
 */
KESTRELBAY_API bool DeleteAppRegistryInfo(const char* displayName);

/* ------------------------------------------------------------------------------------------ Starting -- */

/**
 * Starts an installed application, and does not wait for it. If the name of an item of the apps folder is
 * part of either text, starts that item. Otherwise starts the executable of the application's icon in the
 * inventory, elevated. Reads the apps folder, and the inventory if the folder has no such item, on the
 * calling thread. Leaves COM initialised there, single-threaded: a later multithreaded initialisation on that
 * thread fails. Logs its entry and the result of the search. A call that reads the inventory keeps it
 * allocated, and each start keeps the handles of its process open, for the life of the process.
 *
 * @param displayName  for the inventory, exactly as listed, case included
 * @param appAlias     a second text for the apps folder; may be empty, not null
 * @return 1 if the start call succeeded; 0 otherwise, also if the shell started the program but returned no
 *         process handle
 */
KESTRELBAY_API int32_t StartApp(const char* displayName, const char* appAlias);

/**
 * Starts an executable in a new console, without elevation. Does not wait for it. Logs its entry. Each start
 * keeps two handles open for the life of the process.
 *
 * @param exePath  the function adds quotes, so it must contain none. Windows searches for a name without a
 *                 folder. A relative path is relative to the current directory of the host, in which the
 *                 program starts. Variables are not expanded.
 * @param exeArgs  passed on unchanged; may be empty, not null
 * @return whether the process was created
 */
KESTRELBAY_API bool StartAnyExe(const char* exePath, const char* exeArgs);

/** Calls StartAnyExe on a new thread and reports no result. Copies both texts before it returns. */
KESTRELBAY_API void StartAnyExeAsync(const char* exePath, const char* exeArgs);

/* ---------------------------------------------------------------------------------------- Protection -- */

/**
 * Encrypts a short secret into a text that only the same Windows user on the same machine can decrypt. Fails
 * if the profile of the user is not loaded, as for some services. Logs its steps, never the secret.
 *
 * @param input   not null; of an empty text Decrypt returns an empty text, as on failure
 * @param output  out: a text, which the caller releases with ReleaseDllStr: base64 in lines of 64 characters,
 *                each ended by CR LF; empty on failure; null only for lack of memory (convention 8)
 */
KESTRELBAY_API void Encrypt(const char* input, char** output);

/**
 * Decrypts a text of Encrypt. Logs its steps, never the secret.
 * @param input   with or without its line ends; not null
 * @param output  out: the bytes given to Encrypt, UTF-8 or not, which the caller releases with ReleaseDllStr;
 *                empty on failure; null only for lack of memory (convention 8). The caller wipes it before
 *                the release, if that matters.
 */
KESTRELBAY_API void Decrypt(const char* input, char** output);

/* ---------------------------------------------------------------------------------------- Fixed data -- */

/**
 * Returns the identifiers of the applications that a store must not offer. Does not log.
 * @param table  out: a table of constant texts, the same at each call and never released; never null
 * @param count  out: the number of texts in it; never null
 */
KESTRELBAY_API void GetAppBlackList(const char* const** table, uint32_t* count);

/**
 * Frees a text that a function of this library allocated for the caller. Does not log.
 * @param text  in: the text; out: null. A pointer to null is allowed, null is not.
 */
KESTRELBAY_API void ReleaseDllStr(char** text);

#ifdef __cplusplus
}
#endif

#endif
