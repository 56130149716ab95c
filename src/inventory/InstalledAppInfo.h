/** The library's record of an installed application. */
#pragma once

#include <string>

#include "base/RegistryKey.h"

namespace kestrelbay {

/** A plain value. A field with a capital first letter holds the registry value of that name as it was read.
 */
struct InstalledAppInfo {
  std::u16string DisplayName;      ///< the identity of the record; never empty in a list
  std::u16string InstallLocation;  ///< unchecked
  std::u16string DisplayVersion;
  std::u16string UninstallString;  ///< may be empty for an entry that the installer manages
  std::u16string rootKeyStr;       ///< name of the root key under which the entry was read
  std::u16string subKeyPath;  ///< the key of the entry below that root, as opened: no Wow6432Node segment
  RegistryView architecture = kDefaultView;
  std::u16string DisplayIcon;  ///< raw, with quotes and icon index
  std::string IconText;        ///< the icon text for clients; filled after the scan
  std::u16string InstallDate;
  std::u16string LastWriteTime;  ///< decimal milliseconds since 1970-01-01 UTC
};

}  // namespace kestrelbay
