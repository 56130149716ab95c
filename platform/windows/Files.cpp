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

}  // namespace platform
