/** Conversion between UTF-8 and UTF-16. Invalid input becomes U+FFFD, as many of them as on Windows. */
#pragma once

#include <string>
#include <string_view>

namespace simulated {

std::u16string FromUtf8(std::string_view text);
std::string ToUtf8(std::u16string_view text);

/** Converts the text before the first invalid character. @return how many bytes it has */
std::size_t FromValidUtf8(std::string_view text, std::u16string& wide);

}  // namespace simulated
