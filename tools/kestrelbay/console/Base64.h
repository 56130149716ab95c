/** Base64, by the port's own operation: each system has a codec already. */
#pragma once

#include <string>
#include <string_view>

namespace cli {

/** Returns the bytes of a Base64 text; empty if the text is not Base64. */
std::string FromBase64(std::string_view text);

}  // namespace cli
