// mingw may replace the printf functions of Windows by its own. These names call the Windows runtime itself.
#define __USE_MINGW_ANSI_STDIO 0
#include "platform/RuntimeText.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Casts.h"

namespace platform {

int _vscprintf(const char* format, va_list arguments) { return ::_vscprintf(format, arguments); }

int vsprintf_s(char* buffer, std::size_t bufferBytes, const char* format, va_list arguments) {
  return ::vsprintf_s(buffer, bufferBytes, format, arguments);
}

int strcpy_s(char* buffer, std::size_t bufferBytes, const char* text) {
  return ::strcpy_s(buffer, bufferBytes, text);
}

int _wtoi(const char16_t* text) { return ::_wtoi(Wide(text)); }

LONG wcstol(const char16_t* text, char16_t** end, int base) {
  return ::wcstol(Wide(text), reinterpret_cast<wchar_t**>(end), base);
}

int _wcsicmp(const char16_t* left, const char16_t* right) { return ::_wcsicmp(Wide(left), Wide(right)); }

}  // namespace platform
