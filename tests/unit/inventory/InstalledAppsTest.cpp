#include "inventory/InstalledApps.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "inventory/AppNameLess.h"
#include "support/OnMachine.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

class Inventory : public OnMachine {
 protected:
  Inventory() { machine.registry.CreateKey(kProductsPath); }

  void AddApp(const std::u16string& name, const Texts& more = {},
              const std::u16string& uninstall = kUninstall64Path) {
    SetTexts(uninstall + u"\\" + name, {{u"DisplayName", name}, {u"UninstallString", u"u"}});
    SetTexts(uninstall + u"\\" + name, more);
  }
};

TEST_F(Inventory, IsEmptyWithoutTheProductsKey) {
  AddApp(u"App");
  AddApp(u"Other", {}, u"HKEY_USERS\\S-1\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
  ASSERT_EQ(ScanInstalledApps().size(), 2U);
  machine.registry.Deny(kProductsPath, kAllReading);
  EXPECT_TRUE(ScanInstalledApps().empty());
  machine.registry.RemoveKey(kProductsPath);
  EXPECT_TRUE(ScanInstalledApps().empty());
}

TEST_F(Inventory, HasTheRegistryPathOfEachRecord) {
  AddApp(u"a", {}, kUninstall32Path);
  AddApp(u"b", {}, kUninstall64Path);
  AddApp(u"c", {}, u"HKEY_USERS\\S-1\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
  const PlainRecords apps = RecordsOf(ScanInstalledApps());
  ASSERT_EQ(apps.size(), 3U);
  EXPECT_EQ(apps[0].architecture, 1);
  EXPECT_EQ(apps[1].architecture, 2);
  EXPECT_EQ(apps[2].architecture, 0);
  EXPECT_EQ(apps[0].subKeyPath, u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\a");
  EXPECT_EQ(apps[1].subKeyPath, u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\b");
  EXPECT_EQ(apps[2].rootKeyStr, u"HKEY_USERS");
}

TEST_F(Inventory, CurrentUsersHiveIsReadOnceAsOneOfTheUsers) {
  AddApp(u"App", {}, u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
  std::size_t records = 0;
  const auto calls = CallsOf([&] { records = ScanInstalledApps().size(); });
  EXPECT_EQ(records, 1U);
  EXPECT_THAT(calls, testing::Not(testing::Contains(testing::HasSubstr("HKEY_CURRENT_USER"))));
}

TEST_F(Inventory, IsSortedByNameIgnoringAsciiCase) {
  for (const char16_t* name :
       {u"cherry", u"Banana", u"zeta2", u"Zeta", u"\u00c9clair", u"apple", u"\u65e5"}) {
    AddApp(name);
  }
  EXPECT_THAT(NamesOf(RecordsOf(ScanInstalledApps())),
              ElementsAre(u"apple", u"Banana", u"cherry", u"Zeta", u"zeta2", u"\u00c9clair", u"\u65e5"));
}

TEST_F(Inventory, LongAndSimilarNamesAreSortedByTheRule) {
  std::mt19937 random(1);
  std::vector<std::u16string> expected;
  for (char16_t entry = 0; entry < 300; ++entry) {
    std::u16string name;
    // Long common prefixes in either case, and names that are prefixes of others.
    for (auto chars = 1 + random() % 14; chars > 0; --chars) name += u"aAaAb\u00e9\uFF21"[random() % 7];
    const std::u16string key = {u'k',
                                static_cast<char16_t>(0x4E00 + entry)};  // sorts in the order of the scan
    SetTexts(kUninstall64Path + u"\\" + key, {{u"DisplayName", name}, {u"UninstallString", u"u"}});
    expected.push_back(name);
  }
  std::ranges::stable_sort(expected, AppNameLess);
  EXPECT_EQ(NamesOf(RecordsOf(ScanInstalledApps())), expected);
}

TEST_F(Inventory, EntryOfAUserMergesWithTheMachinesOfItsName) {
  AddApp(u"App", {{u"DisplayVersion", u"1"}, {u"InstallDate", u"20240101"}});
  SetTexts(u"HKEY_USERS\\S-1\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\{no-guid}",
           {{u"DisplayName", u"App"}, {u"WindowsInstaller", u"1"}, {u"InstallLocation", u"C:\\App"}});
  const PlainRecords apps = RecordsOf(ScanInstalledApps());
  ASSERT_EQ(apps.size(), 1U);
  EXPECT_EQ(apps[0].architecture, 2);
  EXPECT_EQ(apps[0].rootKeyStr, u"HKEY_LOCAL_MACHINE");
  EXPECT_EQ(apps[0].DisplayVersion, u"1");
  EXPECT_EQ(apps[0].InstallLocation, u"C:\\App");
  EXPECT_EQ(apps[0].UninstallString, u"u");
  EXPECT_EQ(apps[0].InstallDate, u"");
}

TEST_F(Inventory, UnreadableLastWriteTimeCountsAsZero) {
  AddApp(u"App");
  machine.registry.SetLastWriteTime(kUninstall64Path + u"\\App", 133485408000000000);
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "RegQueryInfoKeyW");
  const PlainRecords apps = RecordsOf(ScanInstalledApps());
  ASSERT_EQ(apps.size(), 1U);
  EXPECT_EQ(apps[0].LastWriteTime, u"-11644473600000");
}

TEST_F(Inventory, ScanLeavesIconTextsEmpty) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\App\\app.ico"}});
  EXPECT_EQ(RecordsOf(ScanInstalledApps())[0].IconText, "");
}

TEST_F(Inventory, ExecutablesHaveNoIconTextUnlessAskedFor) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\App\\app.exe,0"}});
  const auto apps = GetInstalledApps(false);
  EXPECT_EQ(RecordsOf(*apps)[0].IconText, "");
  EXPECT_EQ(RecordsOf(*apps)[0].DisplayIcon, u"C:\\App\\app.exe,0");
}

TEST_F(Inventory, ListWithoutIconsMakesNoCallForThem) {
  machine.drives.AddFile(u"C:\\App\\app.exe");
  AddApp(u"App", {{u"DisplayIcon", u"C:\\App\\app.exe,0"}});
  AddApp(u"Other", {{u"DisplayIcon", u"C:\\App\\app.ico"}});
  const auto isIconCall = [](const std::string& call) {
    return !call.starts_with("Reg") && !call.starts_with("WideCharToMultiByte");
  };
  const auto callsWith = [&](bool includeIcons) {
    return std::ranges::count_if(CallsOf([=] { GetInstalledApps(includeIcons); }), isIconCall);
  };
  EXPECT_EQ(callsWith(false), 0);
  EXPECT_GT(callsWith(true), 20);
}

TEST_F(Inventory, IconFileIsTheSameWithAndWithoutIcons) {
  AddApp(u"App", {{u"DisplayIcon", u"\"C:\\App\\app.ico\",0"}});
  for (const bool includeIcons : {false, true}) {
    const auto apps = GetInstalledApps(includeIcons);
    EXPECT_EQ(RecordsOf(*apps)[0].IconText, "C:\\App\\app.ico");
    EXPECT_EQ(RecordsOf(*apps)[0].DisplayIcon, u"\"C:\\App\\app.ico\",0");
  }
}

TEST_F(Inventory, IsReadAnewAtEachCall) {
  EXPECT_TRUE(ScanInstalledApps().empty());
  AddApp(u"App");
  EXPECT_EQ(ScanInstalledApps().size(), 1U);
  machine.registry.RemoveKey(kUninstall64Path);
  EXPECT_TRUE(ScanInstalledApps().empty());
}

TEST_F(Inventory, TenThousandEntriesOfOneNameAreAllListed) {
  for (int entry = 0; entry < 10000; ++entry) {
    const std::string number = std::to_string(entry);
    SetTexts(kUninstall64Path + u"\\" + std::u16string(number.begin(), number.end()),
             {{u"DisplayName", u"App"}, {u"UninstallString", u"u"}});
  }
  EXPECT_EQ(ScanInstalledApps().size(), 10000U);
}

TEST_F(Inventory, UnusualNamesAndValuesAreKept) {
  const std::u16string lone = {u'L', char16_t{0xDC00}};
  const std::u16string longest(255, u'k');
  SetTexts(kUninstall64Path + u"\\" + longest, {{u"DisplayName", lone}, {u"UninstallString", u"u"}});
  SetBytes(kUninstall64Path + u"\\" + longest, u"InstallLocation", 1,
           std::vector<std::uint8_t>(1 << 20, 'x'));
  const PlainRecords apps = RecordsOf(ScanInstalledApps());
  ASSERT_EQ(apps.size(), 1U);
  EXPECT_EQ(apps[0].DisplayName, lone);
  EXPECT_EQ(apps[0].InstallLocation, u"");
  EXPECT_TRUE(apps[0].subKeyPath.ends_with(longest));
}

TEST_F(Inventory, RecordWithANameThatDoesNotConvertIsNeverFound) {
  AddApp(u"App");
  machine.faults.FailNth(1, simulated::Faults::Extent::Onwards, "WideCharToMultiByte");
  const AppRecord* const app = FindInstalledApp("");
  EXPECT_TRUE(machine.faults.Fired());
  machine.faults.Clear();
  EXPECT_EQ(app, nullptr);
}

class AppIconByName : public Inventory {};

TEST_F(AppIconByName, IsTheIconOfTheFirstRecordWithExactlyThisName) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\narrow.ico"}}, kUninstall32Path);
  AddApp(u"App", {{u"DisplayIcon", u"C:\\wide.ico"}});
  EXPECT_EQ(GetAppIconByName(u"App"), "C:\\narrow.ico");
}

TEST_F(AppIconByName, UnknownNameIsEmpty) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\app.ico"}});
  for (const char16_t* name : {u"app", u"Ap", u"App ", u"", u"None"}) EXPECT_EQ(GetAppIconByName(name), "");
}

