/** Text on its way into a capture: UTF-8 in files, UTF-16 as Windows has it. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace capture {

/** What is invalid becomes U+FFFD. */
std::string ToUtf8(std::u16string_view wide);
std::u16string ToWide(std::string_view text);
std::u16string ToWide(unsigned long long number);

/** The text with the small letters of ASCII made capitals. */
std::u16string AsciiUpper(std::u16string_view text);

/** The unit, and the text, as names are compared without regard to case. */
char16_t Folded(char16_t unit);
std::u16string Folded(std::u16string_view text);
/** Whether it is the large one of two forms of a letter. */
bool IsCapital(char16_t unit);

/** The names of a key's path. */
std::vector<std::u16string> SplitPath(std::u16string_view path);

}  // namespace capture
