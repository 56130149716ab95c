#include "explain/Explanation.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "base/LoadTimeObjects.h"
#include "inventory/InstalledApps.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

const std::u16string kCode = u"{12345678-ABCD-EF01-2345-6789ABCDEF01}";
const std::u16string kPacked = u"87654321DCBA10FE32547698BADCFE10";
const std::u16string kHive = u"HKEY_USERS\\S-1-5-21-1\\";
/** The products of the user of this hive. */
const std::u16string kProducts = kHive + u"Software\\Microsoft\\Installer\\Products\\";
/** The hive of the current user, which is listed last. */
constexpr std::string_view kOwnHive = "S-1-5-21-1000000001-";
const std::string kUninstall = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

class Explained : public OnMachine {
 protected:
  Explained() { machine.registry.CreateKey(kProductsPath); }

  void AddEntry(const std::u16string& name, const Texts& values) {
    SetTexts(kUninstall64Path + u"\\" + name, values);
  }

  void AddApp(const std::u16string& root, const std::u16string& name, const Texts& more = {}) {
    SetTexts(root + u"\\" + name, {{u"DisplayName", u"App"}, {u"UninstallString", u"u.exe"}});
    SetTexts(root + u"\\" + name, more);
  }

  /** @return the explanation of the first entry of that name in the view */
  const ExplainedKey& Entry(const std::string& name, std::optional<RegistryView> view = {}) {
    explanation = ExplainInstalledApps();
    const auto found = std::ranges::find_if(explanation.keys, [&](const ExplainedKey& key) {
      return key.name == name && (!view || key.view == *view);
    });
    EXPECT_NE(found, explanation.keys.end()) << name;
    return found == explanation.keys.end() ? none : *found;
  }

  Verdict VerdictOf(const std::u16string& name, const Texts& values) {
    AddEntry(name, values);
    return Entry(std::string(name.begin(), name.end())).verdict;
  }

  const ExplainedField& Field(AppField field, std::size_t record = 0) const {
    return explanation.records.at(record).fields[static_cast<std::size_t>(field)];
  }

  Explanation explanation;
  const ExplainedKey none;
};

TEST_F(Explained, EachFilterHasItsVerdict) {
  const Texts app = {{u"DisplayName", u"App"}, {u"UninstallString", u"u"}};
  const auto with = [&](const char16_t* name, const std::u16string& text) {
    Texts values = app;
    values.emplace_back(name, text);
    return values;
  };
  EXPECT_EQ(VerdictOf(u"a", app), Verdict::Accepted);
  EXPECT_EQ(VerdictOf(u"b", with(u"SystemComponent", u"1")), Verdict::SystemComponent);
  EXPECT_EQ(VerdictOf(u"c", {{u"DisplayName", u"App"}}), Verdict::NoUninstallString);
  EXPECT_EQ(VerdictOf(u"d", {{u"UninstallString", u"u"}}), Verdict::NoName);
  EXPECT_EQ(VerdictOf(u"e", with(u"Publisher", ExcludedPublisher)), Verdict::PublisherExcluded);
  EXPECT_EQ(VerdictOf(u"KB123456", app), Verdict::KnowledgeBaseName);
  EXPECT_EQ(VerdictOf(u"g", with(u"ParentKeyName", u"x")), Verdict::HasParent);
  EXPECT_EQ(VerdictOf(u"h", with(u"ReleaseType", u"Hotfix")), Verdict::UpdateRelease);
  EXPECT_EQ(VerdictOf(u"i", {{u"WindowsInstaller", u"1"}}), Verdict::NoName);
  EXPECT_EQ(VerdictOf(u"j", {{u"WindowsInstaller", u"1"}, {u"DisplayName", u"App"}}), Verdict::Accepted);
}

