// Removing registry entries, through the C interface.
#include <gmock/gmock.h>

#include "HostTest.h"

namespace tests {
namespace {

using testing::ElementsAre;

const Values kShown = {{u"DisplayName", u"App"}, {u"UninstallString", u"u"}};

class Removal : public HostTest {};

TEST_F(Removal, AnEntryOf64BitsGoesWithAllBelowIt) {
  const KeyPath entry = Entry(u"App", kShown);
  machine.CreateKey({entry.path + u"\\One\\Deep", View::Bits64});
  machine.CreateKey({entry.path + u"\\Two", View::Bits64});
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_FALSE(machine.HasKey(entry));
  EXPECT_THAT(log.Messages(), ElementsAre("enter DeleteAppRegistryInfo", "find registry of App."));
}

TEST_F(Removal, AnEntryOf32BitsCountsAsGoneAndStays) {
  const KeyPath entry = Entry(u"App", kShown, View::Bits32);
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_TRUE(machine.HasKey(entry));
  EXPECT_THAT(Names(), ElementsAre("App"));
}

TEST_F(Removal, ForAnEntryOf32BitsAKeyOfThatPathIn64BitsGoesInstead) {
  const KeyPath entry = Entry(u"App", kShown, View::Bits32);
  const KeyPath other = Entry(u"App", {});
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_TRUE(machine.HasKey(entry));
  EXPECT_FALSE(machine.HasKey(other));
}

TEST_F(Removal, AnEntryOfAUserCountsAsGoneAndStays) {
  const KeyPath entry = UserEntry(u"App", kShown);
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_TRUE(machine.HasKey(entry));
}

TEST_F(Removal, AnUnknownNameIsTold) {
  Entry(u"App", kShown);
  EXPECT_FALSE(DeleteAppRegistryInfo("app"));
  EXPECT_THAT(log.Messages(), ElementsAre("enter DeleteAppRegistryInfo",
                                          "delete registry failed, the registry is not exist."));
  EXPECT_THAT(Names(), ElementsAre("App"));
}

TEST_F(Removal, OfTwoEntriesOfOneNameOneGoesAtATime) {
  Entry(u"KeyA", kShown);
  Entry(u"KeyB", kShown);
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_THAT(Names(), ElementsAre("App"));
  EXPECT_TRUE(DeleteAppRegistryInfo("App"));
  EXPECT_THAT(Names(), ElementsAre());
}

TEST_F(Removal, ANameBeyondLatinLettersLeavesItsLineEmpty) {
  const KeyPath entry = Entry(u"\u65e5", {{u"DisplayName", u"\u65e5"}, {u"UninstallString", u"u"}});
  EXPECT_TRUE(DeleteAppRegistryInfo("\u65e5"));
  EXPECT_FALSE(machine.HasKey(entry));
  EXPECT_THAT(log.Messages(), ElementsAre("enter DeleteAppRegistryInfo", ""));
}

}  // namespace
}  // namespace tests
