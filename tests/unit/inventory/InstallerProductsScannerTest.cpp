#include "inventory/InstallerProductsScanner.h"

#include <gmock/gmock.h>

#include "base/LoadTimeObjects.h"
#include "support/OnMachine.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

const std::u16string kCode = u"87654321DCBA10FE32547698BADCFE10";
const std::u16string kHive = u"S-1-5-21-1";

class UserHives : public OnMachine {
 protected:
  UserHives() { machine.registry.CreateKey(kProductsPath); }

  static std::u16string Product(const std::u16string& hive, const std::u16string& code = kCode) {
    return u"HKEY_USERS\\" + hive + u"\\Software\\Microsoft\\Installer\\Products\\" + code;
  }

  static std::u16string Properties(const std::u16string& sid, const std::u16string& code = kCode,
                                   const std::u16string& userData = kUserData64Path) {
    return userData + u"\\" + sid + u"\\Products\\" + code + u"\\InstallProperties";
  }

  static PlainRecords ScanHives() {
    Scan scan;
    scan.productsKey = OpenMachineKey(InstallerClassesPath);
    ScanUserHives(scan);
    return RecordsOf(scan.TakeApps());
  }
};

TEST_F(UserHives, UninstallKeyOfEachHiveGivesRecordsOfUnknownView) {
  const std::u16string path = u"\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App";
  SetTexts(u"HKEY_USERS\\S-1-5-21-2" + path, {{u"DisplayName", u"Second"}, {u"UninstallString", u"u"}});
  SetTexts(u"HKEY_USERS\\.DEFAULT" + path, {{u"DisplayName", u"First"}, {u"UninstallString", u"u"}});
  const PlainRecords list = ScanHives();
  EXPECT_THAT(NamesOf(list), ElementsAre(u"First", u"Second"));
  EXPECT_EQ(list[1].rootKeyStr, u"HKEY_USERS");
  EXPECT_EQ(list[1].subKeyPath, u"S-1-5-21-2" + path);
  EXPECT_EQ(list[1].architecture, 0);
}

TEST_F(UserHives, EachNameBelowHkeyUsersIsAHive) {
  machine.registry.CreateKey(u"HKEY_USERS\\.DEFAULT");
  machine.registry.CreateKey(u"HKEY_USERS\\S-1-5-21-1_Classes");
  std::vector<std::string> opened;
  for (const std::string& call : CallsOf([] { ScanHives(); })) {
    if (call.starts_with("RegOpenKeyExW(HKEY_USERS")) opened.push_back(call);
  }
  EXPECT_THAT(opened,
              testing::IsSupersetOf(
                  {"RegOpenKeyExW(HKEY_USERS, \".DEFAULT\\Software\\Microsoft\\Windows\\CurrentVersion\\"
                   "Uninstall\", 0, 0x20019) = 2",
                   "RegOpenKeyExW(HKEY_USERS, \".DEFAULT\\Software\\Microsoft\\Installer\\Products\", 0, "
                   "0x20019) = 2",
                   "RegOpenKeyExW(HKEY_USERS, \"S-1-5-21-1_Classes\\Software\\Microsoft\\Installer\\"
                   "Products\", 0, 0x20019) = 2"}));
}

TEST_F(UserHives, ManagedEntryOfAHiveIsNamedByTheMachinesProducts) {
  SetTexts(kProductsPath + u"\\" + kCode, {{u"ProductName", u"Product"}});
  SetTexts(u"HKEY_USERS\\" + kHive +
               u"\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{12345678-ABCD-EF01-2345-"
               u"6789ABCDEF01}",
           {{u"DisplayName", u"App"}, {u"WindowsInstaller", u"1"}});
  EXPECT_THAT(NamesOf(ScanHives()), ElementsAre(u"Product"));
}

TEST_F(UserHives, ProductIsJoinedWithItsProperties) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}, {u"ProductIcon", u"product.ico"}});
  SetTexts(Properties(kHive), {{u"DisplayName", u"App"},
                               {u"DisplayIcon", u"app.ico"},
                               {u"DisplayVersion", u"1.0"},
                               {u"InstallLocation", u"C:\\App"},
                               {u"InstallDate", u"20240131"},
                               {u"UninstallString", u"u.exe"}});
  machine.registry.SetLastWriteTime(Properties(kHive), 133485408000000000);
  const InstalledAppInfo expected = {
      .DisplayName = u"Product",
      .InstallLocation = u"C:\\App",
      .DisplayVersion = u"1.0",
      .UninstallString = u"u.exe",
      .rootKeyStr = u"HKEY_LOCAL_MACHINE",
      .subKeyPath = InstallerUserDataPath + u"\\" + kHive + u"\\Products\\" + kCode + u"\\InstallProperties",
      .architecture = 2,
      .DisplayIcon = u"product.ico",
      .IconText = "",
      .InstallDate = u"20240131",
      .LastWriteTime = u"1704067200000"};
  EXPECT_EQ(Describe(ScanHives()), Describe(PlainRecords{expected}));
}

TEST_F(UserHives, EmptyProductValuesFallBackToTheProperties) {
  machine.registry.CreateKey(Product(kHive));
  SetTexts(Properties(kHive), {{u"DisplayName", u"App"}, {u"DisplayIcon", u"app.ico"}});
  const PlainRecords list = ScanHives();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].DisplayName, u"App");
  EXPECT_EQ(list[0].DisplayIcon, u"app.ico");
  EXPECT_EQ(list[0].UninstallString, u"");
}

