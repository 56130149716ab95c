#include "inventory/RegistryEntryRemoval.h"

#include <gmock/gmock.h>

#include "LogText.h"
#include "inventory/InstalledApps.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

constexpr platform::DWORD kDelete = 0x10000;
const char* const kNotFoundLine =
    "InstalledApps 5 DeleteAppRegistryInfo: delete registry failed, the registry is not exist.";
const char* const kStartedLine = "InstalledApps 3 DeleteAppRegistryInfo: delete registry by cmd successful.";
const char* const kNotStartedLine = "InstalledApps 3 DeleteAppRegistryInfo: delete registry by cmd failed.";
const char* const kFoundLine = "InstalledApps 3 DeleteAppRegistryInfo: find registry of App.";

class EntryRemoval : public OnMachine {
 protected:
  EntryRemoval() { machine.registry.CreateKey(kProductsPath); }
  ~EntryRemoval() override { machine.programs.WaitForAll(); }

  /** Creates an entry that is listed. @return its whole path */
  std::u16string AddEntry(const std::u16string& parent, const std::u16string& key,
                          const std::u16string& name = u"App") {
    const std::u16string path = parent + u"\\" + key;
    SetTexts(path, {{u"DisplayName", name}, {u"UninstallString", u"u"}});
    return path;
  }
  bool IsThere(const std::u16string& path) { return machine.registry.Find(path) != nullptr; }
  /** @return the parameters of each started command */
  std::vector<std::u16string> Commands() const {
    std::vector<std::u16string> commands;
    for (const auto& start : machine.programs.Starts()) {
      EXPECT_TRUE(start.path.ends_with(u"reg.exe"));
      commands.push_back(start.parameters);
    }
    return commands;
  }

  LogCapture log;
};

TEST_F(EntryRemoval, AnUnknownNameIsLogged) {
  AddEntry(kUninstall64Path, u"App");
  EXPECT_FALSE(DeleteAppRegistryInfo(u"Other"));
  EXPECT_THAT(TextOf(log), ElementsAre(kNotFoundLine));
}

TEST_F(EntryRemoval, ANameInOtherCaseIsUnknown) {
  const std::u16string entry = AddEntry(kUninstall64Path, u"App");
  EXPECT_FALSE(DeleteAppRegistryInfo(u"app"));
  EXPECT_FALSE(DeleteAppRegistryInfo(u"App "));
  EXPECT_FALSE(DeleteAppRegistryInfo(u""));
  EXPECT_TRUE(IsThere(entry));
}

TEST_F(EntryRemoval, AnEntryThatIsNotListedCannotBeRemoved) {
  const std::u16string entry = AddEntry(kUninstall64Path, u"App");
  machine.registry.SetNumber(entry, u"SystemComponent", 1);
  EXPECT_FALSE(DeleteAppRegistryInfo(u"App"));
  EXPECT_TRUE(IsThere(entry));
}

TEST_F(EntryRemoval, AnEntryOf64BitsIsDeletedWithItsSubkeys) {
  const std::u16string entry = AddEntry(kUninstall64Path, u"App");
  machine.registry.CreateKey(entry + u"\\One\\Deep");
  machine.registry.CreateKey(entry + u"\\Two");
  EXPECT_TRUE(DeleteAppRegistryInfo(u"App"));
  EXPECT_FALSE(IsThere(entry));
  EXPECT_TRUE(IsThere(kUninstall64Path));
  EXPECT_THAT(TextOf(log), ElementsAre(kFoundLine));
  EXPECT_THAT(Commands(), ElementsAre());
}

TEST_F(EntryRemoval, ChildrenAreDeletedDepthFirstAndTheKeyLast) {
  const std::u16string entry = AddEntry(kUninstall64Path, u"App");
  machine.registry.CreateKey(entry + u"\\One\\Deep");
  std::vector<std::string> deleted;
  for (const std::string& call : CallsOf([] { DeleteAppRegistryInfo(u"App"); })) {
    if (call.starts_with("RegDeleteKeyW") && call.ends_with(" = 0")) deleted.push_back(call);
  }
  ASSERT_EQ(deleted.size(), 3U);
  EXPECT_THAT(deleted[0], testing::HasSubstr("Uninstall\\App\\One\\Deep\""));
  EXPECT_THAT(deleted[1], testing::HasSubstr("Uninstall\\App\\One\""));
  EXPECT_THAT(deleted[2], testing::HasSubstr("Uninstall\\App\""));
}

TEST_F(EntryRemoval, AnEntryOf64BitsWithoutTheRightGoesToTheCommand) {
  const std::u16string entry = AddEntry(kUninstall64Path, u"App");
  machine.registry.Deny(entry, kDelete);
  const auto calls = CallsOf([] { EXPECT_TRUE(DeleteAppRegistryInfo(u"App")); });
  EXPECT_THAT(Commands(), ElementsAre(u"delete HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\"
                                      u"CurrentVersion\\Uninstall\\App /f"));
  EXPECT_TRUE(machine.programs.Starts()[0].elevated);
  EXPECT_THAT(calls,
              testing::Contains(testing::MatchesRegex(
                  "ShellExecuteExW.112, 0x40, null, \"runas\", \"reg\", \"delete .*\", null, 0. = 1")));
  EXPECT_THAT(TextOf(log), ElementsAre(kFoundLine, kStartedLine));
}

TEST_F(EntryRemoval, ACommandThatIsRefusedIsAFailure) {
  machine.registry.Deny(AddEntry(kUninstall64Path, u"App"), kDelete);
  machine.elevationGranted = false;
  EXPECT_FALSE(DeleteAppRegistryInfo(u"App"));
  EXPECT_THAT(TextOf(log), ElementsAre(kFoundLine, kNotStartedLine));
}

