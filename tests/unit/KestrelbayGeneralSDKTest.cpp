#include "KestrelbayGeneralSDK.h"

#include <gmock/gmock.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "HostCallbacks.h"
#include "OnMachine.h"
#include "simulated/InvalidParameter.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

class Exports : public OnMachine {
 protected:
  Exports() { machine.registry.CreateKey(kProductsPath); }

  void AddApp(const std::u16string& name, const Texts& more = {}) {
    SetTexts(kUninstall64Path + u"\\" + name, {{u"DisplayName", name}, {u"UninstallString", u"u"}});
    SetTexts(kUninstall64Path + u"\\" + name, more);
  }

  static std::vector<ReceivedEntry> List(bool includeIcons = false) {
    InstalledAppEntry* entries = nullptr;
    std::uint32_t count = 77;
    GetInstalledAppList(&entries, &count, includeIcons);
    EXPECT_NE(entries, nullptr);
    std::vector<ReceivedEntry> copies = CopyEntries(entries, static_cast<std::int32_t>(count));
    ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
    EXPECT_EQ(entries, nullptr);
    return copies;
  }

  LogCapture log;
};

TEST_F(Exports, EntryHasSevenTextsAndTheViewInThisOrder) {
  static_assert(offsetof(InstalledAppEntry, displayName) == 0);
  static_assert(offsetof(InstalledAppEntry, installLocation) == sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, displayVersion) == 2 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, displayIcon) == 3 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, iconText) == 4 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, installDate) == 5 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, lastWriteTime) == 6 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, architecture) == 7 * sizeof(char*));
  static_assert(sizeof(InstalledAppEntry) == 8 * sizeof(char*));
  AddApp(u"\u65e5\u672c App", {{u"InstallLocation", u"C:\\\u00e9"},
                               {u"DisplayVersion", u"1.0"},
                               {u"DisplayIcon", u"\"C:\\App\\a.ico\",0"},
                               {u"InstallDate", u"20240131"}});
  EXPECT_THAT(List(),
              ElementsAre(ReceivedEntry{"\u65e5\u672c App", "C:\\\u00e9", "1.0", "\"C:\\App\\a.ico\",0",
                                        "C:\\App\\a.ico", "20240131", "-11644473600000", 2}));
}

TEST_F(Exports, AbsentValuesAreEmptyTextsAndNeverNull) {
  AddApp(u"App");
  EXPECT_THAT(List(), ElementsAre(ReceivedEntry{"App", "", "", "", "", "", "-11644473600000", 2}));
}

TEST_F(Exports, RawIconReachesTheHostWithoutItsPicture) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\App\\app.exe,0"}});
  const auto entries = List(false);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].displayIcon, "C:\\App\\app.exe,0");
  EXPECT_EQ(entries[0].iconText, "");
}

TEST_F(Exports, ListsAreInSortedOrder) {
  for (const char16_t* name : {u"cherry", u"Banana", u"apple"}) AddApp(name);
  const auto entries = List();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].displayName, "apple");
  EXPECT_EQ(entries[1].displayName, "Banana");
  EXPECT_EQ(entries[2].displayName, "cherry");
}

TEST_F(Exports, EmptyListIsAValidArrayThatIsReleased) { EXPECT_THAT(List(), ElementsAre()); }

TEST_F(Exports, ListLogsItsEntryAndNothingElse) {
  List();
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetInstalledAppList", "enter ReleaseInstalledAppList"));
  for (const LogLine& line : log.Lines()) {
    EXPECT_EQ(line.file, "KestrelbayGeneralSDK");
    EXPECT_EQ(line.level, 3);
    EXPECT_THAT(line.text, testing::MatchesRegex("(Get|Release)InstalledAppList:[0-9]+ enter [A-Za-z]+"));
  }
}

