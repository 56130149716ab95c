#include <gmock/gmock.h>

#include "base/CommonFunc.h"
#include "inventory/InstalledApps.h"
#include "inventory/InventoryScan.h"
#include "support/OnMachine.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

/** Replaces the long paths by short names, so that a list of calls is readable. */
std::string Shorten(std::string call) {
  const std::vector<std::pair<std::string, std::string>> names = {
      {"HKEY_LOCAL_MACHINE", "HKLM"},
      {"HKEY_USERS", "HKU"},
      {"Software\\Classes\\Installer\\Products", "<Products>"},
      {"Software\\Microsoft\\Installer\\Products", "<UserProducts>"},
      {"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall", "<Uninstall>"},
      {"Software\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall", "<Uninstall32>"},
      {"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData", "<UserData>"},
      {"Software\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData", "<UserData32>"},
      {"{12345678-ABCD-EF01-2345-6789ABCDEF01}", "{code}"},
      {"87654321DCBA10FE32547698BADCFE10", "<packed>"},
      {"InstallProperties", "<Properties>"}};
  for (const auto& [name, shortName] : names) {
    call = ReplaceAll<char>(std::move(call), name, shortName);
  }
  return call;
}

class InventoryCalls : public OnMachine {
 protected:
  InventoryCalls() {
    machine.registry.SetUser(u"S-1-1");
    for (const std::u16string hive : {u"S-1-5-21-1000000001-1000000002-1000000003-1001", u"S-1-1"}) {
      machine.registry.RemoveKey(u"HKEY_USERS\\" + hive);
    }
  }

  std::vector<std::string> CallsOfScan() {
    std::vector<std::string> calls;
    for (const std::string& call : CallsOf([] { ScanInstalledApps(); })) calls.push_back(Shorten(call));
    return calls;
  }
};

TEST_F(InventoryCalls, WithoutTheProductsKeyNoOtherCallIsMade) {
  SetTexts(kUninstall64Path + u"\\App", {{u"DisplayName", u"App"}, {u"UninstallString", u"u"}});
  EXPECT_THAT(CallsOfScan(), ElementsAre("RegOpenKeyExW(HKLM, \"<Products>\", 0, 0x20019) = 2"));
}

TEST_F(InventoryCalls, LeaveNoKeyOpenAlthoughTheScanIsKept) {
  machine.registry.CreateKey(kProductsPath);
  Scan scan;
  ScanInventory(scan);
  EXPECT_EQ(machine.OpenKeys(), 0U);
}

TEST_F(InventoryCalls, OfAnEmptyMachineAreTheOpensInOrder) {
  machine.registry.CreateKey(kProductsPath);
  EXPECT_THAT(CallsOfScan(),
              ElementsAre("RegOpenKeyExW(HKLM, \"<Products>\", 0, 0x20019) = 0",
                          "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20219) = 2",
                          "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20119) = 2",
                          "RegEnumKeyExW(HKU, 0, 260) = 259", "RegCloseKey(HKLM\\<Products>) = 0"));
}

TEST_F(InventoryCalls, OfAPlainEntryAreItsReads) {
  machine.registry.CreateKey(kProductsPath);
  SetTexts(kUninstall32Path + u"\\App", {{u"DisplayName", u"App"}, {u"UninstallString", u"u"}});
  const std::string key = "HKLM\\<Uninstall32>\\App";
  const auto read = [&](const std::string& name, int status = 2) {
    return "RegQueryValueExW(" + key + ", \"" + name + "\", 520) = " + std::to_string(status);
  };
  EXPECT_THAT(CallsOfScan(), ElementsAreArray({"RegOpenKeyExW(HKLM, \"<Products>\", 0, 0x20019) = 0",
                                               "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20219) = 0",
                                               "RegEnumKeyExW(HKLM\\<Uninstall32>, 0, 260) = 0",
                                               "RegEnumKeyExW(HKLM\\<Uninstall32>, 1, 260) = 259",
                                               "RegOpenKeyExW(HKLM\\<Uninstall32>, \"App\", 0, 0x20219) = 0",
                                               read("SystemComponent").c_str(),
                                               read("WindowsInstaller").c_str(),
                                               read("ReleaseType").c_str(),
                                               read("DisplayVersion").c_str(),
                                               read("DisplayName", 0).c_str(),
                                               read("InstallLocation").c_str(),
                                               read("DisplayIcon").c_str(),
                                               read("InstallDate").c_str(),
                                               ("RegQueryInfoKeyW(" + key + ") = 0").c_str(),
                                               read("UninstallString", 0).c_str(),
                                               read("ParentKeyName").c_str(),
                                               read("Publisher").c_str(),
                                               ("RegCloseKey(" + key + ") = 0").c_str(),
                                               "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20119) = 2",
                                               "RegCloseKey(HKLM\\<Uninstall32>) = 0",
                                               "RegEnumKeyExW(HKU, 0, 260) = 259",
                                               "RegCloseKey(HKLM\\<Products>) = 0"}));
}

