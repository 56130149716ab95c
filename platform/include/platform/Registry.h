/**
 * The registry: opening, reading, enumerating and deleting keys.
 *
 * Every function returns a status, ERROR_SUCCESS (0) or a Windows error number, and does not
 * change the last error of the thread. Names are UTF-16, without regard to case, and end at their first NUL.
 * Any thread may use a key handle. The system closes the open ones at the end of the process.
 */
#pragma once

#include "platform/Types.h"

namespace platform {

/**
 * Opens an existing key below `key`.
 * @param key      an open or predefined key
 * @param subKey   path with backslashes, no leading one; null or empty asks for `key` itself
 * @param options  0
 * @param access   requested rights, with KEY_WOW64_32KEY or KEY_WOW64_64KEY to choose the view
 * @param result   receives the handle, which the caller closes with RegCloseKey; null on failure.
 *                 For a predefined key without a path, that key itself.
 * @return ERROR_FILE_NOT_FOUND (2) if there is no such key, ERROR_ACCESS_DENIED (5) if a right is refused
 */
LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subKey, DWORD options, REGSAM access, HKEY* result);

/**
 * Closes a key handle. A predefined key is accepted and stays usable.
 * @return ERROR_INVALID_HANDLE (6) if `key` is not open
 */
LSTATUS RegCloseKey(HKEY key);

/**
 * Returns the name of the subkey at `index`, in the order of the registry.
 * @param name         receives the name and a NUL
 * @param nameChars    in: size of `name` in characters, NUL included; out: length without it
 * @param reserved     null
 * @param className    null, or a buffer for the class of the key
 * @param classChars   null, or its size in characters
 * @param lastWrite    null, or receives the last write time of the subkey
 * @return ERROR_NO_MORE_ITEMS (259) after the last one, ERROR_MORE_DATA (234) if the name does not fit
 */
LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameChars, DWORD* reserved,
                      char16_t* className, DWORD* classChars, FILETIME* lastWrite);

/**
 * Reads a value.
 * @param name       null or empty for the key's unnamed value
 * @param reserved   null
 * @param type       null, or receives the value's type
 * @param data       null to ask only for the size, or a buffer for the stored bytes: a text need not
 *                   end in a NUL
 * @param dataBytes  in: size of `data`; out: the size of the value, even if it does not fit
 * @return ERROR_FILE_NOT_FOUND (2) without such a value, ERROR_MORE_DATA (234) if it does not fit
 */
LSTATUS RegQueryValueExW(HKEY key, const char16_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* dataBytes);

/**
 * Reads the last write time of a key. The product needs nothing else of it, so every other out-parameter must
 * be null: the simulated machine refuses the rest with ERROR_INVALID_PARAMETER (87).
 * @param lastWrite  null, or receives the time; unchanged on failure
 * @return ERROR_INVALID_HANDLE (6), ERROR_ACCESS_DENIED (5) without KEY_QUERY_VALUE, ERROR_KEY_DELETED (1018)
 */
LSTATUS RegQueryInfoKeyW(HKEY key, char16_t* className, DWORD* classChars, DWORD* reserved, DWORD* subKeys,
                         DWORD* longestSubKeyChars, DWORD* longestClassChars, DWORD* values,
                         DWORD* longestValueNameChars, DWORD* longestValueBytes, DWORD* securityBytes,
                         FILETIME* lastWrite);

/**
 * Deletes the key at `subKey` below `key`, in the process's own view.
 * @return ERROR_ACCESS_DENIED (5) for a key that has subkeys or must not be deleted, ERROR_FILE_NOT_FOUND
 * (2)
 */
LSTATUS RegDeleteKeyW(HKEY key, const char16_t* subKey);

/**
 * Signals an event at the next change of a key, once.
 * @param key           opened with KEY_NOTIFY
 * @param watchSubtree  whether changes below the key count too
 * @param filter        REG_NOTIFY_CHANGE_NAME: added and deleted subkeys
 * @param event         cleared by this call; signalled by the change, by the deletion of the key and by
 * closing `key`. Its handle may be closed before that.
 * @param asynchronous  true: returns at once; src/ uses no other value
 * @return ERROR_INVALID_HANDLE (6) if key or event is not open, ERROR_ACCESS_DENIED (5) without the
 *         right, ERROR_KEY_DELETED (1018)
 */
LSTATUS RegNotifyChangeKeyValue(HKEY key, BOOL watchSubtree, DWORD filter, HANDLE event, BOOL asynchronous);

}  // namespace platform