TEST_F(Exports, EntryLineIsTheFirstAct) {
  InitDllLogger(nullptr);
  const auto calls = CallsOf([] { List(); });
  EXPECT_EQ(calls.front(), "QVSLOGI(\"KestrelbayGeneralSDK\", \"enter GetInstalledAppList\") = ");
  EXPECT_EQ(calls.back(), "QVSLOGI(\"KestrelbayGeneralSDK\", \"enter ReleaseInstalledAppList\") = ");
}

TEST_F(Exports, CountOfZeroOrLessReleasesTheArrayAndNoText) {
  for (const std::int32_t count : {0, -1, INT32_MIN}) {
    auto* entries = new InstalledAppEntry[1]{};
    char text[] = "not from the heap";  // freeing it would be noticed
    entries[0].displayName = text;
    ReleaseInstalledAppList(&entries, count);
    EXPECT_EQ(entries, nullptr);
  }
}

TEST_F(Exports, SecondReleaseFreesNothing) {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, false);
  ReleaseInstalledAppList(&entries, 0);
  ReleaseInstalledAppList(&entries, 0);
  EXPECT_EQ(entries, nullptr);
}

TEST_F(Exports, SecondReleaseWithTheSameCountFreesNothing) {
  AddApp(u"App");
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, false);
  ASSERT_EQ(count, 1U);
  ReleaseInstalledAppList(&entries, 1);
  ReleaseInstalledAppList(&entries, 1);
  EXPECT_EQ(entries, nullptr);
}

TEST_F(Exports, ExceptionOfTheLogCallbackLeavesTheExport) {
  InitDllLogger([](const char*, std::int32_t, const char* text) {
    if (std::strstr(text, "enter GetInstalledAppList")) throw std::runtime_error(text);
  });
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 77;
  EXPECT_THROW(GetInstalledAppList(&entries, &count, false), std::runtime_error);
  EXPECT_EQ(entries, nullptr);
  EXPECT_EQ(count, 77U);
}

TEST_F(Exports, AsynchronousEntryLinesAreInformationOfThisFile) {
  ListReceiver lists;
  GetInstalledAppListAsync(&ListReceiver::Receive, false);
  lists.WaitForLists(1);
  IconReceiver icons;
  GetAppIconAsync(&IconReceiver::Receive, "None");
  icons.WaitForTexts(1);
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 4U);
  for (const LogLine& line : lines) {
    EXPECT_EQ(line.file, "KestrelbayGeneralSDK");
    EXPECT_EQ(line.level, 3);
  }
  EXPECT_THAT(lines[0].text,
              testing::MatchesRegex("GetInstalledAppListAsync:[0-9]+ enter GetInstalledAppListAsync"));
  EXPECT_THAT(lines[3].text, testing::MatchesRegex("GetAppIconAsync:[0-9]+ enter GetAppIconAsync"));
}

std::vector<std::thread::id> threadsOfLines;
std::thread::id threadOfCallback;

void KeepThreadOfLine(const char*, std::int32_t, const char*) {
  threadsOfLines.push_back(std::this_thread::get_id());
}

TEST_F(Exports, EntryIsLoggedByTheCallerAndCallbackRunsElsewhere) {
  InitDllLogger(&KeepThreadOfLine);
  threadsOfLines.clear();
  ListReceiver lists;
  GetInstalledAppListAsync(
      [](InstalledAppEntry* entries, std::int32_t count) {
        threadOfCallback = std::this_thread::get_id();
        ListReceiver::Receive(entries, count);
      },
      false);
  lists.WaitForLists(1);
  EXPECT_NE(threadOfCallback, std::this_thread::get_id());
  // The request's entry, and those of the two functions that its thread calls.
  EXPECT_THAT(threadsOfLines, ElementsAre(std::this_thread::get_id(), threadOfCallback, threadOfCallback));
  threadsOfLines.clear();
  IconReceiver icons;
  GetAppIconAsync(
      [](char* text) {
        threadOfCallback = std::this_thread::get_id();
        IconReceiver::Receive(text);
      },
      "None");
  icons.WaitForTexts(1);
  EXPECT_NE(threadOfCallback, std::this_thread::get_id());
  EXPECT_THAT(threadsOfLines, ElementsAre(std::this_thread::get_id()));
}

