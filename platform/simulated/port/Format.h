/** The conversions of Windows' printf family that the product's log messages use. */
#pragma once

#include <cstdarg>
#include <optional>
#include <string>

namespace simulated {

/**
 * Formats as Windows' C runtime does in the "C" locale, for %s, %d, %ws (a UTF-16 text) and %%.
 * @param arguments  left unchanged
 * @return nothing if a wide text has a character above U+00FF, which that locale does not have. Nothing for
 *         any other conversion as well: the product uses none, so a new one must be added here first.
 */
std::optional<std::string> Format(const char* format, va_list arguments);

}  // namespace simulated
