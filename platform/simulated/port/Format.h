/** The printf family of Windows' C runtime, on a host whose own differs. */
#pragma once

#include <cstdarg>
#include <optional>
#include <string>

namespace simulated {

/**
 * Formats as Windows' runtime does in the "C" locale: "l" is 32 bits, "I64" and "I32" are known, and %ws, %ls
 * and %S are UTF-16 texts. `arguments` is left unchanged.
 * @return nothing where a text holds a character above U+00FF, which that locale does not have, or where the
 *         format asks for %n, which that runtime refuses
 */
std::optional<std::string> Format(const char* format, va_list arguments);

}  // namespace simulated