LogCapture* logAtCallback = nullptr;
std::vector<std::string> messagesAtCallback;

TEST_F(Exports, ListIsReleasedAfterTheCallback) {
  logAtCallback = &log;
  ListReceiver lists;
  GetInstalledAppListAsync(
      [](InstalledAppEntry* entries, std::int32_t count) {
        messagesAtCallback = logAtCallback->Messages();
        ListReceiver::Receive(entries, count);
      },
      false);
  lists.WaitForLists(1);
  EXPECT_THAT(messagesAtCallback, ElementsAre("enter GetInstalledAppListAsync", "enter GetInstalledAppList"));
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetInstalledAppListAsync", "enter GetInstalledAppList",
                                          "enter ReleaseInstalledAppList"));
}

TEST_F(Exports, AsynchronousListIsCalledBackOnceAndLogsAllThree) {
  AddApp(u"App");
  ListReceiver receiver;
  GetInstalledAppListAsync(&ListReceiver::Receive, false);
  log.WaitFor("enter ReleaseInstalledAppList", 1);
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetInstalledAppListAsync", "enter GetInstalledAppList",
                                          "enter ReleaseInstalledAppList"));
  const auto lists = receiver.WaitForLists(1);
  ASSERT_EQ(lists.size(), 1U);
  EXPECT_EQ(lists[0], List());
}

TEST_F(Exports, AsynchronousEmptyListHasAnArray) {
  ListReceiver receiver;
  GetInstalledAppListAsync(&ListReceiver::Receive, true);
  log.WaitFor("enter ReleaseInstalledAppList", 1);
  const auto lists = receiver.WaitForLists(1);
  ASSERT_EQ(lists.size(), 1U);
  EXPECT_TRUE(lists[0].empty());
  EXPECT_FALSE(receiver.SawNull());
}

TEST_F(Exports, IconIsCalledBackOnce) {
  AddApp(u"\u65e5", {{u"DisplayIcon", u"C:\\App\\app.ico"}});
  IconReceiver receiver;
  GetAppIconAsync(&IconReceiver::Receive, "\u65e5");
  EXPECT_THAT(receiver.WaitForTexts(1), ElementsAre("C:\\App\\app.ico"));
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetAppIconAsync"));
}

TEST_F(Exports, IconOfAnUnknownNameIsTheEmptyTextAndNotNull) {
  IconReceiver receiver;
  GetAppIconAsync(&IconReceiver::Receive, "None");
  EXPECT_THAT(receiver.WaitForTexts(1), ElementsAre(""));
}