TEST_F(UserHives, NameAndIconOfThePropertiesAreReadEvenIfTheProductHasBoth) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}, {u"ProductIcon", u"product.ico"}});
  machine.registry.CreateKey(Properties(kHive));
  const auto calls = CallsOf([] { ScanHives(); });
  for (const std::string name : {"DisplayName", "DisplayIcon"}) {
    EXPECT_THAT(calls, testing::Contains(testing::HasSubstr("\\InstallProperties, \"" + name + "\"")));
  }
}

TEST_F(UserHives, ProductOnlyBelowTheMachinesSidYieldsNoRecord) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(Properties(u"S-1-5-18"));
  EXPECT_TRUE(ScanHives().empty());
}

TEST_F(UserHives, ProductIsFoundBelowAnotherUsersSid) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(Properties(u"S-1-5-21-9"));
  EXPECT_EQ(ScanHives().size(), 1U);
}

TEST_F(UserHives, FirstSidThatYieldsARecordWins) {
  machine.registry.CreateKey(Product(kHive));
  SetTexts(Properties(u"S-1-5-21-2"), {{u"DisplayName", u"Second"}});
  SetTexts(Properties(u"S-1-5-21-3"), {{u"DisplayName", u"Third"}});
  EXPECT_THAT(NamesOf(ScanHives()), ElementsAre(u"Second"));
}

TEST_F(UserHives, SidWithASystemComponentIsSkipped) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  machine.registry.SetNumber(Properties(u"S-1-5-21-2"), u"SystemComponent", 1);
  EXPECT_TRUE(ScanHives().empty());
  SetTexts(Properties(u"S-1-5-21-3"), {{u"DisplayVersion", u"3"}});
  const PlainRecords list = ScanHives();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].DisplayVersion, u"3");
}

TEST_F(UserHives, ProductWithoutANameIsTriedBelowTheNextSid) {
  machine.registry.CreateKey(Product(kHive));
  machine.registry.CreateKey(Properties(u"S-1-5-21-2"));
  EXPECT_TRUE(ScanHives().empty());
  SetTexts(Properties(u"S-1-5-21-3"), {{u"DisplayName", u"Third"}});
  EXPECT_THAT(NamesOf(ScanHives()), ElementsAre(u"Third"));
}

TEST_F(UserHives, ExcludedPublisherIsRejectedBelowEverySid) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  for (const char16_t* sid : {u"S-1-5-21-2", u"S-1-5-21-3"}) {
    SetTexts(Properties(sid), {{u"Publisher", u"TOLVAN Handheld Engine"}});
  }
  const auto calls = CallsOf([] { EXPECT_TRUE(ScanHives().empty()); });
  EXPECT_EQ(
      std::ranges::count_if(
          calls, [](const std::string& call) { return call.find("\"Publisher\"") != std::string::npos; }),
      2);
}

TEST_F(UserHives, ExcludedPublisherIsExact) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  for (const char16_t* publisher :
       {u"tolvan handheld engine", u"TOLVAN Handheld Engine Ltd", u" TOLVAN Handheld Engine", u"TOLVAN"}) {
    SetTexts(Properties(kHive), {{u"Publisher", publisher}});
    EXPECT_THAT(NamesOf(ScanHives()), ElementsAre(u"Product"));
  }
}

TEST_F(UserHives, UpdateFiltersDoNotApply) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  SetTexts(Properties(kHive), {{u"ParentKeyName", u"OperatingSystem"}, {u"ReleaseType", u"Hotfix"}});
  EXPECT_EQ(ScanHives().size(), 1U);
}

TEST_F(UserHives, PackedCodeIsComparedExactly) {
  const std::u16string small = u"87654321dcba10fe32547698badcfe10";
  SetTexts(Product(kHive, small), {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(Properties(kHive, kCode));
  EXPECT_TRUE(ScanHives().empty());
}

TEST_F(UserHives, MachinesSidIsComparedExactly) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(Properties(u"s-1-5-18"));
  EXPECT_EQ(ScanHives().size(), 1U);
}

TEST_F(UserHives, EachViewOfUserDataYieldsARecord) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(Properties(kHive));
  machine.registry.CreateKey(Properties(kHive, kCode, kUserData32Path));
  const PlainRecords list = ScanHives();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].architecture, 1);
  EXPECT_EQ(list[1].architecture, 2);
  EXPECT_EQ(list[0].subKeyPath, list[1].subKeyPath);
}

TEST_F(UserHives, UserDataInOneViewIsScannedInThatView) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(Properties(kHive, kCode, kUserData32Path));
  const PlainRecords list = ScanHives();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].architecture, 1);
}

TEST_F(UserHives, KeyThatCannotBeOpenedIsSkipped) {
  SetTexts(Product(kHive), {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(Properties(u"S-1-5-21-2"));
  machine.registry.CreateKey(Properties(u"S-1-5-21-3"));
  machine.registry.SetText(Properties(u"S-1-5-21-3"), u"DisplayVersion", u"3");
  machine.registry.Deny(Properties(u"S-1-5-21-2"), kAllReading);
  ASSERT_EQ(ScanHives().size(), 1U);
  EXPECT_EQ(ScanHives()[0].DisplayVersion, u"3");
  machine.registry.Deny(Product(kHive), kAllReading);
  EXPECT_TRUE(ScanHives().empty());
}

TEST_F(UserHives, SidsAreListedAgainForEachPackedCode) {
  for (const char16_t* code : {u"A", u"B", u"C"}) machine.registry.CreateKey(Product(kHive, code));
  machine.registry.CreateKey(kUserData64Path);
  const std::string listing =
      "RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\"
      "Installer\\UserData, 0, 260) = 259";
  const auto calls = CallsOf([] { ScanHives(); });
  EXPECT_EQ(std::ranges::count(calls, listing), 3);
}

}  // namespace
}  // namespace kestrelbay
