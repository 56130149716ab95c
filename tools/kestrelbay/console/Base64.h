/** Bytes as text of 64 characters. */
#pragma once

#include <string>
#include <string_view>

namespace cli {

std::string ToBase64(std::string_view bytes);

/** @return the bytes; padding, or whatever else is no digit, ends the text */
std::string FromBase64(std::string_view text);

}  // namespace cli