// An entry that every rule rejects is corrected step by step. At each step the next rule is the first that
// rejects it.
TEST_F(Explained, PlainEntryIsRejectedByTheFirstRuleThatApplies) {
  AddEntry(u"KB123456", {{u"SystemComponent", u"1"},
                         {u"Publisher", ExcludedPublisher},
                         {u"ParentKeyName", u"x"},
                         {u"ReleaseType", u"Hotfix"}});
  EXPECT_EQ(VerdictOf(u"KB123456", {}), Verdict::SystemComponent);
  EXPECT_EQ(VerdictOf(u"KB123456", {{u"SystemComponent", u"0"}}), Verdict::NoUninstallString);
  EXPECT_EQ(VerdictOf(u"KB123456", {{u"UninstallString", u"u"}}), Verdict::NoName);
  EXPECT_EQ(VerdictOf(u"KB123456", {{u"DisplayName", u"App"}}), Verdict::PublisherExcluded);
  EXPECT_EQ(VerdictOf(u"KB123456", {{u"Publisher", u"Other"}}), Verdict::KnowledgeBaseName);
  AddApp(kUninstall64Path, u"a", {{u"ParentKeyName", u"x"}, {u"ReleaseType", u"Hotfix"}});
  EXPECT_EQ(VerdictOf(u"a", {}), Verdict::HasParent);
  EXPECT_EQ(VerdictOf(u"a", {{u"ParentKeyName", u""}}), Verdict::UpdateRelease);
  EXPECT_EQ(VerdictOf(u"a", {{u"ReleaseType", u""}}), Verdict::Accepted);
}

TEST_F(Explained, ManagedEntryIsRejectedByTheFirstRuleThatApplies) {
  AddEntry(kCode,
           {{u"WindowsInstaller", u"1"}, {u"SystemComponent", u"1"}, {u"Publisher", ExcludedPublisher}});
  EXPECT_EQ(VerdictOf(kCode, {}), Verdict::SystemComponent);
  EXPECT_EQ(VerdictOf(kCode, {{u"SystemComponent", u"0"}}), Verdict::NoName);
  EXPECT_EQ(VerdictOf(kCode, {{u"DisplayName", u"App"}}), Verdict::PublisherExcluded);
  EXPECT_EQ(VerdictOf(kCode, {{u"Publisher", u"Other"}}), Verdict::Accepted);
}

TEST_F(Explained, UserProductIsRejectedByTheFirstRuleThatApplies) {
  const std::u16string properties =
      kUserData64Path + u"\\S-1-5-21-1\\Products\\" + kPacked + u"\\InstallProperties";
  machine.registry.CreateKey(kProducts + kPacked);
  SetTexts(properties, {{u"SystemComponent", u"1"}, {u"Publisher", ExcludedPublisher}});
  const auto verdictWith = [&](const Texts& values) {
    SetTexts(properties, values);
    return Entry(std::string(kPacked.begin(), kPacked.end()), k64BitView).branches.at(0).verdict;
  };
  EXPECT_EQ(verdictWith({}), Verdict::SystemComponent);
  EXPECT_EQ(verdictWith({{u"SystemComponent", u"0"}}), Verdict::NoName);
  EXPECT_EQ(verdictWith({{u"DisplayName", u"App"}}), Verdict::PublisherExcluded);
  EXPECT_EQ(verdictWith({{u"Publisher", u"Other"}}), Verdict::Accepted);
}

TEST_F(Explained, KeysAreInTheOrderOfTheScan) {
  AddApp(kUninstall32Path, u"Narrow");
  AddApp(kUninstall64Path, u"Wide");
  machine.registry.CreateKey(kHive + u"Software");
  explanation = ExplainInstalledApps();
  std::vector<std::string> keys;
  std::vector<ScanRoot> scanRoots;
  for (const ExplainedKey& key : explanation.keys) {
    if (key.key.path.starts_with(kOwnHive)) continue;
    EXPECT_EQ(key.view, key.key.view);
    keys.push_back(key.key.root + '\\' + key.key.path + ' ' + std::to_string(key.view));
    scanRoots.push_back(key.place);
  }
  EXPECT_THAT(keys, ElementsAre("HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products 0",
                                "HKEY_LOCAL_MACHINE\\" + kUninstall + " 1",
                                "HKEY_LOCAL_MACHINE\\" + kUninstall + "\\Narrow 1",
                                "HKEY_LOCAL_MACHINE\\" + kUninstall + " 2",
                                "HKEY_LOCAL_MACHINE\\" + kUninstall + "\\Wide 2",
                                "HKEY_USERS\\S-1-5-21-1\\" + kUninstall + " 0",
                                "HKEY_USERS\\S-1-5-21-1\\Software\\Microsoft\\Installer\\Products 0"));
  EXPECT_THAT(scanRoots, ElementsAre(ScanRoot::InstallerProducts, ScanRoot::UninstallKey,
                                     ScanRoot::UninstallKey, ScanRoot::UninstallKey, ScanRoot::UninstallKey,
                                     ScanRoot::UninstallKey, ScanRoot::UserProducts));
}

