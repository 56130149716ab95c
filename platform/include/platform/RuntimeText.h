/**
 * Text operations of Windows' C runtime whose behaviour differs from other systems'.
 *
 * Formats take Windows' conversions: %ws is a UTF-16 text, and in the "C" locale a character of it above
 * U+00FF makes the whole call fail.
 */
#pragma once

#include <cstdarg>

#include "platform/Types.h"

namespace platform {

/** Measures a formatted text. @return its bytes without the NUL; -1 on failure */
int _vscprintf(const char* format, va_list arguments);

/**
 * Formats into `buffer`, which always ends in a NUL.
 * @param bufferBytes  its size, NUL included; if it is too small, the invalid-parameter handler runs
 * @return bytes written without the NUL, or -1: the content of `buffer` then depends on the runtime
 */
int vsprintf_s(char* buffer, std::size_t bufferBytes, const char* format, va_list arguments);

/**
 * Copies a text with its NUL.
 * @param bufferBytes  size of `buffer`, NUL included. If it is too small, `buffer` becomes empty and the
 *                     invalid-parameter handler of the process runs; the default one ends the process
 * @return 0, or the error number of the C runtime if the handler returns
 */
int strcpy_s(char* buffer, std::size_t bufferBytes, const char* text);

/** @return the number at the start of `text`, after white space and with its sign; 0 if there is none */
int _wtoi(const char16_t* text);

/**
 * Parses a number.
 * @param end   out: the first character after it; `text` itself if there are no digits
 * @param base  10
 * @return the number; outside 32 bits the nearest one, with errno ERANGE
 */
LONG wcstol(const char16_t* text, char16_t** end, int base);

/** Compares and ignores the case of ASCII letters. @return 0 if the texts are equal */
int _wcsicmp(const char16_t* left, const char16_t* right);

}  // namespace platform
