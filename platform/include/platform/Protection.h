/** Data protection for the calling user, and base64. On failure the last error says why. */
#pragma once

#include "platform/Types.h"

namespace platform {

/** Bytes with their count; with the layout of Windows. */
struct DATA_BLOB {
  DWORD cbData;
  BYTE* pbData;
};
static_assert(sizeof(DATA_BLOB) == 16);

/**
 * Encrypts bytes under a key of the calling user.
 * @param plain  may have length 0, but its address must not be null
 * @param description, entropy, reserved, prompt  null
 * @param flags  0
 * @param blob   receives bytes that LocalFree frees
 * @return 0 on failure
 */
BOOL CryptProtectData(DATA_BLOB* plain, const char16_t* description, DATA_BLOB* entropy, void* reserved,
                      void* prompt, DWORD flags, DATA_BLOB* blob);

/**
 * Decrypts a result of CryptProtectData, for the same user on the same machine.
 * @param description, entropy, reserved, prompt  null
 * @param flags  0
 * @param plain  receives bytes that LocalFree frees
 * @return 0 on failure, with the last error set: ERROR_INVALID_DATA (13) for a blob that is damaged,
 *         NTE_BAD_KEY_STATE (0x8009000B) for one of another user or machine
 */
BOOL CryptUnprotectData(DATA_BLOB* blob, char16_t** description, DATA_BLOB* entropy, void* reserved,
                        void* prompt, DWORD flags, DATA_BLOB* plain);

/**
 * Writes bytes as base64 text with a NUL: lines of 64 characters, each ended by CR LF.
 * @param flags  CRYPT_STRING_BASE64, with CRYPT_STRING_NOCRLF for one line without an end
 * @param text   null to ask for the size
 * @param chars  in: size of `text`; out: the required size with the NUL if `text` is null, otherwise the
 * length without it
 * @return 0 on failure
 */
BOOL CryptBinaryToStringA(const BYTE* bytes, DWORD byteCount, DWORD flags, char* text, DWORD* chars);

/**
 * Reads base64 text. Ignores blanks, tabs and line ends, and everything after the padding.
 * @param chars  its length, or 0 if a NUL ends it
 * @param flags  CRYPT_STRING_BASE64
 * @param bytes  null to ask for the size
 * @param byteCount  in: size of `bytes`; out: required or written; unchanged for a text that is not base64
 * @param skipped, usedFlags  null
 * @return 0 on failure, for a text that is not base64
 */
BOOL CryptStringToBinaryA(const char* text, DWORD chars, DWORD flags, BYTE* bytes, DWORD* byteCount,
                          DWORD* skipped, DWORD* usedFlags);

/** Frees a result of the two data protection functions. @return null */
void* LocalFree(void* memory);

}  // namespace platform
