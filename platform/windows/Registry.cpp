#include "platform/Registry.h"

#include <windows.h>

#include "Casts.h"

namespace platform {
namespace {

::FILETIME* Windows(FILETIME* time) { return reinterpret_cast<::FILETIME*>(time); }

}  // namespace

LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subKey, DWORD options, REGSAM access, HKEY* result) {
  return ::RegOpenKeyExW(key, Wide(subKey), options, access, result);
}

LSTATUS RegCloseKey(HKEY key) { return ::RegCloseKey(key); }

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameChars, DWORD* reserved,
                      char16_t* className, DWORD* classChars, FILETIME* lastWrite) {
  return ::RegEnumKeyExW(key, index, Wide(name), nameChars, reserved, Wide(className), classChars,
                         Windows(lastWrite));
}

LSTATUS RegQueryValueExW(HKEY key, const char16_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* dataBytes) {
  return ::RegQueryValueExW(key, Wide(name), reserved, type, data, dataBytes);
}

LSTATUS RegQueryInfoKeyW(HKEY key, char16_t* className, DWORD* classChars, DWORD* reserved, DWORD* subKeys,
                         DWORD* longestSubKeyChars, DWORD* longestClassChars, DWORD* values,
                         DWORD* longestValueNameChars, DWORD* longestValueBytes, DWORD* securityBytes,
                         FILETIME* lastWrite) {
  return ::RegQueryInfoKeyW(key, Wide(className), classChars, reserved, subKeys, longestSubKeyChars,
                            longestClassChars, values, longestValueNameChars, longestValueBytes,
                            securityBytes, Windows(lastWrite));
}

LSTATUS RegNotifyChangeKeyValue(HKEY key, BOOL watchSubtree, DWORD filter, HANDLE event, BOOL asynchronous) {
  return ::RegNotifyChangeKeyValue(key, watchSubtree, filter, event, asynchronous);
}

LSTATUS RegDeleteKeyW(HKEY key, const char16_t* subKey) { return ::RegDeleteKeyW(key, Wide(subKey)); }

}  // namespace platform
