/**
 * The 32-bit view of the registry: where Windows redirects a 32-bit program to, and what both views share.
 *
 * The software keys are redirected to Wow6432Node, but for a list of shared keys; the classes are shared, but
 * for a list of redirected ones. A key below inherits what holds for its parent.
 */
#pragma once

#include <string_view>

#include "simulated/registry/Key.h"

namespace simulated {

/**
 * The key that `path` below `start` means in the 32-bit view, or null. The path from the root decides: a key
 * that already stands in the 32-bit view is not redirected twice, and a Wow6432Node that is spelt out is
 * taken as it is written. The tree's lock is held.
 */
Key* FindIn32BitView(Key& start, std::u16string_view path);

}  // namespace simulated
