/**
 * The 32-bit view of the registry, as far as the product opens keys in it.
 *
 * Windows redirects HKEY_LOCAL_MACHINE\\Software to its subkey Wow6432Node. Of the keys that Windows shares
 * between both views only Software\\Classes is known here: the product opens no other one in the 32-bit view.
 */
#pragma once

#include <string_view>

#include "simulated/registry/Key.h"

namespace simulated {

/**
 * Finds the key that `path` below `start` names in the 32-bit view.
 *
 * The path from the root decides. So a key in Wow6432Node is not redirected twice, and a path that spells
 * Wow6432Node out is not redirected either. The caller holds the tree's lock.
 * @return null if there is no such key
 */
Key* FindIn32BitView(Key& start, std::u16string_view path);

}  // namespace simulated
