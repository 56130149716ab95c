/** Paths of keys: names with backslashes between them. */
#pragma once

#include <string_view>

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

}  // namespace simulated
