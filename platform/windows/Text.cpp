#include "platform/Text.h"

#include <windows.h>

#include "Casts.h"

namespace platform {

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int textBytes, char16_t* wide,
                        int wideChars) {
  return ::MultiByteToWideChar(codePage, flags, text, textBytes, Wide(wide), wideChars);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const char16_t* wide, int wideChars, char* text,
                        int textBytes, const char* defaultChar, BOOL* usedDefaultChar) {
  return ::WideCharToMultiByte(codePage, flags, Wide(wide), wideChars, text, textBytes, defaultChar,
                               usedDefaultChar);
}

DWORD ExpandEnvironmentStringsW(const char16_t* source, char16_t* expanded, DWORD expandedChars) {
  return ::ExpandEnvironmentStringsW(Wide(source), Wide(expanded), expandedChars);
}

}  // namespace platform
