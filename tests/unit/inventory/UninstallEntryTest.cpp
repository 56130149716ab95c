#include <gmock/gmock.h>

#include "base/LoadTimeObjects.h"
#include "inventory/UninstallKeyScanner.h"
#include "support/OnMachine.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

const std::u16string kCode = u"{12345678-ABCD-EF01-2345-6789ABCDEF01}";
const std::u16string kPacked = u"87654321DCBA10FE32547698BADCFE10";

TEST(PackProductCode, ReversesThreeGroupsAndSwapsPairsInTwo) {
  EXPECT_EQ(PackProductCode(kCode), kPacked);
  EXPECT_EQ(PackProductCode(u"{00000001-0002-0003-0405-060708090A0B}"),
            u"10000000200030004050607080"
            u"90A0B0");
}

TEST(PackProductCode, IsTheSameWithoutBraces) {
  EXPECT_EQ(PackProductCode(u"12345678-ABCD-EF01-2345-6789ABCDEF01"), kPacked);
  EXPECT_EQ(PackProductCode(u"{1234{5678-ABCD-EF01}-2345-6789ABCDEF01"), kPacked);
}

TEST(PackProductCode, KeepsTheCase) {
  EXPECT_EQ(PackProductCode(u"{12345678-abcd-Ef01-2345-6789abcdef01}"), u"87654321dcba10fE32547698badcfe10");
}

TEST(PackProductCode, TextOfAnotherFormIsEmpty) {
  for (const char16_t* text :
       {u"", u"App", u"KB123456", u"----", u"{1-2-3-4}", u"{1-2-3-44-55-66}",
        u"{12345678-ABCD-EF01-234-6789ABCDEF01}", u"{12345678-ABCD-EF01-2345-6789ABCDEF0}"}) {
    EXPECT_EQ(PackProductCode(text), u"");
  }
}

TEST(JudgeUpdate, ComparesTheWholeNameWithTheFormOfAKnowledgeBaseName) {
  EXPECT_EQ(JudgeUpdate(u"KB123456", u"", u""), Verdict::KnowledgeBaseName);
  EXPECT_EQ(JudgeUpdate(u"KB000000", u"", u""), Verdict::KnowledgeBaseName);
  EXPECT_EQ(JudgeUpdate(u"KB999999", u"", u""), Verdict::KnowledgeBaseName);
  for (const char16_t* name :
       {u"KB1234567", u"KB12345", u"kb123456", u"Windows6.1-KB123456", u"KB12345a", u"KB", u"", u"KB123456 ",
        u"KB12345\uFF16", u"KBa12345", u"KB 12345", u"KB12345/", u"KB12345:"}) {
    EXPECT_EQ(JudgeUpdate(name, u"", u""), Verdict::Accepted);
  }
}

TEST(JudgeUpdate, AnyParentKeyNameCounts) {
  EXPECT_EQ(JudgeUpdate(u"App", u"OperatingSystem", u""), Verdict::HasParent);
  EXPECT_EQ(JudgeUpdate(u"App", u" ", u""), Verdict::HasParent);
  EXPECT_EQ(JudgeUpdate(u"App", u"", u""), Verdict::Accepted);
}

TEST(JudgeUpdate, ComparesThreeReleaseTypesExactly) {
  for (const char16_t* type : {u"Security Update", u"Update Rollup", u"Hotfix"}) {
    EXPECT_EQ(JudgeUpdate(u"App", u"", type), Verdict::UpdateRelease);
  }
  for (const char16_t* type :
       {u"security update", u"Update rollup", u"HOTFIX", u"Hotfix ", u"Update", u"Service Pack"}) {
    EXPECT_EQ(JudgeUpdate(u"App", u"", type), Verdict::Accepted);
  }
}

TEST(JudgeUpdate, ChecksNameThenParentThenRelease) {
  EXPECT_EQ(JudgeUpdate(u"KB123456", u"Parent", u"Hotfix"), Verdict::KnowledgeBaseName);
  EXPECT_EQ(JudgeUpdate(u"App", u"Parent", u"Hotfix"), Verdict::HasParent);
}

class ManagedEntry : public OnMachine {
 protected:
  ManagedEntry() { machine.registry.CreateKey(kProductsPath); }

  /** @return the only record of one managed entry */
  InstalledAppInfo ScanEntry(const std::u16string& name, const Texts& values) {
    SetTexts(kUninstall64Path + u"\\" + name, values);
    machine.registry.SetText(kUninstall64Path + u"\\" + name, u"WindowsInstaller", u"1");
    Scan scan;
    scan.productsKey = OpenMachineKey(InstallerClassesPath);
    const auto uninstall = OpenKey64(LocalMachineRoot(), UninstallKeyPath);
    ScanUninstallKey(uninstall.get(), scan);
    const PlainRecords records = RecordsOf(scan.TakeApps());
    EXPECT_EQ(records.size(), 1U);
    return records.empty() ? InstalledAppInfo() : records[0];
  }
};

TEST_F(ManagedEntry, NameAndIconOfTheProductKeyPrecede) {
  SetTexts(kProductsPath + u"\\" + kPacked, {{u"ProductName", u"Product"}, {u"ProductIcon", u"product.ico"}});
  machine.registry.SetLastWriteTime(kProductsPath + u"\\" + kPacked, 1);
  const InstalledAppInfo app = ScanEntry(kCode, {{u"DisplayName", u"App"}, {u"DisplayIcon", u"app.ico"}});
  EXPECT_EQ(app.DisplayName, u"Product");
  EXPECT_EQ(app.DisplayIcon, u"product.ico");
  EXPECT_EQ(app.subKeyPath, UninstallKeyPath + u"\\" + kCode);
  EXPECT_EQ(app.rootKeyStr, u"HKEY_LOCAL_MACHINE");
  EXPECT_EQ(app.architecture, 2);
  EXPECT_EQ(app.LastWriteTime, u"-11644473600000");  // the time of the uninstall entry
}

