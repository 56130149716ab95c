/*
 * KestrelbayGeneral: the machine-side library of an application store.
 *
 * For x64 alone. There is no version to ask for: a host and its library agree by this header.
 *
 * Conventions, which hold for every function below unless it says otherwise:
 *
 *  1. Language. Plain C functions with undecorated names, for C99 and C++. On x64 Windows there is one
 *     calling convention, so none is written.
 *  2. Text. Every text is NUL-terminated UTF-8. GetRootDir alone hands on bytes of the system's ANSI code
 *     page. Invalid UTF-8 is replaced by U+FFFD, never refused.
 *  3. First call. InitDllLogger comes before every function that logs: until it has run there is nowhere to
 *     log to, and a function that logs calls a null pointer. Each function says whether it logs.
 *  4. Pointers. None is checked. Null is allowed only where a function says so; elsewhere the process faults.
 *  5. Ownership. Who frees what, and with which function, stands with each function. What the library
 *     allocated goes back to the library and is never given to the host's own free().
 *  6. Callbacks. Their arguments are good until the callback returns and belong to the library, but for
 *     requests, which are the host's. A callback must not let an exception out: on a worker thread that ends
 *     the process.
 *  7. Errors. There are no error codes. A failure is an empty text, a count of 0, a false or negative result
 *     or an untouched output, as each function says, and what can be said about it goes to the log.
 *  8. Exceptions. The library catches none. Lack of memory, or a thread that cannot be started, leaves the
 *     function as an exception of the C++ runtime that the library was built with (g++'s): a host in C, or
 *     of another compiler, cannot count on catching it. Where only the copy of a text for the host lacks
 *     memory, the invalid-parameter handler is called instead, and if it returns, that text is null. It is
 *     the one of the C runtime that the library imports (msvcrt.dll); a handler set in another runtime does
 *     not count.
 *  9. Threads. Every function may be called from any thread. Any number of them may run at once but for
 *     InitDllLogger, and for Install and Uninstall as each says under "Jobs at once". Each asynchronous call
 *     has a detached thread of its own.
 * 10. Ending. No function waits for a running worker, and StartAnyExeAsync has no callback to wait for. The
 *     host must not unload the library, call exit or return from main before each asynchronous call has made
 *     its callback and a moment has passed for its thread to end. _Exit may come at any time.
 * 11. Caching. Nothing is cached: each call asks the machine anew, so two calls can differ.
 */
#ifndef KESTRELBAY_GENERAL_SDK_H
#define KESTRELBAY_GENERAL_SDK_H

#include <stdbool.h>
#include <stdint.h>

/* Before this header, a host may define it as what its compiler puts before imported functions. */
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
 * Called on whichever thread logs, one call at a time, under the logger's lock: while it runs, every other
 * thread that logs waits, and a call back into a function that logs never returns.
 *
 * @param file   name of the library's source file, without directory or ending; never null
 * @param level  3 information, 5 error (2 debug and 4 warning are reserved)
 * @param text   function name, ":", line number, blank, message; no time and no newline; never null
 */
typedef void (*LogCallback)(const char* file, int32_t level, const char* text);

/**
 * Chooses where log records go. May be called again to change it, but not while another thread may log.
 *
 * Logs once, in the way just chosen.
 *
 * @param callback  receives every record from now on; null sends records to log.dll instead, which is given
 *                  the file and the unexpanded format of each, and adds them to the file that the environment
 *                  variable KESTRELBAY_LOG_FILE names, else to KestrelbayGeneral.log in the temporary folder.
 *                  log.dll must be there in either case, or this library does not load. On Linux there is
 *                  none, and null drops the records.
 */
KESTRELBAY_API void InitDllLogger(LogCallback callback);

/* ----------------------------------------------------------------------------------------- Lifecycle -- */

/**
 * What one installation is asked, and how it went. Texts of up to 259 bytes each: an application with a
 * longer name is listed, but cannot be asked for here.
 */
typedef struct InstallRequest {
  char installerPath[260];   /**< in: path of the installer to run, an executable; without quotes */
  char displayName[260];     /**< in: name that the application is listed under; identifies the job */
  char registryPath[260];    /**< in: leave empty. Anything else is not read, but then nothing is found. */
  char installerParams[260]; /**< in: command-line parameters of the installer */
  char Result[260];          /**< out: "Success" or "Fail" */
  char ErrMsg[260];          /**< out: what happened; "NULL" after a first installation that succeeded,
                                "Update success!" after an update */
  char DisplayVersion[260];  /**< out: version found afterwards; copied without regard to the field's size */
} InstallRequest;