TEST_F(InventoryCalls, OfAManagedEntryGoThroughItsProduct) {
  machine.registry.CreateKey(kProductsPath + u"\\87654321DCBA10FE32547698BADCFE10");
  SetTexts(kUninstall64Path + u"\\{12345678-ABCD-EF01-2345-6789ABCDEF01}", {{u"WindowsInstaller", u"1"}});
  const std::string key = "HKLM\\<Uninstall>\\{code}";
  const auto read = [&](const std::string& name, int status = 2) {
    return "RegQueryValueExW(" + key + ", \"" + name + "\", 520) = " + std::to_string(status);
  };
  EXPECT_THAT(CallsOfScan(),
              ElementsAreArray({"RegOpenKeyExW(HKLM, \"<Products>\", 0, 0x20019) = 0",
                                "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20219) = 2",
                                "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20119) = 0",
                                "RegEnumKeyExW(HKLM\\<Uninstall>, 0, 260) = 0",
                                "RegEnumKeyExW(HKLM\\<Uninstall>, 1, 260) = 259",
                                "RegOpenKeyExW(HKLM\\<Uninstall>, \"{code}\", 0, 0x20119) = 0",
                                read("SystemComponent").c_str(),
                                read("WindowsInstaller", 0).c_str(),
                                "RegOpenKeyExW(HKLM\\<Products>, \"<packed>\", 0, 0x20019) = 0",
                                "RegQueryValueExW(HKLM\\<Products>\\<packed>, \"ProductName\", 520) = 2",
                                "RegQueryValueExW(HKLM\\<Products>\\<packed>, \"ProductIcon\", 520) = 2",
                                "RegCloseKey(HKLM\\<Products>\\<packed>) = 0",
                                read("DisplayName").c_str(),
                                read("DisplayVersion").c_str(),
                                read("InstallLocation").c_str(),
                                read("InstallDate").c_str(),
                                ("RegQueryInfoKeyW(" + key + ") = 0").c_str(),
                                read("DisplayIcon").c_str(),
                                read("Publisher").c_str(),
                                read("UninstallString").c_str(),
                                ("RegCloseKey(" + key + ") = 0").c_str(),
                                "RegCloseKey(HKLM\\<Uninstall>) = 0",
                                "RegEnumKeyExW(HKU, 0, 260) = 259",
                                "RegCloseKey(HKLM\\<Products>) = 0"}));
}

TEST_F(InventoryCalls, OfAHiveWithoutProductsDoNotOpenUserData) {
  machine.registry.CreateKey(kProductsPath);
  machine.registry.CreateKey(u"HKEY_USERS\\S-1-1");
  machine.registry.CreateKey(kUserData64Path + u"\\S-1-1");
  EXPECT_THAT(CallsOfScan(), ElementsAre("RegOpenKeyExW(HKLM, \"<Products>\", 0, 0x20019) = 0",
                                         "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20219) = 2",
                                         "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20119) = 2",
                                         "RegEnumKeyExW(HKU, 0, 260) = 0", "RegEnumKeyExW(HKU, 1, 260) = 259",
                                         "RegOpenKeyExW(HKU, \"S-1-1\\<Uninstall>\", 0, 0x20019) = 2",
                                         "RegOpenKeyExW(HKU, \"S-1-1\\<UserProducts>\", 0, 0x20019) = 2",
                                         "RegCloseKey(HKLM\\<Products>) = 0"));
}

