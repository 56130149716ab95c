/** Narrow texts of Windows programs. CodePagesWindows.cpp or CodePagesSimulated.cpp implements this header.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace capture {

/**
 * Returns the bytes of a text in the code pages that programs of the machine may use: the ANSI and OEM code
 * page on Windows, and the usual ones of Europe elsewhere, where the machine's own are not known. A code page
 * that lacks a character of the text is left out.
 */
std::vector<std::string> InCodePages(std::u16string_view text);

}  // namespace capture