TEST_F(Explained, UserDataIsAScanRootInBothViewsBeforeTheProductsOfTheUser) {
  machine.registry.CreateKey(kProducts + kPacked);
  machine.registry.CreateKey(kUserData32Path);
  explanation = ExplainInstalledApps();
  const auto first = std::ranges::find(explanation.keys, ScanRoot::UserData, &ExplainedKey::place);
  ASSERT_LT(2, explanation.keys.end() - first);
  EXPECT_EQ(first[0].key.path, "Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData");
  EXPECT_EQ(first[0].view, k32BitView);
  EXPECT_EQ(first[0].fate, Fate::Searched);
  EXPECT_EQ(first[0].verdict, Verdict::Accepted);
  EXPECT_EQ(first[1].place, ScanRoot::UserData);
  EXPECT_EQ(first[1].view, k64BitView);
  EXPECT_EQ(first[1].fate, Fate::Unread);
  EXPECT_EQ(first[1].verdict, Verdict::Unopened);
  EXPECT_EQ(first[1].status, 2);
  EXPECT_TRUE(first[2].isEntry);
}

TEST(ExplainedWithoutProducts, MissingProductsKeyEndsTheScan) {
  simulated::Machine& bare = simulated::UseMachine(std::make_unique<simulated::Machine>());
  bare.registry.SetText(kUninstall64Path + u"\\a", u"DisplayName", u"App");
  const Explanation explanation = ExplainInstalledApps();
  ASSERT_EQ(explanation.keys.size(), 1U);
  EXPECT_EQ(explanation.keys[0].place, ScanRoot::InstallerProducts);
  EXPECT_EQ(explanation.keys[0].fate, Fate::Unread);
  EXPECT_EQ(explanation.keys[0].status, 2);
}

TEST_F(Explained, HiveWithoutThePathIsUnread) {
  explanation = ExplainInstalledApps();
  const ExplainedKey& last = explanation.keys.back();
  EXPECT_TRUE(last.key.path.starts_with(kOwnHive));
  EXPECT_EQ(last.place, ScanRoot::UserProducts);
  EXPECT_FALSE(last.isEntry);
  EXPECT_EQ(last.fate, Fate::Unread);
  EXPECT_EQ(last.status, 2);
}

TEST_F(Explained, EntryThatCannotBeOpenedHasTheError) {
  AddApp(kUninstall64Path, u"a");
  machine.registry.Deny(kUninstall64Path + u"\\a", kAllReading);
  const ExplainedKey& key = Entry("a");
  EXPECT_EQ(key.fate, Fate::Unread);
  EXPECT_EQ(key.verdict, Verdict::Unopened);
  EXPECT_EQ(key.status, 5);
}

TEST_F(Explained, ValuesHaveTheirTypeAndSize) {
  AddApp(kUninstall64Path, u"a", {{u"DisplayVersion", std::u16string(300, u'x')}});
  SetBytes(kUninstall64Path + u"\\a", u"InstallDate", 3, {1, 2, 3});
  const ExplainedKey& key = Entry("a");
  const auto found = [&](const char* name) {
    return std::ranges::find(key.values, name, &ExplainedValue::name)->found;
  };
  EXPECT_EQ(found("DisplayVersion").status, 234);
  EXPECT_GE(found("DisplayVersion").bytes, 600U);
  EXPECT_EQ(found("InstallDate").status, 0);
  EXPECT_EQ(found("InstallDate").type, 3U);
  EXPECT_EQ(found("InstallLocation").status, 2);
}

