#include "platform/Protection.h"

#include <windows.h>

#include <wincrypt.h>

#include "Casts.h"
#include "Records.h"

namespace platform {
namespace {

CHECK_RECORD(DATA_BLOB, ::DATA_BLOB)
CHECK_FIELD(DATA_BLOB, ::DATA_BLOB, cbData)
CHECK_FIELD(DATA_BLOB, ::DATA_BLOB, pbData)

::DATA_BLOB* Windows(DATA_BLOB* blob) { return reinterpret_cast<::DATA_BLOB*>(blob); }

}  // namespace

BOOL CryptProtectData(DATA_BLOB* plain, const char16_t* description, DATA_BLOB* entropy, void* reserved,
                      void* prompt, DWORD flags, DATA_BLOB* blob) {
  return ::CryptProtectData(Windows(plain), Wide(description), Windows(entropy), reserved,
                            static_cast<CRYPTPROTECT_PROMPTSTRUCT*>(prompt), flags, Windows(blob));
}

BOOL CryptUnprotectData(DATA_BLOB* blob, char16_t** description, DATA_BLOB* entropy, void* reserved,
                        void* prompt, DWORD flags, DATA_BLOB* plain) {
  return ::CryptUnprotectData(Windows(blob), reinterpret_cast<wchar_t**>(description), Windows(entropy),
                              reserved, static_cast<CRYPTPROTECT_PROMPTSTRUCT*>(prompt), flags,
                              Windows(plain));
}

BOOL CryptBinaryToStringA(const BYTE* bytes, DWORD byteCount, DWORD flags, char* text, DWORD* chars) {
  return ::CryptBinaryToStringA(bytes, byteCount, flags, text, chars);
}

BOOL CryptStringToBinaryA(const char* text, DWORD chars, DWORD flags, BYTE* bytes, DWORD* byteCount,
                          DWORD* skipped, DWORD* usedFlags) {
  return ::CryptStringToBinaryA(text, chars, flags, bytes, byteCount, skipped, usedFlags);
}

void* LocalFree(void* memory) { return ::LocalFree(memory); }

}  // namespace platform