/** What one removal is asked, and how it went. Texts are as in InstallRequest. */
typedef struct UninstallRequest {
  char displayName[260];  /**< in: name that the application is listed under; identifies the job */
  char registryPath[260]; /**< in: leave empty. Anything else is not read, but then nothing is found. */
  char Result[260];       /**< out: "Success", "Fail", or "Cancel" where its program was not started */
  char ErrMsg[260];       /**< out: what happened; "NULL" after a success */
} UninstallRequest;

/**
 * Receives a finished job's own request, on the job's thread. The request is still registered meanwhile.
 *
 * @param request  the pointer that Install or Uninstall was given
 */
typedef void (*InstallCallback)(InstallRequest* request);
typedef void (*UninstallCallback)(UninstallRequest* request);

/**
 * Starts an installation: runs the installer elevated on a thread of its own, waits for its end or for
 * SetStopAppEvent, and judges by whether the application appears in the inventory or changes its version
 * there. The installer's exit code plays no part. Nothing times a job out. The installer is started in the
 * host's current directory, from which a relative path is taken too.
 *
 * Blocks for half a second and the start of the thread; starts of installations and removals wait for each
 * other. Logs from the job's thread and on its start. A job keeps up to two inventories allocated for the
 * life of the process, one for each look-up.
 *
 * Jobs at once: an installation and a removal do not disturb each other. Two installations share a table,
 * which each looks itself up in as it begins and leaves as it ends, without a lock. A start that writes there
 * at that moment, or a second job that ends at that moment, breaks the table: a job is lost or the process
 * faults. It is safe to start the next one when the callback of the one before has returned, and not from
 * inside it: the half second of the start lets the thread of the job before end. A host that has several run
 * at once accepts that.
 *
 * @param request   stays the caller's; must stay valid and writable until the callback has returned. A long
 *                  version text runs past DisplayVersion, so leave room behind the record (1 KiB is ample).
 *                  A second one of a running name is not refused, but whichever ends first unregisters both:
 *                  give each name to one running request at a time.
 * @param callback  called exactly once, also for a request that is refused; never null. There is one for all
 *                  installations: a running one reports to the callback given last.
 */
KESTRELBAY_API void Install(InstallRequest* request, InstallCallback callback);

/**
 * Starts a removal: runs the application's own uninstall command elevated on a thread of its own, waits for a
 * change at its registry entry or for SetStopAppEvent but never for the program, and judges by whether the
 * application is still in the inventory.
 *
 * A program that leaves the entry as it is, because its user cancelled it, keeps the job waiting for good: of
 * this interface only SetStopAppEvent ends that.
 *
 * Blocks, logs, keeps inventories, runs beside others of its kind and treats request and callback as Install
 * does; removals have a callback and a table of their own. The handle of its program stays open.
 */
KESTRELBAY_API void Uninstall(UninstallRequest* request, UninstallCallback callback);

/**
 * Ends every wait of a running installation or removal, now and for the life of the process: the event
 * stays set. No program is ended by it and no job dropped.
 *
 * Logs, after the event is set. Does not block beyond the logger.
 */
KESTRELBAY_API void SetStopAppEvent(void);

/* --------------------------------------------------------------------------------------------- Facts -- */

/*
 * The buffer facts. Each logs its entry, and an error line where it fails.
 *
 * buffer  receives the fact and its NUL; null makes the call fail
 * size    in: size of the buffer in bytes. Pass at least the length plus one: a size equal to the length is
 *         let through, but then there is no room for the NUL, the buffer is emptied and the invalid-parameter
 *         handler is called (convention 8). A negative size counts as boundless.
 *         out: length of the fact without its NUL; unchanged on failure
 * result  false where the fact is empty or unknown, or the buffer too small
 */

/** Maker of the main board. */
KESTRELBAY_API bool GetManufacturer(char* buffer, int32_t* size);
/** The machine's identity exactly as Windows holds it. */
KESTRELBAY_API bool GetDeviceId(char* buffer, int32_t* size);
/** Model of the machine. */
KESTRELBAY_API bool GetProductName(char* buffer, int32_t* size);
/**
 * The calling user's proxy setting as it stands, a list per protocol included; fails where it is switched
 * off. Closes the process's handle of HKEY_CURRENT_USER, which the system opens anew at its next use; another
 * thread that uses it at that moment can fail.
 * @throws std::invalid_argument, std::out_of_range  across the C boundary, where the user's settings exist
 * but their switch is missing or no 32-bit number
 */
KESTRELBAY_API bool GetProxyServer(char* buffer, int32_t* size);
/** Names of the graphics adapters in the system's order, joined by commas. */
KESTRELBAY_API bool GetGraphics(char* buffer, int32_t* size);

/**
 * The version of an installed application. Logs its entry, and a line where the registry does not open; other
 * failures are silent. Each call without `registryPath` keeps one inventory allocated for the life of the
 * process.
 *
 * @param displayName   name exactly as listed, case included
 * @param registryPath  null or empty. Anything else is not read, but then no version is found.
 * @param buffer, size  as for the buffer facts
 * @return false where the application is unknown or has no version, or the buffer is null or too small
 */
