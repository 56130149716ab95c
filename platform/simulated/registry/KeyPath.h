/** Paths of keys: names with backslashes between them. */
#pragma once

#include <string_view>

#include "simulated/registry/Key.h"

namespace simulated {

/**
 * Takes the first name off a path. Backslashes without a name between them count as one, as they do to
 * Windows. @return empty at the path's end
 */
inline std::u16string_view TakeName(std::u16string_view& path) {
  while (!path.empty() && path.front() == u'\\') path.remove_prefix(1);
  const std::u16string_view name = path.substr(0, path.find(u'\\'));
  path.remove_prefix(name.size());
  return name;
}

/** The key that stands there below `start`, or null. */
inline Key* FindBelow(Key& start, std::u16string_view path) {
  Key* key = &start;
  for (auto name = TakeName(path); key && !name.empty(); name = TakeName(path)) key = key->FindSubKey(name);
  return key;
}

}  // namespace simulated
