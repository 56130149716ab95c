// Removing registry entries, through the C interface.
#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "HostTest.h"

namespace tests {
namespace {

using testing::ElementsAre;

// Some characters remain for the name of the root.
constexpr std::size_t kLongestPathChars = 32'766 + 20;

const Values kShown = {{u"DisplayName", u"App"}, {u"UninstallString", u"u"}};

class EntryRemoval : public HostTest {
 protected:
  /**
   * Creates an entry that cannot be deleted by a path, because its deepest key is below a key whose path has
   * the maximal length. The command of the system opens each key from its parent.
   */
  KeyPath BottomlessEntry(const std::u16string& name) {
    const KeyPath entry = Entry(name, kShown);
    KeyPath deepest = entry;
    while (deepest.path.size() < kLongestPathChars) deepest.path += u"\\" + std::u16string(250, u'k');
    machine.CreateKey(deepest);
    return entry;
  }
  std::vector<std::string> MessagesOfCommand() const {
    return {"enter DeleteAppRegistryInfo", "find registry of App.", "delete registry by cmd successful."};
  }
};

TEST_F(EntryRemoval, AnEntryOf64BitsIsDeletedWithItsSubkeys) {
  const KeyPath entry = Entry(u"App", kShown);
  machine.CreateKey({entry.path + u"\\One\\Deep", View::Bits64});
  machine.CreateKey({entry.path + u"\\Two", View::Bits64});
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_FALSE(machine.HasKey(entry));
  EXPECT_THAT(log.Messages(), ElementsAre("enter DeleteAppRegistryInfo", "find registry of App."));
}

TEST_F(EntryRemoval, AnEntryThatCannotBeDeletedGoesToTheRegCommand) {
  const KeyPath entry = BottomlessEntry(u"App");
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_EQ(log.Messages(), MessagesOfCommand());
  // Waits for the effect of the command, because nothing reports its end.
  while (machine.HasKey(entry)) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(EntryRemoval, TheCommandReceivesTheKeyWithoutQuotes) {
  const KeyPath entry = BottomlessEntry(u"My App");
  machine.Enter(machine.Folder());
  const std::u16string command = machine.CurrentDirectory() + u"\\reg.exe";
  machine.MakeProgram(command);
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  machine.WaitForProgram(command);
  EXPECT_EQ(machine.ParametersOf(command), u"delete " + kUninstall + u"\\My App /f");
  EXPECT_TRUE(machine.HasKey(entry));
  EXPECT_EQ(log.Messages(), MessagesOfCommand());
}

TEST_F(EntryRemoval, AnEntryOf32BitsCountsAsDeletedAndStays) {
  const KeyPath entry = Entry(u"App", kShown, View::Bits32);
  // The library deletes the key of this path in the other view. One of others is a reason not to run.
  machine.DeleteKey({entry.path, View::Bits64});
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_TRUE(machine.HasKey(entry));
  EXPECT_THAT(Names(), ElementsAre("App"));
}

TEST_F(EntryRemoval, ForAnEntryOf32BitsTheKeyOfItsPathIn64BitsIsDeleted) {
  const KeyPath entry = Entry(u"App", kShown, View::Bits32);
  const KeyPath other = Entry(u"App", {});
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_TRUE(machine.HasKey(entry));
  EXPECT_FALSE(machine.HasKey(other));
}

TEST_F(EntryRemoval, AnEntryOfAUserCountsAsDeletedAndStays) {
  const KeyPath entry = UserEntry(u"App", kShown);
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_TRUE(machine.HasKey(entry));
}

TEST_F(EntryRemoval, AnUnknownNameIsLogged) {
  Entry(u"App", kShown);
  EXPECT_FALSE(DeleteAppRegistryInfo("app"));
  EXPECT_THAT(log.Messages(), ElementsAre("enter DeleteAppRegistryInfo",
                                          "delete registry failed, the registry is not exist."));
  EXPECT_THAT(Names(), ElementsAre("App"));
}

TEST_F(EntryRemoval, EachCallDeletesOneOfTwoEntriesOfOneName) {
  Entry(u"KeyA", kShown);
  Entry(u"KeyB", kShown);
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_THAT(Names(), ElementsAre("App"));
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(EntryRemoval, ANameOutsideLatin1LeavesItsLogRecordEmpty) {
  const KeyPath entry = Entry(u"\u65e5", {{u"DisplayName", u"\u65e5"}, {u"UninstallString", u"u"}});
  EXPECT_TRUE(DeleteAppRegistryInfo("\u65e5"));
  EXPECT_FALSE(machine.HasKey(entry));
  EXPECT_THAT(log.Messages(), ElementsAre("enter DeleteAppRegistryInfo", ""));
}

}  // namespace
}  // namespace tests