TEST_F(EntryRemoval, ACommandWithoutAProcessIsAFailure) {
  machine.registry.Deny(AddEntry(kUninstall64Path, u"App"), kDelete);
  machine.programs.Set(u"reg.exe", {.givesHandle = false});
  EXPECT_FALSE(DeleteAppRegistryInfo(u"App"));
  EXPECT_THAT(TextOf(log), ElementsAre(kFoundLine, kNotStartedLine));
  EXPECT_EQ(machine.programs.Starts().size(), 1U);
}

TEST_F(EntryRemoval, AnEntryOf32BitsCountsAsDeletedAndStays) {
  const std::u16string entry = AddEntry(kUninstall32Path, u"App");
  EXPECT_TRUE(DeleteAppRegistryInfo(u"App"));
  EXPECT_TRUE(IsThere(entry));
  EXPECT_THAT(TextOf(log), ElementsAre(kFoundLine));
  EXPECT_THAT(Commands(), ElementsAre());
}

TEST_F(EntryRemoval, ForAnEntryOf32BitsTheKeyOfItsPathIn64BitsIsDeleted) {
  const std::u16string entry = AddEntry(kUninstall32Path, u"App");
  machine.registry.CreateKey(kUninstall64Path + u"\\App");
  EXPECT_TRUE(DeleteAppRegistryInfo(u"App"));
  EXPECT_TRUE(IsThere(entry));
  EXPECT_FALSE(IsThere(kUninstall64Path + u"\\App"));
}

TEST_F(EntryRemoval, AnEntryOfAUserCountsAsDeletedAndStays) {
  const std::u16string entry =
      AddEntry(u"HKEY_USERS\\S-1-5-21-1\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall", u"App");
  EXPECT_TRUE(DeleteAppRegistryInfo(u"App"));
  EXPECT_TRUE(IsThere(entry));
  EXPECT_THAT(TextOf(log), ElementsAre(kFoundLine));
}

TEST_F(EntryRemoval, AKeyThatCanNeitherBeDeletedNorOpenedCountsAsDeleted) {
  const std::u16string entry = AddEntry(kUninstall64Path, u"App");
  // Reading is denied between the scan and the removal.
  machine.registry.Deny(entry, kDelete);
  std::size_t opens = 0;
  for (const std::string& call : CallsOf([&] { DeleteAppRegistryInfo(u"App"); })) {
    opens += call.starts_with("RegOpenKeyExW(");
    if (call.starts_with("RegDeleteKeyW(")) break;
  }
  machine.faults.FailNth(opens + 1, simulated::Faults::Extent::Once, "RegOpenKeyExW");
  const LogCapture own;
  EXPECT_TRUE(DeleteAppRegistryInfo(u"App"));
  EXPECT_TRUE(machine.faults.Fired());
  EXPECT_TRUE(IsThere(entry));
  EXPECT_THAT(TextOf(own), ElementsAre(kFoundLine));
}

TEST_F(EntryRemoval, AChildThatCannotBeDeletedKeepsItsLaterSiblings) {
  const std::u16string entry = AddEntry(kUninstall64Path, u"App");
  for (const char16_t* child : {u"\\A", u"\\B", u"\\C"}) machine.registry.CreateKey(entry + child);
  machine.registry.Deny(entry + u"\\B", kDelete);
  EXPECT_TRUE(DeleteAppRegistryInfo(u"App"));
  EXPECT_FALSE(IsThere(entry + u"\\A"));
  EXPECT_TRUE(IsThere(entry + u"\\B"));
  EXPECT_TRUE(IsThere(entry + u"\\C"));
  EXPECT_THAT(TextOf(log), ElementsAre(kFoundLine, kStartedLine));
}

TEST_F(EntryRemoval, ABlankInTheKeysNameIsNotQuoted) {
  const std::u16string entry = AddEntry(kUninstall64Path, u"My App", u"My App");
  machine.registry.Deny(entry, kDelete);
  EXPECT_TRUE(DeleteAppRegistryInfo(u"My App"));
  EXPECT_THAT(Commands(), ElementsAre(u"delete HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\"
                                      u"CurrentVersion\\Uninstall\\My App /f"));
  // The command refuses the two arguments.
  machine.programs.WaitForAll();
  EXPECT_TRUE(IsThere(entry));
}

TEST_F(EntryRemoval, OnlyTheFirstRecordOfANameIsRemoved) {
  for (const char16_t* key : {u"KeyB", u"KeyA", u"KeyC"}) AddEntry(kUninstall64Path, key);
  const auto listed = [] {
    const AppRecords apps = ScanInstalledApps();
    std::vector<std::u16string> keys;
    for (const AppRecord& app : apps) {
      keys.emplace_back(app.subKeyPath.substr(app.subKeyPath.rfind(u'\\') + 1));
    }
    return keys;
  };
  EXPECT_THAT(listed(), ElementsAre(u"KeyA", u"KeyB", u"KeyC"));
  EXPECT_TRUE(DeleteAppRegistryInfo(u"App"));
  EXPECT_THAT(listed(), ElementsAre(u"KeyB", u"KeyC"));
  EXPECT_TRUE(DeleteAppRegistryInfo(u"App"));
  EXPECT_THAT(listed(), ElementsAre(u"KeyC"));
}

TEST_F(EntryRemoval, ANameOutsideLatin1LeavesItsLogRecordEmpty) {
  AddEntry(kUninstall64Path, u"\u65e5", u"\u65e5");
  EXPECT_TRUE(DeleteAppRegistryInfo(u"\u65e5"));
  EXPECT_THAT(TextOf(log), ElementsAre("InstalledApps 3 DeleteAppRegistryInfo: "));
}

}  // namespace
}  // namespace kestrelbay