TEST_F(AppIconByName, WithoutAnIconIsEmpty) {
  AddApp(u"App");
  EXPECT_EQ(GetAppIconByName(u"App"), "");
}

TEST_F(AppIconByName, MissingExecutableIsEmpty) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\None\\none.exe"}});
  EXPECT_EQ(GetAppIconByName(u"App"), "");
}

TEST_F(AppIconByName, DrawsNoOtherIcon) {
  for (const std::u16string name : {u"App", u"Neighbour", u"Other"}) {
    machine.drives.AddFile(u"C:\\" + name + u".exe");
    AddApp(name, {{u"DisplayIcon", u"C:\\" + name + u".exe"}});
  }
  std::vector<std::string> drawn = CallsOf([] { EXPECT_NE(GetAppIconByName(u"Neighbour"), ""); });
  std::erase_if(drawn, [](const std::string& call) { return !call.starts_with("SHGetFileInfoW("); });
  EXPECT_THAT(drawn, ElementsAre(testing::StartsWith("SHGetFileInfoW(\"C:\\Neighbour.exe\"")));
}

TEST_F(AppIconByName, LookUpOfAnApplicationDrawsNoIcon) {
  machine.drives.AddFile(u"C:\\app.exe");
  AddApp(u"App", {{u"DisplayIcon", u"C:\\app.exe"}});
  EXPECT_THAT(CallsOf([] { EXPECT_NE(FindInstalledApp("App"), nullptr); }),
              testing::Not(testing::Contains(testing::StartsWith("SHGetFileInfoW("))));
}

TEST_F(AppIconByName, MakesOneScan) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\app.ico"}});
  const auto isOpenOfProducts = [](const std::string& call) {
    return call.find("\"Software\\Classes\\Installer\\Products\"") != std::string::npos;
  };
  EXPECT_EQ(std::ranges::count_if(CallsOf([] { GetAppIconByName(u"App"); }), isOpenOfProducts), 1);
}

}  // namespace
}  // namespace kestrelbay
