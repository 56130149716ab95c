/** Text conversion and environment expansion. On failure each operation answers 0 and sets the last error. */
#pragma once

#include "platform/Types.h"

namespace platform {

/**
 * Turns narrow text of a code page into UTF-16.
 * @param codePage    CP_UTF8
 * @param flags       0: what is invalid becomes U+FFFD, once for a byte that begins no character and once for
 * a sequence that breaks off, up to its break. Wine 8 counts everything behind a sequence that the text's end
 * cuts short, a NUL too, as part of it
 * @param text        the narrow text, which need not end in a NUL
 * @param textBytes   its length in bytes; a NUL counted here is converted like any character
 * @param wide        room for the result; unused if `wideChars` is 0
 * @param wideChars   that room in characters, or 0 to ask for the size
 * @return characters written or needed; 0 for an empty text, or for too little room with the last error
 *         ERROR_INSUFFICIENT_BUFFER (122): then `wide` holds what fitted
 */
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int textBytes, char16_t* wide,
                        int wideChars);

/**
 * Turns UTF-16 into narrow text of a code page.
 * @param codePage         CP_UTF8
 * @param flags            0: a lone surrogate becomes U+FFFD
 * @param wide             the wide text, which need not end in a NUL
 * @param wideChars        its length in characters
 * @param text             room for the result; unused if `textBytes` is 0
 * @param textBytes        that room in bytes, or 0 to ask for the size
 * @param defaultChar      null
 * @param usedDefaultChar  null
 * @return bytes written or needed; 0 for an empty text or too little room
 */
int WideCharToMultiByte(UINT codePage, DWORD flags, const char16_t* wide, int wideChars, char* text,
                        int textBytes, const char* defaultChar, BOOL* usedDefaultChar);

/**
 * Replaces each %NAME% by the environment variable of that name; an unknown one stays as it is written.
 * @param source       null-terminated
 * @param expanded     room for the result and its NUL
 * @param expandedChars  that room in characters
 * @return characters needed, NUL included, also where they do not fit; what `expanded` then holds differs
 *         between Windows releases, but it is always a text of the room's length at most. Wine 8 and the
 *         simulated machine cut the text to fit
 */
DWORD ExpandEnvironmentStringsW(const char16_t* source, char16_t* expanded, DWORD expandedChars);

}  // namespace platform
