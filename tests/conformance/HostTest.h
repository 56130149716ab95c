/** A host of the library on the machine under test: it sees the C interface and nothing else. */
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "KestrelbayGeneralSDK.h"
#include "TestMachine.h"

namespace tests {

/** Keys that the inventory looks at. */
inline const KeyPath kProducts = u"HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products";
inline const std::u16string kUninstall =
    u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
inline const std::u16string kUserData =
    u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";
inline const std::u16string kHive = u"HKEY_USERS\\S-1-5-21-4000000000-4000000000-4000000000-1001";

using Values = std::vector<std::pair<std::u16string, std::u16string>>;

/** What GetInstalledAppList gives, given back already. */
std::vector<kestrelbay::ReceivedEntry> List(bool includeIcons = false);

/** A machine whose inventory is empty but not switched off, and a host that logs. */
class HostTest : public testing::Test {
 protected:
  HostTest();

  /** An entry of an uninstall key in a view, with these texts. */
  KeyPath Entry(const std::u16string& name, const Values& values, View view = View::Bits64);
  /** An entry below a user's own uninstall key. */
  KeyPath UserEntry(const std::u16string& name, const Values& values);
  void SetTexts(const KeyPath& key, const Values& values);

  std::vector<std::string> Names();

  TestMachine machine;
  kestrelbay::LogCapture log;
};

}  // namespace tests
