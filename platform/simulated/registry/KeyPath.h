/** Paths of keys: names separated by backslashes. */
#pragma once

#include <string_view>

#include "simulated/registry/Key.h"

namespace simulated {

/**
 * Takes the first name off a path. Several backslashes in a row count as one, as on Windows.
 * @return empty at the end of the path
 */
inline std::u16string_view TakeName(std::u16string_view& path) {
  while (!path.empty() && path.front() == u'\\') path.remove_prefix(1);
  const std::u16string_view name = path.substr(0, path.find(u'\\'));
  path.remove_prefix(name.size());
  return name;
}

/** Returns the key at `path` below `start`, or null. */
inline Key* FindBelow(Key& start, std::u16string_view path) {
  Key* key = &start;
  for (auto name = TakeName(path); key && !name.empty(); name = TakeName(path)) key = key->FindSubKey(name);
  return key;
}

}  // namespace simulated
