/** Narrow texts of Windows programs. CodePagesWindows.cpp or CodePagesSimulated.cpp implements this header.
 */
#pragma once

#include <vector>

namespace capture {

/**
 * The characters of a code page, Folded() (Text.h), by their bytes: 256 of one byte. A page with characters
 * of two bytes has 65,536, by both bytes with the first one high. 0 for bytes that are no character.
 */
using CodePage = std::vector<char16_t>;

/**
 * Returns the code pages that programs of the machine may use: the ANSI and OEM code page on Windows, and the
 * usual ones of Europe elsewhere, where the machine's own are not known. Thread-safe.
 */
const std::vector<CodePage>& CodePages();

}  // namespace capture
