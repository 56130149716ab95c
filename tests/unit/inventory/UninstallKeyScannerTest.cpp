#include "inventory/UninstallKeyScanner.h"

#include <gmock/gmock.h>

#include "base/LoadTimeObjects.h"
#include "support/OnMachine.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

const Texts kPlainApp = {{u"DisplayName", u"App"}, {u"UninstallString", u"C:\\App\\uninstall.exe"}};
const Texts kManagedApp = {{u"DisplayName", u"App"}, {u"WindowsInstaller", u"1"}};

class UninstallKeyScan : public OnMachine {
 protected:
  UninstallKeyScan() {
    machine.registry.CreateKey(kProductsPath);
    machine.registry.CreateKey(kUninstall64Path);
  }

  void AddEntry(const std::u16string& name, Texts values, const Texts& more = {}) {
    values.insert(values.end(), more.begin(), more.end());
    SetTexts(kUninstall64Path + u"\\" + name, values);
  }

  static PlainRecords ScanView(RegistryView view) {
    Scan scan;
    scan.productsKey = OpenMachineKey(InstallerClassesPath);
    const auto uninstall = OpenKeyInView(LocalMachineRoot(), UninstallKeyPath, view);
    ScanUninstallKey(uninstall.get(), scan);
    return RecordsOf(scan.TakeApps());
  }
  static PlainRecords ScanEntries() { return ScanView(k64BitView); }

  std::vector<std::u16string> ScannedNames() { return NamesOf(ScanEntries()); }
};

TEST_F(UninstallKeyScan, AbsentKeyAddsNothing) {
  Scan scan;
  scan.productsKey = OpenMachineKey(InstallerClassesPath);
  EXPECT_THAT(CallsOf([&] { ScanUninstallKey(nullptr, scan); }), ElementsAre());
  EXPECT_TRUE(scan.TakeApps().empty());
}

TEST_F(UninstallKeyScan, PlainEntryBecomesARecord) {
  AddEntry(u"AppKey", kPlainApp,
           {{u"InstallLocation", u"C:\\App"},
            {u"DisplayVersion", u"1.2"},
            {u"DisplayIcon", u"\"C:\\App\\app.exe\",0"},
            {u"InstallDate", u"20240131"},
            {u"Publisher", u"Vendor"}});
  machine.registry.SetLastWriteTime(kUninstall64Path + u"\\AppKey", 133485408000000000);
  const InstalledAppInfo expected = {
      .DisplayName = u"App",
      .InstallLocation = u"C:\\App",
      .DisplayVersion = u"1.2",
      .UninstallString = u"C:\\App\\uninstall.exe",
      .rootKeyStr = u"HKEY_LOCAL_MACHINE",
      .subKeyPath = u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\AppKey",
      .architecture = 2,
      .DisplayIcon = u"\"C:\\App\\app.exe\",0",
      .IconText = "",
      .InstallDate = u"20240131",
      .LastWriteTime = u"1704067200000"};
  EXPECT_EQ(Describe(ScanEntries()), Describe(PlainRecords{expected}));
}

TEST_F(UninstallKeyScan, MissingValuesAreEmptyTexts) {
  AddEntry(u"AppKey", kPlainApp);
  const PlainRecords list = ScanEntries();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].InstallLocation + list[0].DisplayVersion + list[0].DisplayIcon + list[0].InstallDate,
            u"");
  EXPECT_EQ(list[0].LastWriteTime, u"-11644473600000");
}

TEST_F(UninstallKeyScan, SubKeysAreOpenedInTheViewOfTheKey) {
  SetTexts(kUninstall32Path + u"\\AppKey", kPlainApp);
  const auto calls = CallsOf([] {
    const PlainRecords list = ScanView(k32BitView);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].architecture, 1);
    EXPECT_EQ(list[0].subKeyPath, u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\AppKey");
  });
  EXPECT_THAT(calls, testing::Contains(testing::EndsWith("\"AppKey\", 0, 0x20219) = 0")));
}

TEST_F(UninstallKeyScan, DefaultViewIsRecordedAsUnknown) {
  AddEntry(u"AppKey", kPlainApp);
  ASSERT_EQ(ScanView(kDefaultView).size(), 1U);
  EXPECT_EQ(ScanView(kDefaultView)[0].architecture, 0);
}

