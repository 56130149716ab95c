/** COM objects of a simulated machine, and the results that tell what goes wrong with them. Thread-safe. */
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

// COM's numbers of what goes wrong.
inline constexpr auto kInvalidArgumentResult = static_cast<platform::HRESULT>(0x80070057);
inline constexpr auto kFailedResult = static_cast<platform::HRESULT>(0x80004005);
inline constexpr auto kNoInterfaceResult = static_cast<platform::HRESULT>(0x80004002);
inline constexpr auto kNoObjectResult = static_cast<platform::HRESULT>(0x800401E5);
inline constexpr auto kFileNotFoundResult = static_cast<platform::HRESULT>(0x80070002);
inline constexpr auto kOutOfMemoryResult = static_cast<platform::HRESULT>(0x8007000E);

}  // namespace simulated
