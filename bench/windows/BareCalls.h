/** The registry's own operations, with nothing in between: here Windows' API. */
#pragma once

#include <windows.h>

#define BARE_TEXT(text) L##text

namespace bench {

using BareChar = wchar_t;

}  // namespace bench
