/** Registry paths given as one text, such as HKEY_LOCAL_MACHINE\Software\App. */
#pragma once

#include <memory>
#include <string>

#include "base/RegistryKey.h"

namespace kestrelbay {

/** An open key and the copy of the root below which it was opened. The key is destroyed first. */
struct OpenedPath {
  RegistryKey root;
  std::unique_ptr<RegistryKey> key;  ///< null if it does not open
};

/**
 * Opens a registry path in the 64-bit view. By design any root except exactly HKEY_CURRENT_USER means
 * HKEY_LOCAL_MACHINE, and a text without a backslash is both root and path.
 * @param path  UTF-8; doubled backslashes count as one; empty opens HKEY_LOCAL_MACHINE itself
 */
OpenedPath OpenRegistryPath(const std::string& path);

}  // namespace kestrelbay
