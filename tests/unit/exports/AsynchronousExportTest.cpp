// Lists and icons that the library reports on its own threads.
#include <gmock/gmock.h>

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <system_error>
#include <thread>

#include "KestrelbayGeneralSDK.h"
#include "exports/ExportTest.h"
#include "support/NoThreads.h"

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
  // The entry line of the request, and those of the two exports that its thread calls.
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

TEST_F(AsynchronousExport, AsynchronousListIsReportedOnceAndLogsThreeEntries) {
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

TEST_F(AsynchronousExport, IconIsReportedOnce) {
  AddApp(u"\u65e5", {{u"DisplayIcon", u"C:\\App\\app.ico"}});
  IconReceiver receiver;
  GetAppIconAsync(&IconReceiver::Receive, "\u65e5");
  EXPECT_THAT(receiver.WaitForTexts(1), ElementsAre("C:\\App\\app.ico"));
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetAppIconAsync"));
}

/** A text that stores the id of the first thread that reads it. At most one exists. */
class WatchedText {
 public:
  explicit WatchedText(const char* text) {
    page = mmap(nullptr, kPageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    reader = 0;
    std::strcpy(static_cast<char*>(page), text);
    mprotect(page, kPageBytes, PROT_NONE);
    struct sigaction action = {};
    action.sa_handler = &LetRead;
    sigaction(SIGSEGV, &action, &before);
  }
  ~WatchedText() {
    sigaction(SIGSEGV, &before, nullptr);
    munmap(page, kPageBytes);
  }
  WatchedText(const WatchedText&) = delete;
  WatchedText& operator=(const WatchedText&) = delete;

  const char* Get() const { return static_cast<const char*>(page); }
  /** @return the gettid() of that thread; 0 if no thread has read the text */
  pid_t Reader() const { return reader; }

 private:
  static constexpr std::size_t kPageBytes = 4096;

  static void LetRead(int) {
    reader = gettid();
    mprotect(page, kPageBytes, PROT_READ);
  }

  static inline void* page = nullptr;
  static inline std::atomic<pid_t> reader = 0;
  struct sigaction before;
};

std::atomic<pid_t> callbackThread = 0;

TEST_F(AsynchronousExport, NameOfAnIconIsReadOnItsThreadAndNotByTheCaller) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\App\\app.ico"}});
  const WatchedText name("App");
  IconReceiver receiver;
  GetAppIconAsync(
      [](char* text) {
        callbackThread = gettid();
        IconReceiver::Receive(text);
      },
      name.Get());
  EXPECT_THAT(receiver.WaitForTexts(1), ElementsAre("C:\\App\\app.ico"));
  EXPECT_EQ(name.Reader(), callbackThread);
  EXPECT_NE(name.Reader(), gettid());
}

TEST_F(AsynchronousExport, ListDrawsIconsOnRequest) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\App\\app.exe"}});
  machine.drives.AddFile(u"C:\\App\\app.exe");
  const auto shellCalls = [this](bool includeIcons) {
    ListReceiver receiver;
    const auto calls = CallsOf([&] {
      GetInstalledAppListAsync(&ListReceiver::Receive, includeIcons);
      receiver.WaitForLists(1);
    });
    return std::ranges::count_if(calls,
                                 [](const std::string& call) { return call.starts_with("SHGetFileInfoW("); });
  };
  EXPECT_EQ(shellCalls(true), 1);
  EXPECT_EQ(shellCalls(false), 0);
}

TEST_F(AsynchronousExport, WithoutAThreadItThrowsAfterItsEntryLine) {
  ListReceiver lists;
  IconReceiver icons;
  {
    const NoThreads none;
    EXPECT_THROW(GetInstalledAppListAsync(&ListReceiver::Receive, false), std::system_error);
    EXPECT_THROW(GetAppIconAsync(&IconReceiver::Receive, "App"), std::system_error);
    EXPECT_THROW(StartAnyExeAsync("C:\\tool.exe", ""), std::system_error);
  }
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetInstalledAppListAsync", "enter GetAppIconAsync",
                                          "enter StartAnyExeAsync"));
  EXPECT_TRUE(machine.programs.Starts().empty());
  // A request that threw leaves nothing that could call back: these are the first reports.
  GetInstalledAppListAsync(&ListReceiver::Receive, false);
  EXPECT_EQ(lists.WaitForLists(1).size(), 1U);
  GetAppIconAsync(&IconReceiver::Receive, "App");
  EXPECT_EQ(icons.WaitForTexts(1).size(), 1U);
}

TEST_F(AsynchronousExport, IconOfAnUnknownNameIsTheEmptyTextAndNotNull) {
  IconReceiver receiver;
  GetAppIconAsync(&IconReceiver::Receive, "None");
  EXPECT_THAT(receiver.WaitForTexts(1), ElementsAre(""));
}

}  // namespace
}  // namespace kestrelbay
