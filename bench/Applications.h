/** Generated applications, registered like real ones, in any number. */
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
  std::u16string
      packedCode;  ///< its key below the installer's products; empty if the installer does not manage it
  std::vector<Value> productValues;
};

/**
 * Generates an application. The same number always gives the same application, and all names differ. A third
 * of them is in the 32-bit view, and the installer manages one in ten. Keys and display names are not in the
 * same order.
 */
Application MakeApplication(std::size_t number);

}  // namespace bench
