/** A host of the library on the machine under test. It uses the C interface and nothing else. */
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "KestrelbayGeneralSDK.h"
#include "TestMachine.h"

namespace tests {

/** Keys that the inventory reads. */
inline const KeyPath kProducts = u"HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products";
inline const std::u16string kUninstall =
    u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
inline const std::u16string kUserData =
    u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";
inline const std::u16string kHive = HiveOfTests();

using Values = std::vector<std::pair<std::u16string, std::u16string>>;

/** Makes List() leave out the applications that are listed now. REQUIRES: a log callback. */
void HideOthers();

/**
 * @return the list of GetInstalledAppList, which is released already, without the applications of others on a
 * machine in use
 */
std::vector<kestrelbay::ReceivedEntry> List(bool includeIcons = false);

/** A machine with the products key and no entries, and a host that logs. */
class HostTest : public testing::Test {
 protected:
  /** Adds an entry with these texts to the uninstall key of a view. */
  KeyPath Entry(const std::u16string& name, const Values& values, View view = View::Bits64);
  /** Adds an entry to the uninstall key of the user. */
  KeyPath UserEntry(const std::u16string& name, const Values& values);
  void SetTexts(const KeyPath& key, const Values& values);

  std::vector<std::string> Names();

  /** For a test of the whole list. @throws NotOnThisMachine if the machine lists applications of others */
  static void RequireNoOthers();

  TestMachine machine;
  const bool isPrepared = Prepare(machine);
  kestrelbay::LogCapture log;

 private:
  /** Removes all applications, or hides those of others from List(). */
  static bool Prepare(TestMachine& machine);
};

}  // namespace tests
