// Lists and icons that threads of the library call back with.
#include <gmock/gmock.h>

#include <thread>

#include "ExportTest.h"
#include "KestrelbayGeneralSDK.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

class AsynchronousExport : public ExportTest {};

TEST_F(AsynchronousExport, AsynchronousEntryLinesAreInformationOfThisFile) {
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

TEST_F(AsynchronousExport, EntryIsLoggedByTheCallerAndCallbackRunsElsewhere) {
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

TEST_F(AsynchronousExport, ListIsReleasedAfterTheCallback) {
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

TEST_F(AsynchronousExport, AsynchronousListIsCalledBackOnceAndLogsAllThree) {
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

TEST_F(AsynchronousExport, AsynchronousEmptyListHasAnArray) {
  ListReceiver receiver;
  GetInstalledAppListAsync(&ListReceiver::Receive, true);
  log.WaitFor("enter ReleaseInstalledAppList", 1);
  const auto lists = receiver.WaitForLists(1);
  ASSERT_EQ(lists.size(), 1U);
  EXPECT_TRUE(lists[0].empty());
  EXPECT_FALSE(receiver.SawNull());
}

TEST_F(AsynchronousExport, IconIsCalledBackOnce) {
  AddApp(u"\u65e5", {{u"DisplayIcon", u"C:\\App\\app.ico"}});
  IconReceiver receiver;
  GetAppIconAsync(&IconReceiver::Receive, "\u65e5");
  EXPECT_THAT(receiver.WaitForTexts(1), ElementsAre("C:\\App\\app.ico"));
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetAppIconAsync"));
}

TEST_F(AsynchronousExport, IconOfAnUnknownNameIsTheEmptyTextAndNotNull) {
  IconReceiver receiver;
  GetAppIconAsync(&IconReceiver::Receive, "None");
  EXPECT_THAT(receiver.WaitForTexts(1), ElementsAre(""));
}

}  // namespace
}  // namespace kestrelbay
