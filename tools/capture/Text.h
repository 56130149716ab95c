/** Conversion and comparison of texts: UTF-16 in memory, UTF-8 in files. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace capture {

/** Invalid characters become U+FFFD. */
std::string ToUtf8(std::u16string_view wide);
std::u16string ToWide(std::string_view text);
std::u16string ToWide(unsigned long long number);

/** Returns the text with the letters of ASCII in capitals. */
std::u16string AsciiUpper(std::u16string_view text);

/** Returns the form in which names are compared, without regard to case. */
char16_t Folded(char16_t unit);
std::u16string Folded(std::u16string_view text);
/** Whether it is a capital letter. */
bool IsCapital(char16_t unit);

/** Returns the names in the path of a key. */
std::vector<std::u16string> SplitPath(std::u16string_view path);

}  // namespace capture
