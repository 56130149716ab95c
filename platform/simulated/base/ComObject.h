/** COM objects of a simulated machine. Thread-safe. */
#pragma once

#include <cstddef>
#include <cstring>

#include "platform/Types.h"

namespace simulated {

/** What every COM object derives from: made with one reference, freed by one Release, counted meanwhile. */
class ComObject {
 public:
  ComObject();
  ~ComObject();
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  /** How many are there, of all kinds; they belong to the host's process, whatever machine it acts on. */
  static std::size_t OpenCount();
};

/** @return the references that are left, which is none */
template <class Object>
platform::DWORD ReleaseObject(Object* object) {
  delete object;
  return 0;
}

inline bool IsSame(const platform::GUID& left, const platform::GUID& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

}  // namespace simulated
