/** The registry functions of Windows, called directly. */
#pragma once

#include <windows.h>

#define BARE_TEXT(text) L##text

namespace bench {

using BareChar = wchar_t;

}  // namespace bench
