/** UTF-8 and UTF-16, each from the other. What is invalid is replaced by U+FFFD, as Windows does. */
#pragma once

#include <string>
#include <string_view>

namespace simulated {

std::u16string FromUtf8(std::string_view text);
std::string ToUtf8(std::u16string_view text);

/** Converts what stands before the first invalid character, for those who refuse one. @return its bytes */
std::size_t FromValidUtf8(std::string_view text, std::u16string& wide);

}  // namespace simulated
