/** The registry's own operations, with nothing in between: here the simulated machine's. */
#pragma once

#include "platform/Constants.h"
#include "platform/Registry.h"

#define BARE_TEXT(text) u##text

namespace bench {

using namespace platform;
using BareChar = char16_t;

}  // namespace bench
