/** Text conversion and environment expansion. On failure each function returns 0 and sets the last error. */
#pragma once

#include "platform/Types.h"

namespace platform {

/**
 * Converts narrow text of a code page to UTF-16.
 * @param codePage    CP_UTF8
 * @param flags       0: invalid bytes become U+FFFD, one for each byte that begins no character and one for
 * each incomplete sequence. For Wine 8, a sequence that the end of the text cuts includes everything after
 * it, also a NUL
 * @param text        the narrow text, which need not end in a NUL
 * @param textBytes   its length in bytes; a NUL counted here is converted like any character
 * @param wide        buffer for the result; not used if `wideChars` is 0
 * @param wideChars   size of `wide` in characters, or 0 to ask for the required size
 * @return characters written or required; 0 for an empty text. Also 0 if `wide` is too small, with the last
 * error ERROR_INSUFFICIENT_BUFFER (122): then `wide` contains the characters that fit
 */
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int textBytes, char16_t* wide,
                        int wideChars);

/**
 * Converts UTF-16 to narrow text of a code page.
 * @param codePage         CP_UTF8
 * @param flags            0: a lone surrogate becomes U+FFFD
 * @param wide             the wide text, which need not end in a NUL
 * @param wideChars        its length in characters
 * @param text             buffer for the result; not used if `textBytes` is 0
 * @param textBytes        size of `text`, or 0 to ask for the required size
 * @param defaultChar      null
 * @param usedDefaultChar  null
 * @return bytes written or required; 0 for an empty text, or if `text` is too small
 */
int WideCharToMultiByte(UINT codePage, DWORD flags, const char16_t* wide, int wideChars, char* text,
                        int textBytes, const char* defaultChar, BOOL* usedDefaultChar);

/**
 * Replaces each %NAME% by the environment variable of that name. An unknown name stays.
 * @param source       null-terminated
 * @param expanded     buffer for the result and its NUL
 * @param expandedChars  size of `expanded` in characters
 * @return required characters, NUL included, even if they do not fit. Then the content of `expanded` differs
 *         between Windows releases, but it always fits into the buffer. Wine 8 and the simulated machine cut
 *         the text
 */
DWORD ExpandEnvironmentStringsW(const char16_t* source, char16_t* expanded, DWORD expandedChars);

}  // namespace platform