TEST_F(Explained, NameAndIconOfAManagedEntryComeFromItsProductKey) {
  SetTexts(kProductsPath + u"\\" + kPacked, {{u"ProductName", u"Product"}});
  AddEntry(kCode, {{u"WindowsInstaller", u"1"}, {u"DisplayName", u"App"}, {u"DisplayIcon", u"a.ico"}});
  const ExplainedKey& key = Entry(std::string(kCode.begin(), kCode.end()));
  EXPECT_EQ(key.fate, Fate::Listed);
  ASSERT_EQ(key.opens.size(), 2U);
  EXPECT_EQ(Field(AppField::DisplayName).text, "Product");
  EXPECT_EQ(Field(AppField::DisplayName).source->value, "ProductName");
  EXPECT_EQ(Field(AppField::DisplayName).source->key.path, key.opens[1].key.path);
  EXPECT_EQ(Field(AppField::DisplayIcon).source->value, "DisplayIcon");
  EXPECT_EQ(Field(AppField::DisplayIcon).source->key.path, key.key.path);
}

TEST_F(Explained, MergedRecordHasTheSourcesOfBothEntries) {
  SetTexts(kUninstall32Path + u"\\First",
           {{u"DisplayName", u"App"}, {u"UninstallString", u"u.exe"}, {u"InstallLocation", u"C:\\App"}});
  SetTexts(kHive + u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Second",
           {{u"DisplayName", u"App"}, {u"WindowsInstaller", u"1"}, {u"DisplayVersion", u"2"}});
  const ExplainedKey& first = Entry("First");
  ASSERT_EQ(first.fate, Fate::Merged);
  const ExplainedKey& second = explanation.keys.at(*first.mergedInto);
  EXPECT_EQ(second.name, "Second");
  EXPECT_EQ(second.fate, Fate::Listed);
  EXPECT_EQ(&explanation.keys.at(*second.earlier), &first);
  EXPECT_FALSE(second.agreement.disagreement);
  EXPECT_EQ(Field(AppField::InstallLocation).source->key.path, first.key.path);
  EXPECT_EQ(Field(AppField::UninstallString).source->key.path, first.key.path);
  EXPECT_EQ(Field(AppField::RegistryKey).source->key.path, first.key.path);
  EXPECT_EQ(Field(AppField::Architecture).source->key.view, 1);
  EXPECT_EQ(Field(AppField::DisplayVersion).source->key.path, second.key.path);
  EXPECT_EQ(Field(AppField::LastWriteTime).source->key.path, second.key.path);
}

TEST_F(Explained, RecordsThatDisagreeNameTheFieldAndKeepTheTakenFields) {
  AddApp(kUninstall64Path, u"1", {{u"InstallLocation", u"C:\\App"}, {u"DisplayVersion", u"1"}});
  AddApp(kUninstall64Path, u"2", {{u"DisplayVersion", u"2"}});
  const ExplainedKey& second = Entry("2");
  EXPECT_EQ(explanation.records.size(), 2U);
  EXPECT_EQ(second.agreement.disagreement, AppField::DisplayVersion);
  EXPECT_TRUE(second.agreement.filled[static_cast<std::size_t>(AppField::InstallLocation)]);
  EXPECT_EQ(explanation.keys.at(*second.earlier).name, "1");
  EXPECT_EQ(explanation.keys.at(*second.earlier).fate, Fate::Listed);
  EXPECT_TRUE(Field(AppField::InstallLocation, 1).source->key.path.ends_with("\\1"));
}

TEST_F(Explained, EntryRejectedBeforeItsNameIsReadHasAName) {
  AddApp(kUninstall64Path, u"a", {{u"SystemComponent", u"1"}});
  const ExplainedKey& key = Entry("a");
  EXPECT_EQ(key.displayName, "App");
  EXPECT_EQ(key.values.size(), 1U);
}

