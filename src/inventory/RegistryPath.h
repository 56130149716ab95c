/** Registry locations given as one text, such as HKEY_LOCAL_MACHINE\Software\App. */
#pragma once

#include <memory>
#include <string>

#include "base/RegistryKey.h"

namespace kestrelbay {

/** An open location, and the copy of the root that it was opened from, which is destroyed after it. */
struct OpenedPath {
  RegistryKey root;
  std::unique_ptr<RegistryKey> key;  ///< null where it does not open
};

/**
 * Opens a location in the 64-bit view. A root other than exactly HKEY_CURRENT_USER means HKEY_LOCAL_MACHINE;
 * a text without a backslash is root and path alike.
 * @param path  UTF-8; doubled backslashes count as one; empty opens the machine's root itself
 */
OpenedPath OpenRegistryPath(const std::string& path);

}  // namespace kestrelbay