TEST_F(UninstallKeyScan, EntriesAreInTheOrderOfTheRegistry) {
  for (const char16_t* name : {u"c", u"A", u"b"}) {
    AddEntry(name, {{u"DisplayName", name}, {u"UninstallString", u"u"}});
  }
  EXPECT_THAT(ScannedNames(), ElementsAre(u"A", u"b", u"c"));
}

TEST_F(UninstallKeyScan, EntryThatCannotBeOpenedIsSkipped) {
  AddEntry(u"a", kPlainApp);
  AddEntry(u"b", {{u"DisplayName", u"Other"}, {u"UninstallString", u"u"}});
  machine.registry.Deny(kUninstall64Path + u"\\a", kAllReading);
  EXPECT_THAT(ScannedNames(), ElementsAre(u"Other"));
}

// The text of a flag, and whether it counts as set.
class FlagText : public UninstallKeyScan,
                 public testing::WithParamInterface<std::pair<std::u16string, bool>> {};

INSTANTIATE_TEST_SUITE_P(
    Parsing, FlagText,
    testing::Values(std::pair(u"1", true), std::pair(u"01", true), std::pair(u"+1", true),
                    std::pair(u"1x", true), std::pair(u" \t1", true), std::pair(u"1.5", true),
                    std::pair(u"", false), std::pair(u"0", false), std::pair(u"2", false),
                    std::pair(u"yes", false), std::pair(u"-1", false), std::pair(u"11", false),
                    std::pair(u"x1", false), std::pair(u"+ 1", false), std::pair(u"4294967297", false)));

TEST_P(FlagText, SkipsASystemComponentThatParsesTo1) {
  AddEntry(u"a", kPlainApp, {{u"SystemComponent", GetParam().first}});
  AddEntry(u"b", kManagedApp, {{u"DisplayName", u"Managed"}, {u"SystemComponent", GetParam().first}});
  EXPECT_EQ(ScanEntries().size(), GetParam().second ? 0U : 2U);
}

TEST_P(FlagText, MakesAManagedEntryIfItParsesTo1) {
  // Without an uninstall command, only a managed entry is listed.
  AddEntry(u"a", {{u"DisplayName", u"App"}, {u"WindowsInstaller", GetParam().first}});
  EXPECT_EQ(ScanEntries().size(), GetParam().second ? 1U : 0U);
}

TEST_F(UninstallKeyScan, FlagMayBeANumberButNotRawBytes) {
  AddEntry(u"a", kPlainApp);
  machine.registry.SetNumber(kUninstall64Path + u"\\a", u"SystemComponent", 1);
  EXPECT_THAT(ScannedNames(), ElementsAre());
  machine.registry.SetNumber(kUninstall64Path + u"\\a", u"SystemComponent", 0);
  EXPECT_THAT(ScannedNames(), ElementsAre(u"App"));
  SetBytes(kUninstall64Path + u"\\a", u"SystemComponent", 3, {1, 0, 0, 0});
  EXPECT_THAT(ScannedNames(), ElementsAre(u"App"));
}

TEST_F(UninstallKeyScan, PlainEntryNeedsAnUninstallCommandAndAName) {
  AddEntry(u"a", {{u"DisplayName", u"App"}});
  AddEntry(u"b", {{u"UninstallString", u"u"}});
  AddEntry(u"c", {{u"DisplayName", u""}, {u"UninstallString", u"u"}});
  EXPECT_THAT(ScannedNames(), ElementsAre());
}

TEST_F(UninstallKeyScan, ManagedEntryNeedsOnlyAName) {
  AddEntry(u"a", kManagedApp);
  AddEntry(u"b", {{u"WindowsInstaller", u"1"}, {u"UninstallString", u"u"}});
  EXPECT_THAT(ScannedNames(), ElementsAre(u"App"));
}