TEST_F(ManagedEntry, EmptyProductValuesFallBackOneByOne) {
  SetTexts(kProductsPath + u"\\" + kPacked, {{u"ProductName", u""}, {u"ProductIcon", u"product.ico"}});
  const InstalledAppInfo app = ScanEntry(kCode, {{u"DisplayName", u"App"}, {u"DisplayIcon", u"app.ico"}});
  EXPECT_EQ(app.DisplayName, u"App");
  EXPECT_EQ(app.DisplayIcon, u"product.ico");
}

TEST_F(ManagedEntry, ProductNameAloneIsEnough) {
  SetTexts(kProductsPath + u"\\" + kPacked, {{u"ProductName", u"Product"}});
  EXPECT_EQ(ScanEntry(kCode, {}).DisplayName, u"Product");
}

TEST_F(ManagedEntry, WithoutAProductKeyHasItsNameAndIcon) {
  const InstalledAppInfo app = ScanEntry(kCode, {{u"DisplayName", u"App"}, {u"DisplayIcon", u"app.ico"}});
  EXPECT_EQ(app.DisplayName, u"App");
  EXPECT_EQ(app.DisplayIcon, u"app.ico");
  EXPECT_EQ(app.UninstallString, u"");
}

TEST_F(ManagedEntry, NameThatIsNoProductCodeHasNoProductKey) {
  // An open of its empty code would open the products key itself.
  machine.registry.SetText(kProductsPath, u"ProductName", u"Wrong");
  for (const char16_t* name : {u"App", u"{1-2-3}", u"{12345678-ABCD-EF01-2345-6789ABCDEF0}", u"----"}) {
    EXPECT_EQ(ScanEntry(name, {{u"DisplayName", u"App"}}).DisplayName, u"App");
    machine.registry.RemoveKey(kUninstall64Path);
  }
}

TEST_F(ManagedEntry, ProductIsLookedUpInTheDefaultView) {
  SetTexts(kProductsPath + u"\\" + kPacked, {{u"ProductName", u"Product"}});
  const auto calls = CallsOf([&] { ScanEntry(kCode, {}); });
  EXPECT_THAT(calls,
              testing::Contains("RegOpenKeyExW(HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products, "
                                "\"87654321DCBA10FE32547698BADCFE10\", 0, 0x20019) = 0"));
}

/** @return each read in order, as "last name of the key: value" */
std::vector<std::string> ReadsAmong(const std::vector<std::string>& calls) {
  std::vector<std::string> reads;
  for (const std::string& call : calls) {
    const bool isTime = call.starts_with("RegQueryInfoKeyW(");
    if (!isTime && !call.starts_with("RegQueryValueExW(")) continue;
    const std::string key = call.substr(0, call.find_first_of(",)"));
    const std::size_t quote = call.find('"');
    reads.push_back(key.substr(key.rfind('\\') + 1) + ": " +
                    (isTime ? "time" : call.substr(quote + 1, call.rfind('"') - quote - 1)));
  }
  return reads;
}

TEST_F(ManagedEntry, ValuesAreReadInOrder) {
  machine.registry.CreateKey(kProductsPath + u"\\" + kPacked);
  const std::string entry = "{12345678-ABCD-EF01-2345-6789ABCDEF01}: ";
  const std::string product = "87654321DCBA10FE32547698BADCFE10: ";
  EXPECT_THAT(ReadsAmong(CallsOf([&] {
                ScanEntry(kCode, {{u"DisplayName", u"App"}});
              })),
              ElementsAre(entry + "SystemComponent", entry + "WindowsInstaller", product + "ProductName",
                          product + "ProductIcon", entry + "DisplayName", entry + "DisplayVersion",
                          entry + "InstallLocation", entry + "InstallDate", entry + "time",
                          entry + "DisplayIcon", entry + "Publisher", entry + "UninstallString"));
}

TEST_F(ManagedEntry, NameAndIconAreReadEvenIfItsProductHasBoth) {
  SetTexts(kProductsPath + u"\\" + kPacked, {{u"ProductName", u"Product"}, {u"ProductIcon", u"product.ico"}});
  EXPECT_THAT(ReadsAmong(CallsOf([&] { ScanEntry(kCode, {}); })),
              testing::IsSupersetOf({"{12345678-ABCD-EF01-2345-6789ABCDEF01}: DisplayName",
                                     "{12345678-ABCD-EF01-2345-6789ABCDEF01}: DisplayIcon"}));
}

TEST_F(ManagedEntry, ValuesOfAPlainEntryAreReadInOrder) {
  SetTexts(kUninstall64Path + u"\\App", {{u"DisplayName", u"App"}, {u"UninstallString", u"u"}});
  const auto uninstall = OpenKey64(LocalMachineRoot(), UninstallKeyPath);
  Scan scan;
  scan.productsKey = OpenMachineKey(InstallerClassesPath);
  EXPECT_THAT(
      ReadsAmong(CallsOf([&] { ScanUninstallKey(uninstall.get(), scan); })),
      ElementsAre("App: SystemComponent", "App: WindowsInstaller", "App: ReleaseType", "App: DisplayVersion",
                  "App: DisplayName", "App: InstallLocation", "App: DisplayIcon", "App: InstallDate",
                  "App: time", "App: UninstallString", "App: ParentKeyName", "App: Publisher"));
}

}  // namespace
}  // namespace kestrelbay
