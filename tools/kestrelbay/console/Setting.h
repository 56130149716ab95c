/** The two numbers of the registry for which the library throws if they are missing or invalid. */
#pragma once

#include <string>

namespace cli {

struct Setting {
  /** Below HKEY_CURRENT_USER, otherwise below HKEY_LOCAL_MACHINE. */
  bool isOfUser;
  const char16_t* key;
  const char16_t* value;
};

inline constexpr Setting kTabletSetting{false, u"SOFTWARE\\Microsoft\\Windows\\Tablet PC", u"IsTabletPc"};
inline constexpr Setting kProxySetting{
    true, u"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings", u"ProxyEnable"};

/** Whether the registry has the value, of any type. */
bool Exists(const Setting& setting);

/** The value and its key, for a message. */
std::string NameOf(const Setting& setting);

}  // namespace cli
