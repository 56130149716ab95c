/** The calls of the port in one extraction of an icon, without the library. */
#pragma once

#include <cstddef>

namespace bench {

/** @param path of an executable with an icon of 256 pixels @return bytes of the base64 text; 0 on failure */
std::size_t BareIcon(const char16_t* path);

}  // namespace bench