TEST_F(UninstallKeyScan, ExcludedPublisherIsSkippedExactly) {
  AddEntry(u"a", kPlainApp, {{u"Publisher", u"TOLVAN Handheld Engine"}});
  AddEntry(u"b", kManagedApp, {{u"Publisher", u"TOLVAN Handheld Engine"}});
  EXPECT_THAT(ScannedNames(), ElementsAre());
  AddEntry(u"a", kPlainApp, {{u"Publisher", u"tolvan handheld engine"}});
  EXPECT_THAT(ScannedNames(), ElementsAre(u"App"));
  AddEntry(u"a", kPlainApp, {{u"Publisher", u"TOLVAN Handheld Engine Ltd"}});
  EXPECT_THAT(ScannedNames(), ElementsAre(u"App"));
}

TEST_F(UninstallKeyScan, ExcludedPublisherIsExactForManagedEntries) {
  for (const char16_t* publisher :
       {u"tolvan handheld engine", u"TOLVAN Handheld Engine Ltd", u" TOLVAN Handheld Engine", u"TOLVAN"}) {
    AddEntry(u"b", kManagedApp, {{u"Publisher", publisher}});
    EXPECT_THAT(ScannedNames(), ElementsAre(u"App"));
  }
}

TEST_F(UninstallKeyScan, UpdatesAreSkippedOnlyAmongPlainEntries) {
  const std::vector<std::pair<std::u16string, Texts>> updates = {
      {u"KB123456", {}},
      {u"b", {{u"ParentKeyName", u"OperatingSystem"}}},
      {u"c", {{u"ReleaseType", u"Security Update"}}},
      {u"d", {{u"ReleaseType", u"Update Rollup"}}},
      {u"e", {{u"ReleaseType", u"Hotfix"}}}};
  for (const auto& [name, values] : updates) AddEntry(name, kPlainApp, values);
  EXPECT_THAT(ScannedNames(), ElementsAre());
  for (const auto& [name, values] : updates) {
    AddEntry(name, {{u"DisplayName", name}, {u"WindowsInstaller", u"1"}}, values);
  }
  EXPECT_EQ(ScanEntries().size(), updates.size());
}

TEST_F(UninstallKeyScan, LongUninstallCommandReadsAsEmpty) {
  const std::u16string longest(259, u'u');
  AddEntry(u"a", kPlainApp, {{u"UninstallString", longest}});
  AddEntry(u"b", {{u"DisplayName", u"Managed"}, {u"WindowsInstaller", u"1"}},
           {{u"UninstallString", longest + u"u"}});
  AddEntry(u"c", {{u"DisplayName", u"Gone"}, {u"UninstallString", longest + u"u"}});
  const PlainRecords list = ScanEntries();
  EXPECT_THAT(NamesOf(list), ElementsAre(u"App", u"Managed"));
  EXPECT_EQ(list[0].UninstallString, longest);
  EXPECT_EQ(list[1].UninstallString, u"");
}

TEST_F(UninstallKeyScan, SameApplicationInBothViewsIsTwoRecords) {
  AddEntry(u"a", kPlainApp);
  SetTexts(kUninstall32Path + u"\\a", kPlainApp);
  Scan scan;
  scan.productsKey = OpenMachineKey(InstallerClassesPath);
  ScanUninstallKey(OpenKey32(LocalMachineRoot(), UninstallKeyPath).get(), scan);
  ScanUninstallKey(OpenKey64(LocalMachineRoot(), UninstallKeyPath).get(), scan);
  const PlainRecords records = RecordsOf(scan.TakeApps());
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].architecture, 1);
  EXPECT_EQ(records[1].architecture, 2);
}

TEST_F(UninstallKeyScan, HoldsOneSubKeyAndOneProductKeyAtMost) {
  const std::u16string code = u"{12345678-ABCD-EF01-2345-6789ABCDEF01}";
  SetTexts(kProductsPath + u"\\87654321DCBA10FE32547698BADCFE10", {{u"ProductName", u"Product"}});
  AddEntry(code, kManagedApp);
  AddEntry(u"z", kPlainApp);
  std::size_t open = 0;
  std::size_t most = 0;
  for (const std::string& call : CallsOf([] { ScanEntries(); })) {
    if (call.starts_with("RegOpenKeyExW") && call.ends_with("= 0")) most = std::max(most, ++open);
    if (call.starts_with("RegCloseKey")) --open;
  }
  EXPECT_EQ(most, 4U);  // the two keys that the caller holds, the entry and its product
  EXPECT_EQ(open, 0U);
}

}  // namespace
}  // namespace kestrelbay
