/** Applications as installers register them, made up, so that a benchmark has as many as it wants. */
#pragma once

#include <string>
#include <vector>

#include "platform/Types.h"

namespace bench {

/** One registry value, as it is stored. */
struct Value {
  std::u16string name;
  platform::DWORD type;
  std::vector<std::uint8_t> bytes;
};

/** A key below the uninstall key, with its values. */
struct Application {
  std::u16string keyName;
  bool in32BitView;
  std::vector<Value> values;
  std::u16string packedCode;  ///< its key below the installer's products; empty where the installer has none
  std::vector<Value> productValues;
};

/**
 * Makes one up; the same number is always the same application, and names differ. A third stand in the 32-bit
 * view, one in ten is the Windows installer's. The order of keys is not that of display names.
 */
Application MakeApplication(std::size_t number);

}  // namespace bench