TEST_F(InventoryCalls, OfAHiveOpenBothViewsOfUserDataFirstAndCloseThemLast) {
  machine.registry.CreateKey(kProductsPath);
  machine.registry.CreateKey(u"HKEY_USERS\\S-1-1\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
  machine.registry.CreateKey(u"HKEY_USERS\\S-1-1\\Software\\Microsoft\\Installer\\Products\\1");
  machine.registry.CreateKey(kUserData32Path);
  machine.registry.CreateKey(kUserData64Path);
  constexpr std::size_t kKeysOfTheHive = 4;
  std::vector<std::string> calls = CallsOfScan();
  ASSERT_GT(calls.size(), kKeysOfTheHive);
  EXPECT_EQ(calls.back(), "RegCloseKey(HKLM\\<Products>) = 0");
  calls.pop_back();
  const std::vector<std::string> closes(calls.end() - kKeysOfTheHive, calls.end());
  calls.resize(calls.size() - kKeysOfTheHive);
  EXPECT_THAT(calls, ElementsAre("RegOpenKeyExW(HKLM, \"<Products>\", 0, 0x20019) = 0",
                                 "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20219) = 2",
                                 "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20119) = 2",
                                 "RegEnumKeyExW(HKU, 0, 260) = 0", "RegEnumKeyExW(HKU, 1, 260) = 259",
                                 "RegOpenKeyExW(HKU, \"S-1-1\\<Uninstall>\", 0, 0x20019) = 0",
                                 "RegEnumKeyExW(HKU\\S-1-1\\<Uninstall>, 0, 260) = 259",
                                 "RegOpenKeyExW(HKU, \"S-1-1\\<UserProducts>\", 0, 0x20019) = 0",
                                 "RegOpenKeyExW(HKLM, \"<UserData>\", 0, 0x20219) = 0",
                                 "RegOpenKeyExW(HKLM, \"<UserData>\", 0, 0x20119) = 0",
                                 "RegEnumKeyExW(HKU\\S-1-1\\<UserProducts>, 0, 260) = 0",
                                 "RegEnumKeyExW(HKU\\S-1-1\\<UserProducts>, 1, 260) = 259",
                                 "RegEnumKeyExW(HKLM\\<UserData32>, 0, 260) = 259",
                                 "RegEnumKeyExW(HKU\\S-1-1\\<UserProducts>, 0, 260) = 0",
                                 "RegEnumKeyExW(HKU\\S-1-1\\<UserProducts>, 1, 260) = 259",
                                 "RegEnumKeyExW(HKLM\\<UserData>, 0, 260) = 259"));
  EXPECT_THAT(closes, testing::UnorderedElementsAre("RegCloseKey(HKU\\S-1-1\\<Uninstall>) = 0",
                                                    "RegCloseKey(HKU\\S-1-1\\<UserProducts>) = 0",
                                                    "RegCloseKey(HKLM\\<UserData32>) = 0",
                                                    "RegCloseKey(HKLM\\<UserData>) = 0"));
}

TEST_F(InventoryCalls, OfAUserProductJoinBothTrees) {
  machine.registry.CreateKey(kProductsPath);
  const std::u16string packed = u"\\87654321DCBA10FE32547698BADCFE10";
  machine.registry.CreateKey(u"HKEY_USERS\\S-1-1\\Software\\Microsoft\\Installer\\Products" + packed);
  machine.registry.CreateKey(kUserData64Path + u"\\S-1-1\\Products" + packed + u"\\InstallProperties");
  machine.registry.CreateKey(kUserData64Path + u"\\S-1-5-18\\Products" + packed + u"\\InstallProperties");
  const std::string product = "HKU\\S-1-1\\<UserProducts>\\<packed>";
  const std::string properties = "HKLM\\<UserData>\\S-1-1\\Products\\<packed>\\<Properties>";
  const auto read = [](const std::string& key, const std::string& name) {
    return "RegQueryValueExW(" + key + ", \"" + name + "\", 520) = 2";
  };
  const std::vector<std::string> expected = {
      "RegOpenKeyExW(HKLM, \"<Products>\", 0, 0x20019) = 0",
      "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20219) = 2",
      "RegOpenKeyExW(HKLM, \"<Uninstall>\", 0, 0x20119) = 2",
      "RegEnumKeyExW(HKU, 0, 260) = 0",
      "RegEnumKeyExW(HKU, 1, 260) = 259",
      "RegOpenKeyExW(HKU, \"S-1-1\\<Uninstall>\", 0, 0x20019) = 2",
      "RegOpenKeyExW(HKU, \"S-1-1\\<UserProducts>\", 0, 0x20019) = 0",
      "RegOpenKeyExW(HKLM, \"<UserData>\", 0, 0x20219) = 2",
      "RegOpenKeyExW(HKLM, \"<UserData>\", 0, 0x20119) = 0",
      "RegEnumKeyExW(HKU\\S-1-1\\<UserProducts>, 0, 260) = 0",
      "RegEnumKeyExW(HKU\\S-1-1\\<UserProducts>, 1, 260) = 259",
      "RegEnumKeyExW(HKLM\\<UserData>, 0, 260) = 0",
      "RegEnumKeyExW(HKLM\\<UserData>, 1, 260) = 0",
      "RegEnumKeyExW(HKLM\\<UserData>, 2, 260) = 259",
      "RegOpenKeyExW(HKLM, \"<UserData>\\S-1-1\\Products\", 0, 0x20119) = 0",
      "RegEnumKeyExW(HKLM\\<UserData>\\S-1-1\\Products, 0, 260) = 0",
      "RegEnumKeyExW(HKLM\\<UserData>\\S-1-1\\Products, 1, 260) = 259",
      "RegOpenKeyExW(HKLM, \"<UserData>\\S-1-1\\Products\\<packed>\\<Properties>\", 0, 0x20119) = 0",
      read(properties, "SystemComponent"),
      "RegOpenKeyExW(HKU\\S-1-1\\<UserProducts>, \"<packed>\", 0, 0x20019) = 0",
      read(product, "ProductName"),
      read(properties, "DisplayName"),
      read(properties, "DisplayVersion"),
      read(properties, "InstallLocation"),
      read(properties, "InstallDate"),
      "RegQueryInfoKeyW(" + properties + ") = 0",
      read(product, "ProductIcon"),
      read(properties, "DisplayIcon"),
      read(properties, "Publisher"),
      read(properties, "UninstallString"),
      "RegCloseKey(" + product + ") = 0",
      "RegCloseKey(" + properties + ") = 0",
      "RegCloseKey(HKLM\\<UserData>\\S-1-1\\Products) = 0",
      "RegCloseKey(HKLM\\<UserData>) = 0",
      "RegCloseKey(HKU\\S-1-1\\<UserProducts>) = 0",
      "RegCloseKey(HKLM\\<Products>) = 0"};
  EXPECT_THAT(CallsOfScan(), ElementsAreArray(expected));
}

}  // namespace
}  // namespace kestrelbay
