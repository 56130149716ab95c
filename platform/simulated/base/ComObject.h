/** COM objects of a simulated machine. Thread-safe. */
#pragma once

#include <cstddef>
#include <cstring>

#include "platform/Types.h"

namespace simulated {

/** Base of all COM objects. Each has one reference: the product adds none, so one Release frees it. */
class ComObject {
 public:
  ComObject();
  ~ComObject();
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  /** Counts the objects of all kinds. They belong to the host's process, not to a machine. */
  static std::size_t OpenCount();
};

/** @return the remaining references: 0 */
template <class Object>
platform::DWORD ReleaseObject(Object* object) {
  delete object;
  return 0;
}

inline bool IsSame(const platform::GUID& left, const platform::GUID& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

}  // namespace simulated