TEST_F(Explained, UserProductHasEachSearchedBranch) {
  const std::u16string products = u"\\Products\\" + kPacked + u"\\InstallProperties";
  SetTexts(kProducts + kPacked, {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(kUserData64Path + u"\\S-1-5-18" + products);
  SetTexts(kUserData64Path + u"\\S-1-5-21-1" + products, {{u"SystemComponent", u"1"}});
  machine.registry.CreateKey(kUserData64Path + u"\\S-1-5-21-2");
  SetTexts(kUserData64Path + u"\\S-1-5-21-3" + products, {{u"Publisher", ExcludedPublisher}});
  SetTexts(kUserData64Path + u"\\S-1-5-21-4" + products, {{u"DisplayVersion", u"4"}});
  const ExplainedKey& key = Entry(std::string(kPacked.begin(), kPacked.end()), k64BitView);
  EXPECT_EQ(key.fate, Fate::Listed);
  std::vector<Verdict> verdicts;
  std::ranges::transform(key.branches, std::back_inserter(verdicts), &ExplainedBranch::verdict);
  EXPECT_THAT(verdicts, ElementsAre(Verdict::MachineBranch, Verdict::SystemComponent, Verdict::BranchUnopened,
                                    Verdict::PublisherExcluded, Verdict::Accepted));
  EXPECT_TRUE(Field(AppField::DisplayVersion).source->key.path.find("S-1-5-21-4") != std::string::npos);
}

TEST_F(Explained, UserProductIsLeftOutWithTheReasonOfEachBranch) {
  const std::u16string own = kProducts + kPacked;
  const auto branch = [](const std::u16string& sid) {
    return kUserData64Path + u'\\' + sid + u"\\Products\\";
  };
  SetTexts(own, {{u"ProductName", u"Product"}});
  machine.registry.Deny(own, kAllReading);
  machine.registry.CreateKey(branch(u"1") + u"00000000000000000000000000000000");
  machine.registry.CreateKey(branch(u"2") + kPacked);
  SetTexts(branch(u"3") + kPacked + u"\\InstallProperties", {{u"DisplayName", u"App"}});
  const ExplainedKey& key = Entry(std::string(kPacked.begin(), kPacked.end()), k64BitView);
  EXPECT_EQ(key.fate, Fate::LeftOut);
  EXPECT_EQ(key.verdict, Verdict::InNoBranch);
  EXPECT_EQ(key.displayName, "");
  std::vector<std::pair<std::string, Verdict>> branches;
  for (const ExplainedBranch& judged : key.branches) branches.emplace_back(judged.sid, judged.verdict);
  EXPECT_THAT(branches,
              ElementsAre(std::pair("1", Verdict::NotInBranch), std::pair("2", Verdict::PropertiesUnopened),
                          std::pair("3", Verdict::ProductKeyUnopened)));
}

TEST_F(Explained, UserProductHasThePlaceOfItsHiveAndTheViewOfUserData) {
  SetTexts(kProducts + kPacked, {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(kUserData64Path);
  const ExplainedKey& key = Entry(std::string(kPacked.begin(), kPacked.end()), k64BitView);
  EXPECT_EQ(key.place, ScanRoot::UserProducts);
  EXPECT_EQ(key.key.root, "HKEY_USERS");
  EXPECT_EQ(key.key.path, "S-1-5-21-1\\Software\\Microsoft\\Installer\\Products\\" +
                              std::string(kPacked.begin(), kPacked.end()));
  EXPECT_EQ(key.key.view, kDefaultView);
  EXPECT_EQ(key.displayName, "Product");
  EXPECT_EQ(key.fate, Fate::LeftOut);
  EXPECT_EQ(key.verdict, Verdict::InNoBranch);
  EXPECT_TRUE(key.branches.empty());
}

TEST_F(Explained, UserProductIsUnreadInAViewWithoutUserData) {
  SetTexts(kProducts + kPacked, {{u"ProductName", u"Product"}});
  machine.registry.CreateKey(kUserData64Path);
  const ExplainedKey& key = Entry(std::string(kPacked.begin(), kPacked.end()), k32BitView);
  EXPECT_EQ(key.place, ScanRoot::UserProducts);
  EXPECT_EQ(key.fate, Fate::Unread);
  EXPECT_EQ(key.verdict, Verdict::UserDataUnopened);
  EXPECT_EQ(key.displayName, "Product");
  EXPECT_TRUE(key.opens.empty());
}

TEST_F(Explained, AnObserverDoesNotChangeTheScan) {
  SetTexts(kProductsPath + u"\\" + kPacked, {{u"ProductName", u"Product"}});
  AddApp(kUninstall32Path, u"a");
  AddApp(kUninstall64Path, u"b");
  AddEntry(kCode, {{u"WindowsInstaller", u"1"}});
  const auto registryCalls = [&](const std::function<void()>& action) {
    std::vector<std::string> calls = CallsOf(action);
    std::erase_if(calls, [](const std::string& call) { return !call.starts_with("Reg"); });
    return calls;
  };
  EXPECT_EQ(registryCalls([] { ExplainInstalledApps(); }), registryCalls([] { ScanInstalledApps(); }));
}

}  // namespace
}  // namespace kestrelbay
