// The whole list: its keys, the merge of records of one name, and its order.
#include <gmock/gmock.h>

#include "HostTest.h"

namespace tests {
namespace {

using kestrelbay::ReceivedEntry;
using testing::ElementsAre;
using testing::IsEmpty;

class Inventory : public HostTest {
 protected:
  std::vector<std::pair<std::string, int>> NamesAndArchitectures() {
    std::vector<std::pair<std::string, int>> found;
    for (const ReceivedEntry& entry : List()) found.emplace_back(entry.displayName, entry.architecture);
    return found;
  }

  static Values Named(const std::u16string& name, Values more = {}) {
    more.emplace_back(u"DisplayName", name);
    return more;
  }
  static Values Plain(const std::u16string& name, Values more = {}) {
    more.emplace_back(u"UninstallString", u"u.exe");
    return Named(name, std::move(more));
  }
};

TEST_F(Inventory, IsEmptyWithoutTheProductsKey) {
  Entry(u"App", Plain(u"App"));
  UserEntry(u"Own", Plain(u"Own"));
  machine.DeleteKey(kProducts);
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(Inventory, EmptyListIsAnArrayThatMustBeReleased) {
  RequireNoOthers();
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 7;
  GetInstalledAppList(&entries, &count, false);
  EXPECT_NE(entries, nullptr);
  EXPECT_EQ(count, 0U);
  ReleaseInstalledAppList(&entries, 0);
  EXPECT_EQ(entries, nullptr);
}

TEST_F(Inventory, SecondReleaseFreesNothing) {
  RequireNoOthers();
  Entry(u"A", Plain(u"App"));
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, false);
  ASSERT_EQ(count, 1U);
  ReleaseInstalledAppList(&entries, 1);
  ReleaseInstalledAppList(&entries, 1);
  EXPECT_EQ(entries, nullptr);
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetInstalledAppList", "enter ReleaseInstalledAppList",
                                          "enter ReleaseInstalledAppList"));
}

TEST_F(Inventory, CountOfZeroOrLessReleasesTheArrayAndNoText) {
  RequireNoOthers();
  Entry(u"A", Plain(u"App", {{u"InstallLocation", u"C:\\App"}}));
  for (const std::int32_t count : {0, -1, INT32_MIN}) {
    InstalledAppEntry* entries = nullptr;
    std::uint32_t listed = 0;
    GetInstalledAppList(&entries, &listed, false);
    ASSERT_EQ(listed, 1U);
    InstalledAppEntry texts = entries[0];
    ReleaseInstalledAppList(&entries, count);
    EXPECT_EQ(entries, nullptr);
    EXPECT_STREQ(texts.displayName, "App");
    EXPECT_STREQ(texts.installLocation, "C:\\App");
    // The texts still belong to the host. A text that was freed already ends the process here.
    for (char** text : {&texts.displayName, &texts.installLocation, &texts.displayVersion, &texts.displayIcon,
                        &texts.iconText, &texts.installDate, &texts.lastWriteTime}) {
      ReleaseDllStr(text);
    }
  }
}

TEST_F(Inventory, SameNameInBothViewsStaysTwoRecords) {
  Entry(u"App", Plain(u"App"), View::Bits32);
  Entry(u"App", Plain(u"App"), View::Bits64);
  EXPECT_THAT(NamesAndArchitectures(),
              testing::UnorderedElementsAre(testing::Pair("App", 1), testing::Pair("App", 2)));
}

TEST_F(Inventory, EntryOfAUserHasNoArchitecture) {
  UserEntry(u"Own", Plain(u"Own"));
  EXPECT_THAT(NamesAndArchitectures(), ElementsAre(testing::Pair("Own", 0)));
}

TEST_F(Inventory, TwoEntriesWithUninstallCommandsStayTwo) {
  Entry(u"A", Plain(u"App", {{u"DisplayVersion", u"1"}}));
  Entry(u"B", Plain(u"App", {{u"DisplayVersion", u"1"}}));
  EXPECT_THAT(Names(), ElementsAre("App", "App"));
}

TEST_F(Inventory, CommandThatEqualsTheEarlierVersionMerges) {
  Entry(u"A", Plain(u"App", {{u"DisplayVersion", u"u.exe"}}));
  Entry(u"B", Plain(u"App"));
  EXPECT_THAT(Names(), ElementsAre("App"));
}

