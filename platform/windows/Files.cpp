#include "platform/Files.h"

#include <windows.h>

#include <io.h>

#include "Casts.h"

namespace platform {

int _waccess(const char16_t* path, int mode) { return ::_waccess(Wide(path), mode); }

DWORD GetCurrentDirectoryA(DWORD bufferBytes, char* buffer) {
  return ::GetCurrentDirectoryA(bufferBytes, buffer);
}

DWORD GetModuleFileNameA(HANDLE module, char* buffer, DWORD bufferBytes) {
  return ::GetModuleFileNameA(static_cast<HMODULE>(module), buffer, bufferBytes);
}

BOOL GetDiskFreeSpaceExW(const char16_t* directory, std::uint64_t* freeToCaller, std::uint64_t* total,
                         std::uint64_t* totalFree) {
  return ::GetDiskFreeSpaceExW(Wide(directory), reinterpret_cast<ULARGE_INTEGER*>(freeToCaller),
                               reinterpret_cast<ULARGE_INTEGER*>(total),
                               reinterpret_cast<ULARGE_INTEGER*>(totalFree));
}

}  // namespace platform
