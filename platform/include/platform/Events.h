/** Events, waits, pauses and the end of a mutex. */
#pragma once

#include <mutex>

#include "platform/Types.h"

namespace platform {

/**
 * Creates an event, or opens the existing event of that name.
 * @param attributes    null
 * @param manualReset   true: stays signalled until it is reset; false: the wait that it ends clears it
 * @param initialState  true: signalled from the start
 * @param name          null or empty for an unnamed event; case counts. A name with a backslash is refused
 * with ERROR_PATH_NOT_FOUND (3), except in the prefixes "Local\\" and "Global\\". The name of another kind of
 * object, such as a mutex, is refused with ERROR_INVALID_HANDLE (6)
 * @return a handle that CloseHandle closes, with the last error ERROR_ALREADY_EXISTS (183) if the event
 * existed and 0 otherwise; null with the last error set on failure
 */
HANDLE CreateEventW(void* attributes, BOOL manualReset, BOOL initialState, const char16_t* name);

/** Signals an event. @return 0 on failure, with the last error set: ERROR_INVALID_HANDLE (6) */
BOOL SetEvent(HANDLE event);

/** Closes the handle of an event or a process. @return 0 on failure, with the last error set */
BOOL CloseHandle(HANDLE handle);

/**
 * Waits for one object or for all of them: an event until it is signalled, a process until it has ended.
 * @param count      1 to MAXIMUM_WAIT_OBJECTS (64)
 * @param handles    open handles, each only once
 * @param waitAll    true: for all of them at once
 * @param timeoutMs  INFINITE, or 0 to ask only
 * @return WAIT_OBJECT_0 plus the index of the first that ended the wait, WAIT_TIMEOUT, or WAIT_FAILED with
 * the last error set: ERROR_INVALID_PARAMETER (87), ERROR_INVALID_HANDLE (6)
 */
DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD timeoutMs);

/** Pauses the calling thread. 0 only lets other threads run. */
void Sleep(DWORD durationMs);

/**
 * Frees what the C runtime allocated for a mutex, if its standard type leaves that allocated. No thread may
 * use the mutex during the call or after it.
 */
void DestroyMutex(std::mutex& mutex);
void DestroyMutex(std::recursive_mutex& mutex);

}  // namespace platform