TEST_F(Inventory, LaterEntryTakesMissingFieldsFromTheEarlier) {
  const KeyPath managed = Entry(u"A", Named(u"App", {{u"InstallLocation", u"C:\\App"}}));
  machine.SetNumber(managed, u"WindowsInstaller", 1);
  Entry(u"B", Plain(u"App", {{u"DisplayVersion", u"2"}, {u"InstallDate", u"20260101"}}));
  const std::vector<ReceivedEntry> list = List();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].installLocation, "C:\\App");
  EXPECT_EQ(list[0].displayVersion, "2");
  EXPECT_EQ(list[0].installDate, "20260101");
}

TEST_F(Inventory, FieldsTakenBeforeADisagreementStay) {
  Entry(u"A", Plain(u"App", {{u"InstallLocation", u"C:\\App"}, {u"DisplayVersion", u"1"}}));
  Entry(u"B", Plain(u"App", {{u"DisplayVersion", u"2"}}));
  const std::vector<ReceivedEntry> list = List();
  ASSERT_EQ(list.size(), 2U);
  for (const ReceivedEntry& entry : list) EXPECT_EQ(entry.installLocation, "C:\\App") << entry.displayVersion;
}

TEST_F(Inventory, NamesThatDifferInCaseDoNotMerge) {
  machine.SetNumber(Entry(u"A", Named(u"App")), u"WindowsInstaller", 1);
  machine.SetNumber(Entry(u"B", Named(u"APP")), u"WindowsInstaller", 1);
  EXPECT_EQ(Names().size(), 2U);
}

TEST_F(Inventory, IsSortedByNameIgnoringAsciiCase) {
  std::u16string key;
  for (const char16_t* name :
       {u"cherry", u"zeta2", u"Banana", u"\u00e4pfel", u"apple", u"Zeta", u"\u00c4pfel"}) {
    Entry(key += u'a', Plain(name));
  }
  EXPECT_THAT(Names(), ElementsAre("apple", "Banana", "cherry", "Zeta", "zeta2", "\u00c4pfel", "\u00e4pfel"));
}

TEST_F(Inventory, IconTextIsANormalizedPathForAnIconFileAndEmptyForAMissingExecutable) {
  Entry(u"A", Plain(u"File", {{u"DisplayIcon", u"\"C:\\\\Apps\\\\file.ico\",0"}}));
  Entry(u"B", Plain(u"Program", {{u"DisplayIcon", u"C:\\App\\app.exe,0"}}));
  Entry(u"C", Plain(u"Shouting", {{u"DisplayIcon", u" C:\\App\\APP.EXE "}}));
  for (const bool includeIcons : {false, true}) {
    const std::vector<ReceivedEntry> list = List(includeIcons);
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0].iconText, "C:\\Apps\\file.ico");
    EXPECT_EQ(list[1].iconText, "");
    EXPECT_EQ(list[1].displayIcon, "C:\\App\\app.exe,0");
    EXPECT_EQ(list[2].iconText, "C:\\App\\APP.EXE");
  }
}

TEST_F(Inventory, AsynchronousListIsReportedOnceAndEqualsTheSynchronousOne) {
  RequireNoOthers();
  Entry(u"A", Plain(u"A"));
  kestrelbay::ListReceiver receiver;
  GetInstalledAppListAsync(&kestrelbay::ListReceiver::Receive, false);
  const auto lists = receiver.WaitForLists(1);
  log.WaitFor("enter ReleaseInstalledAppList", 1);
  ASSERT_EQ(lists.size(), 1U);
  EXPECT_EQ(lists[0], List());
  EXPECT_FALSE(receiver.SawNull());
}

TEST_F(Inventory, AsynchronousEmptyListHasAnArray) {
  RequireNoOthers();
  kestrelbay::ListReceiver receiver;
  GetInstalledAppListAsync(&kestrelbay::ListReceiver::Receive, false);
  const auto lists = receiver.WaitForLists(1);
  ASSERT_EQ(lists.size(), 1U);
  EXPECT_THAT(lists[0], IsEmpty());
  EXPECT_FALSE(receiver.SawNull());
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetInstalledAppListAsync", "enter GetInstalledAppList",
                                          "enter ReleaseInstalledAppList"));
}

TEST_F(Inventory, IconRequestIsAnsweredOnceEvenForAnUnknownName) {
  Entry(u"A", Plain(u"File", {{u"DisplayIcon", u"C:\\file.ico"}}));
  for (const auto& [name, text] : {std::pair{"File", "C:\\file.ico"}, {"file", ""}, {"Unknown", ""}}) {
    kestrelbay::IconReceiver receiver;
    GetAppIconAsync(&kestrelbay::IconReceiver::Receive, name);
    EXPECT_THAT(receiver.WaitForTexts(1), ElementsAre(text)) << name;
  }
}

}  // namespace
}  // namespace tests