TEST_F(Exports, BlockListIsTheSameTableAtEveryCall) {
  const char* const* table = nullptr;
  std::uint32_t count = 0;
  EXPECT_THAT(CallsOf([&] { GetAppBlackList(&table, &count); }), ElementsAre());
  ASSERT_EQ(count, 2U);
  EXPECT_STREQ(table[0], "com.tolvan.tvdisk");
  EXPECT_STREQ(table[1], "com.tolvan.baymarket");
  const char* const* again = nullptr;
  GetAppBlackList(&again, &count);
  EXPECT_EQ(again, table);
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(Exports, ReleasedTextIsNullAndASecondReleaseHarmless) {
  auto* text = static_cast<char*>(std::malloc(4));
  ReleaseDllStr(&text);
  EXPECT_EQ(text, nullptr);
  ReleaseDllStr(&text);
  EXPECT_EQ(text, nullptr);
  EXPECT_THAT(log.Lines(), ElementsAre());
}

class RootDirExport : public Exports {
 protected:
  RootDirExport() { machine.currentDirectory = u"C:\\Store\\1"; }  // ten bytes

  std::array<char, 32> buffer{};
};

TEST_F(RootDirExport, WritesTheDirectoryAndItsLength) {
  std::int32_t size = 11;
  GetRootDir(buffer.data(), &size, 1);
  EXPECT_STREQ(buffer.data(), "C:\\Store\\1");
  EXPECT_EQ(size, 10);
  EXPECT_THAT(log.Messages(), ElementsAre("GetRootDir Debug"));
}

TEST_F(RootDirExport, TooSmallASizeIsLoggedAndStaysAsItWas) {
  std::int32_t size = 9;
  GetRootDir(nullptr, &size, 1);
  EXPECT_EQ(size, 9);
  ASSERT_EQ(log.Lines().size(), 2U);
  EXPECT_EQ(log.Lines()[1].file, "KestrelbayGeneralSDK");
  EXPECT_EQ(log.Lines()[1].level, 5);
  EXPECT_THAT(log.Lines()[1].text, testing::MatchesRegex("GetRootDir:[0-9]+ buffer length is too small\\."));
}

TEST_F(RootDirExport, NegativeSizeIsHuge) {
  std::int32_t size = -1;
  GetRootDir(buffer.data(), &size, 1);
  EXPECT_STREQ(buffer.data(), "C:\\Store\\1");
  EXPECT_EQ(size, 10);
}

TEST_F(RootDirExport, AnyOtherModeWritesAnEmptyTextAndLogsNothing) {
  buffer.fill('#');
  std::int32_t size = 32;
  GetRootDir(buffer.data(), &size, 3);
  EXPECT_STREQ(buffer.data(), "");
  EXPECT_EQ(size, 0);
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(RootDirExport, Mode2IsTheHostsDirectory) {
  machine.hostPath = u"C:\\Store\\host.exe";
  std::int32_t size = 32;
  GetRootDir(buffer.data(), &size, 2);
  EXPECT_STREQ(buffer.data(), "C:\\Store");
  EXPECT_EQ(size, 8);
  EXPECT_THAT(log.Messages(), ElementsAre("GetRootDir Release"));
}

TEST_F(RootDirExport, BytesAreTheAnsiCodePagesAndNotUtf8) {
  machine.currentDirectory = u"C:\\\u00e9";
  std::int32_t size = 32;
  GetRootDir(buffer.data(), &size, 1);
  EXPECT_STREQ(buffer.data(), "C:\\\xE9");
  EXPECT_EQ(size, 4);
}

int invalidParameters = 0;

TEST_F(RootDirExport, SizeOfTheLengthItselfRaisesTheInvalidParameterCondition) {
  invalidParameters = 0;
  const auto before = simulated::SetInvalidParameterHandler([](const char*) { ++invalidParameters; });
  buffer.fill('#');
  std::int32_t size = 10;
  GetRootDir(buffer.data(), &size, 1);
  simulated::SetInvalidParameterHandler(before);
  EXPECT_EQ(invalidParameters, 1);
  EXPECT_STREQ(buffer.data(), "");
  EXPECT_EQ(size, 10);
}

TEST_F(RootDirExport, NullBufferWithRoomRaisesTheCondition) {
  invalidParameters = 0;
  const auto before = simulated::SetInvalidParameterHandler([](const char*) { ++invalidParameters; });
  std::int32_t size = 32;
  GetRootDir(nullptr, &size, 1);
  simulated::SetInvalidParameterHandler(before);
  EXPECT_EQ(invalidParameters, 1);
  EXPECT_THAT(log.Messages(), ElementsAre("GetRootDir Debug"));
}

TEST_F(RootDirExport, SizeZeroForAnEmptyTextRaisesTheConditionToo) {
  invalidParameters = 0;
  const auto before = simulated::SetInvalidParameterHandler([](const char*) { ++invalidParameters; });
  buffer.fill('#');
  std::int32_t size = 0;
  GetRootDir(buffer.data(), &size, 3);
  simulated::SetInvalidParameterHandler(before);
  EXPECT_EQ(invalidParameters, 1);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(size, 0);
  EXPECT_THAT(log.Lines(), ElementsAre());
}

}  // namespace
}  // namespace kestrelbay