KESTRELBAY_API bool GetAppVersion(const char* displayName, const char* registryPath, char* buffer,
                                  int32_t* size);

/**
 * Free space of a drive. Logs its entry.
 *
 * @param path  its first byte is taken for the drive letter and nothing else is looked at; may be null
 * @return mebibytes free to the calling user, rounded down; -1 where they cannot be told
 */
KESTRELBAY_API int64_t GetDiskAvailableSpace(const char* path);

/**
 * Whether the machine is a tablet. Logs its entry.
 * @throws std::invalid_argument, std::out_of_range  across the C boundary, where the machine has the
 * setting's place but the setting is missing or no 32-bit number
 */
KESTRELBAY_API bool IsTabletPC(void);

/**
 * Tells where the host runs.
 *
 * The result is in the system's ANSI code page, not UTF-8. Of more than 259 bytes, the path of the host is
 * cut, and a current directory is given as the empty text.
 * Logs one line for modes 1 and 2, and one where the buffer is too small.
 *
 * @param buffer  receives the directory and its NUL; never null
 * @param size    in: size of `buffer` in bytes. Pass at least the length plus one: a size equal to the length
 *                is let through, but then there is no room for the NUL, `buffer` is emptied and the
 *                invalid-parameter handler is called (convention 8). A negative size counts as boundless.
 *                out: length of the result without its NUL; unchanged where the buffer is too small, which
 *                is the only sign of it
 * @param mode    1 the current directory; 2 the directory of the host's executable, without trailing
 *                backslash; any other gives an empty text
 */
KESTRELBAY_API void GetRootDir(char* buffer, int32_t* size, uint32_t mode);

/* ----------------------------------------------------------------------------------------- Inventory -- */

/**
 * An installed application, as the registry tells it. What is not known is empty, but for lastWriteTime. No
 * text is null, but for want of memory (convention 8).
 */
typedef struct InstalledAppEntry {
  char* displayName;     /**< name, never empty; not unique */
  char* installLocation; /**< folder as registered, unchecked */
  char* displayVersion;  /**< version text as registered */
  char* displayIcon;     /**< source of the icon as registered, quotes and icon index included */
  char* iconText;        /**< empty, the path of an icon file, or "data:image/png;base64," and a picture */
  char* installDate;     /**< as registered, mostly YYYYMMDD */
  char* lastWriteTime;   /**< milliseconds since 1970-01-01 UTC in decimal, of the registry entry;
                            -11644473600000 where that cannot be read */
  int32_t architecture;  /**< registry view of the entry: 0 unknown, 1 32-bit, 2 64-bit */
} InstalledAppEntry;

/**
 * Lists what is installed, sorted by name without regard to the case of ASCII letters.
 *
 * Reads the registry on the calling thread; with icons, it takes longer by one picture drawn for each
 * application that has an executable. The list is empty, users' applications included, where the machine has
 * no key HKEY_LOCAL_MACHINE\Software\Classes\Installer\Products. Logs its entry.
 *
 * Does not initialise COM, which Windows wants for icons on the thread that draws them: a host that asks for
 * them does it first, single-threaded.
 *
 * Where an exception leaves it, `count` is untouched, and `entries` is either untouched or an array whose
 * length nobody tells. So set it to null before, and give it back with count 0: that loses the texts alone.
 *
 * @param entries       receives an array, also where nothing was found; never null. The caller gives it back
 *                      with ReleaseInstalledAppList.
 * @param count         receives the number of entries; never null
 * @param includeIcons  true draws the icon of each executable as a PNG; false leaves those icon texts empty.
 *                      What counts as an executable is told by ".exe" in exactly this case; anything else is
 *                      given as its path either way, without quotes and cut at the first comma.
 */
KESTRELBAY_API void GetInstalledAppList(InstalledAppEntry** entries, uint32_t* count, bool includeIcons);

/**
 * Gives back what GetInstalledAppList allocated. Logs its entry.
 *
 * @param entries  the array, which becomes null; null itself is not allowed, a pointer to null is harmless
 * @param count    the count that came with it, cast: unsigned there, signed here and for the callback, which
 *                 is meant. 0 or less releases the array but none of its texts.
 */
KESTRELBAY_API void ReleaseInstalledAppList(InstalledAppEntry** entries, int32_t count);

/**
 * Receives a list of installed applications, once a request, on a thread of its own.
 *
 * @param entries  first of `count` entries; never null; released by the library after the callback
 * @param count    number of entries, 0 included
 */
typedef void (*AppListCallback)(InstalledAppEntry* entries, int32_t count);

