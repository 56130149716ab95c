/** The library's own record of an installed application. */
#pragma once

#include <string>

#include "base/RegistryKey.h"

namespace kestrelbay {

/** A plain value. Fields in capitals hold the registry value of that name as it was read. */
struct InstalledAppInfo {
  std::u16string DisplayName;      ///< the record's identity; never empty in a list
  std::u16string InstallLocation;  ///< unchecked
  std::u16string DisplayVersion;
  std::u16string UninstallString;  ///< may be empty for what the installer manages
  std::u16string rootKeyStr;       ///< name of the root that the entry was read under
  std::u16string subKeyPath;       ///< the entry's key below that root, as opened: no Wow6432Node segment
  RegistryView architecture = kDefaultView;
  std::u16string DisplayIcon;  ///< raw, with quotes and icon index
  std::string IconText;        ///< what a client shows; filled after the scan
  std::u16string InstallDate;
  std::u16string LastWriteTime;  ///< decimal milliseconds since 1970-01-01 UTC
};

}  // namespace kestrelbay
