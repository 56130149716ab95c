/*
 * KestrelbayGeneral: the machine-side library of an application store.
 *
 * Conventions, which hold for every function below unless it says otherwise:
 *
 *  1. Language. Plain C functions with undecorated names, for C99 and C++. On x64 Windows there is one
 *     calling convention, so none is written.
 *  2. Text. Every text is NUL-terminated UTF-8. GetRootDir alone hands on bytes of the system's ANSI code
 *     page. Invalid UTF-8 is replaced by U+FFFD, never refused.
 *  3. First call. InitDllLogger comes before every function that logs: until it has run there is nowhere to
 *     log to, and a function that logs calls a null pointer. Each function says whether it logs.
 *  4. Pointers. None is checked. Null is allowed only where a function says so; elsewhere it faults.
 *  5. Ownership. Who frees what, and with which function, stands with each function. What the library
 *     allocated goes back to the library and is never given to the host's own free().
 *  6. Callbacks. Their arguments are good until the callback returns and belong to the library. A callback
 *     must not let an exception out: on a worker thread that ends the process.
 *  7. Errors. There are no error codes. A failure is an empty text, a count of 0 or an untouched output, and
 *     what can be said about it goes to the log.
 *  8. Exceptions. The library catches none. Lack of memory, or a thread that cannot be started, leaves the
 *     function as a C++ exception.
 *  9. Threads. Every function may be called from any thread, and any number of them at once, InitDllLogger
 *     excepted. Each asynchronous call has a detached thread of its own.
 * 10. Unloading. No function waits for a running worker. The host must not unload the library before each
 *     asynchronous call has made its callback and a moment has passed for its thread to end.
 * 11. Caching. Nothing is cached: each call asks the machine anew, so two calls can differ.
 */
#ifndef KESTRELBAY_GENERAL_SDK_H
#define KESTRELBAY_GENERAL_SDK_H

#include <stdbool.h>
#include <stdint.h>

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
 *                  the file and the unexpanded format of each
 */
KESTRELBAY_API void InitDllLogger(LogCallback callback);

/* ----------------------------------------------------------------------------------------- Lifecycle -- */

/**
 * Ends every wait of a running installation or removal, now and for the life of the process: the event
 * stays set. No program is ended by it and no job dropped.
 *
 * Logs, after the event is set. Does not block beyond the logger.
 */
KESTRELBAY_API void SetStopAppEvent(void);

/* --------------------------------------------------------------------------------------------- Facts -- */

/**
 * Tells where the host runs.
 *
 * The result is in the system's ANSI code page, not UTF-8. A path of more than 259 bytes is cut.
 * Logs one line for modes 1 and 2, and one where the buffer is too small.
 *
 * @param buffer  receives the directory and its NUL; never null
 * @param size    in: size of `buffer` in bytes. Pass at least the length plus one: a size equal to the length
 *                is let through, but then there is no room for the NUL, `buffer` is emptied and the C
 *                runtime's invalid-parameter handler is raised.
 *                out: length of the result without its NUL; unchanged where the buffer is too small, which
 *                is the only sign of it
 * @param mode    1 the current directory; 2 the directory of the host's executable, without trailing
 *                backslash; any other gives an empty text
 */
KESTRELBAY_API void GetRootDir(char* buffer, int32_t* size, uint32_t mode);

/* ----------------------------------------------------------------------------------------- Inventory -- */

/**
 * An installed application, as the registry tells it. No text is null; what is not known is empty.
 */
typedef struct InstalledAppEntry {
  char* displayName;     /**< name, never empty; not unique */
  char* installLocation; /**< folder as registered, unchecked */
  char* displayVersion;  /**< version text as registered */
  char* displayIcon;     /**< source of the icon as registered, quotes and icon index included */
  char* iconText;        /**< empty, the path of an icon file, or "data:image/png;base64," and a picture */
  char* installDate;     /**< as registered, mostly YYYYMMDD */
  char* lastWriteTime;   /**< milliseconds since 1970-01-01 UTC in decimal, of the registry entry */
  int32_t architecture;  /**< registry view of the entry: 0 unknown, 1 32-bit, 2 64-bit */
} InstalledAppEntry;

/**
 * Lists what is installed, sorted by name without regard to the case of ASCII letters.
 *
 * Reads the registry on the calling thread, typically some tens of milliseconds; with icons, longer by one
 * picture drawn for each application that has an executable. Logs its entry.
 *
 * @param entries       receives an array, also where nothing was found; never null. The caller gives it back
 *                      with ReleaseInstalledAppList.
 * @param count         receives the number of entries; never null
 * @param includeIcons  true draws the icon of each executable as a PNG; false leaves those icon texts empty.
 *                      An icon that is not in an executable is given as its path either way.
 */
KESTRELBAY_API void GetInstalledAppList(InstalledAppEntry** entries, uint32_t* count, bool includeIcons);

/**
 * Gives back what GetInstalledAppList allocated. Logs its entry.
 *
 * @param entries  the array, which becomes null; null itself is not allowed, a pointer to null is harmless
 *                 with a count of 0
 * @param count    the count that came with it; 0 or less releases the array but none of its texts
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
 *                  never null; freed by the library after the callback
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