/**
 * GetInstalledAppList on a thread of its own. Returns as soon as that thread has its arguments. Logs its
 * entry, and those of the two functions that the thread calls.
 *
 * @param callback      called exactly once, also for an empty list; never null
 * @param includeIcons  as in GetInstalledAppList
 */
KESTRELBAY_API void GetInstalledAppListAsync(AppListCallback callback, bool includeIcons);

/**
 * Receives the icon of one application, once a request, on a thread of its own.
 *
 * @param iconText  an icon text as in InstalledAppEntry; "" where the application or its icon was not found;
 *                  null for want of memory alone (convention 8); freed by the library after the callback
 */
typedef void (*IconCallback)(char* iconText);

/**
 * Draws the icon of one application on a thread of its own. Returns as soon as that thread has its
 * arguments. Logs its entry. Each request keeps one inventory allocated for the life of the process.
 *
 * @param callback     called exactly once, whatever the outcome; never null
 * @param displayName  name exactly as listed, case included. The pointer is kept, not the text: it must stay
 *                     valid until the callback is called.
 */
KESTRELBAY_API void GetAppIconAsync(IconCallback callback, const char* displayName);

/**
 * Removes the registry entry of the first application with exactly this name, below the machine's root in the
 * 64-bit view; an entry that cannot be deleted is left to an elevated command that nothing waits for.
 *
 * An entry of a user, or of the 32-bit view, is not found there, counts as gone and stays. Logs its entry and
 * what was found. Each call keeps one inventory allocated for the life of the process, and a started command
 * its handle open.
 *
 * @return true when the entry counts as removed or the command was started; false for an unknown name or a
 *         command that was not started
 */
KESTRELBAY_API bool DeleteAppRegistryInfo(const char* displayName);

/* ------------------------------------------------------------------------------------------ Starting -- */

/**
 * Starts an installed application: as an item of the shell's apps folder whose name is part of either text,
 * or else elevated, by the executable that its icon in the inventory points to. Does not wait for it.
 *
 * Reads the apps folder and mostly the inventory too, on the calling thread, which it leaves with COM
 * initialised, single-threaded, so that a later multithreaded initialisation there fails. Logs its entry and
 * what was found. A call that asks the inventory keeps it allocated, and each start keeps the handles of its
 * process open, for the life of the process.
 *
 * @param displayName  for the inventory, exactly as listed, case included
 * @param appAlias     a further text for the apps folder; may be empty, not null
 * @return 1 when the start call succeeded, otherwise 0
 */
KESTRELBAY_API int32_t StartApp(const char* displayName, const char* appAlias);

/**
 * Starts an executable in a console of its own, without elevation. Does not wait for it. Logs its entry.
 * Each start keeps two handles open for the life of the process.
 *
 * @param exePath  is put in quotes, so it must hold none. Without a folder Windows searches for it. A
 *                 relative path is taken from the host's current directory, in which the program starts.
 *                 Variables in it are not expanded.
 * @param exeArgs  handed on as it stands; may be empty, not null
 * @return whether the process was created
 */
KESTRELBAY_API bool StartAnyExe(const char* exePath, const char* exeArgs);

/** StartAnyExe on a thread of its own, which tells no result. Both texts are copied before it returns. */
KESTRELBAY_API void StartAnyExeAsync(const char* exePath, const char* exeArgs);

/* ---------------------------------------------------------------------------------------- Protection -- */

/**
 * Turns a short secret into a text that only the same Windows user on the same machine can turn back. Logs
 * its steps, never the secret.
 *
 * @param input   not null
 * @param output  receives a text, which the caller gives back with ReleaseDllStr: base64 in lines of 64
 *                characters, each ended by CR LF; empty on failure; null for want of memory alone
 *                (convention 8)
 */
KESTRELBAY_API void Encrypt(const char* input, char** output);

/**
 * Turns such a text back.
 *
 * @param input   with or without its line ends; not null
 * @param output  receives a text, which the caller gives back with ReleaseDllStr; empty on failure;
 *                null for want of memory alone (convention 8). Wiping it first is the caller's own business.
 */
KESTRELBAY_API void Decrypt(const char* input, char** output);

/* ---------------------------------------------------------------------------------------- Fixed data -- */

/**
 * Hands out the identifiers of the applications that a store must not offer. Does not log.
 *
 * @param table  receives a table of constant texts, the same at every call and never released; never null
 * @param count  receives the number of texts in it; never null
 */
KESTRELBAY_API void GetAppBlackList(const char* const** table, uint32_t* count);

/**
 * Frees a text that a function of this library allocated for the caller. Does not log.
 *
 * @param text  the text, which becomes null; a pointer to null is harmless, null itself is not allowed
 */
KESTRELBAY_API void ReleaseDllStr(char** text);

#ifdef __cplusplus
}
#endif

#endif
