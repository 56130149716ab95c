/** The registry functions of the simulated machine, called directly. */
#pragma once

#include "platform/Constants.h"
#include "platform/Registry.h"

#define BARE_TEXT(text) u##text

namespace bench {

using namespace platform;
using BareChar = char16_t;

}  // namespace bench
