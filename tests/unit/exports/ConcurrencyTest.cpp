#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <latch>
#include <thread>

#include "HostCallbacks.h"
#include "base/CommonFunc.h"
#include "base/SDKLog.h"
#include "base/Worker.h"
#include "inventory/InstalledApps.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

constexpr std::size_t kRequests = 24;

class ManyAtOnce : public OnMachine {
 protected:
  ManyAtOnce() {
    machine.registry.CreateKey(kProductsPath);
    for (const char16_t* name : {u"apple", u"Banana", u"cherry"}) {
      SetTexts(kUninstall64Path + u"\\" + name, {{u"DisplayName", name},
                                                 {u"UninstallString", u"u"},
                                                 {u"DisplayIcon", std::u16string(u"C:\\") + name + u".ico"}});
    }
  }

  /** Calls `action` on many threads. All threads exist before the first one begins. */
  static void OnThreads(std::size_t count, const std::function<void(std::size_t)>& action) {
    std::latch ready(static_cast<std::ptrdiff_t>(count));
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < count; ++thread) {
      threads.emplace_back([&, thread] {
        ready.arrive_and_wait();
        action(thread);
      });
    }
    for (std::thread& thread : threads) thread.join();
  }

  std::size_t LinesOf(const std::string& message) const {
    const auto messages = log.Messages();
    return static_cast<std::size_t>(std::ranges::count(messages, message));
  }

  LogCapture log;
};

TEST_F(ManyAtOnce, EachListRequestReportsTheWholeListOnce) {
  ListReceiver receiver;
  OnThreads(4, [](std::size_t) {
    for (std::size_t request = 0; request < kRequests / 4; ++request) {
      GetInstalledAppListAsync(&ListReceiver::Receive, request % 2 == 0);
    }
  });
  log.WaitFor("enter ReleaseInstalledAppList", kRequests);
  const auto lists = receiver.WaitForLists(kRequests);
  ASSERT_EQ(lists.size(), kRequests);
  for (const auto& list : lists) {
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0].displayName, "apple");
    EXPECT_EQ(list[2].iconText, "C:\\cherry.ico");
  }
  EXPECT_EQ(LinesOf("enter GetInstalledAppListAsync"), kRequests);
  EXPECT_EQ(LinesOf("enter GetInstalledAppList"), kRequests);
  EXPECT_EQ(LinesOf("enter ReleaseInstalledAppList"), kRequests);
  EXPECT_FALSE(log.Overlapped());
}

TEST_F(ManyAtOnce, EachIconRequestReportsItsIconOnce) {
  IconReceiver receiver;
  const std::vector<const char*> names = {"apple", "Banana", "cherry", "None"};
  OnThreads(names.size(), [&](std::size_t thread) {
    for (std::size_t request = 0; request < 6; ++request)
      GetAppIconAsync(&IconReceiver::Receive, names[thread]);
  });
  const auto texts = receiver.WaitForTexts(kRequests);
  ASSERT_EQ(texts.size(), kRequests);
  for (const char* text : {"C:\\apple.ico", "C:\\Banana.ico", "C:\\cherry.ico", ""}) {
    EXPECT_EQ(std::ranges::count(texts, text), 6);
  }
  EXPECT_EQ(LinesOf("enter GetAppIconAsync"), kRequests);
}

std::latch* letGo = nullptr;

TEST_F(ManyAtOnce, StarterReturnsWhileTheCallbackIsHeld) {
  std::latch starterIsBack(1);
  letGo = &starterIsBack;
  ListReceiver lists;
  GetInstalledAppListAsync(
      [](InstalledAppEntry* entries, std::int32_t count) {
        letGo->wait();
        ListReceiver::Receive(entries, count);
      },
      false);
  IconReceiver icons;
  GetAppIconAsync(
      [](char* text) {
        letGo->wait();
        IconReceiver::Receive(text);
      },
      "apple");
  EXPECT_EQ(log.Messages().at(0), "enter GetInstalledAppListAsync");
  EXPECT_EQ(LinesOf("enter GetAppIconAsync"), 1U);
  EXPECT_EQ(LinesOf("enter ReleaseInstalledAppList"), 0U);
  starterIsBack.count_down();
  log.WaitFor("enter ReleaseInstalledAppList", 1);
  EXPECT_EQ(lists.WaitForLists(1).size(), 1U);
  EXPECT_EQ(icons.WaitForTexts(1).size(), 1U);
}

std::atomic<int> insideCallback = 0;
std::atomic<bool> overlapped = false;

void LookForAnotherCall(const char*, std::int32_t, const char*) {
  if (insideCallback.fetch_add(1) != 0) overlapped = true;
  for (int turn = 0; turn < 10; ++turn) std::this_thread::yield();  // gives a second call the time to begin
  insideCallback.fetch_sub(1);
}

TEST_F(ManyAtOnce, LockIsHeldAcrossTheCallback) {
  InitDllLogger(&LookForAnotherCall);
  OnThreads(4, [](std::size_t) {
    for (int line = 0; line < 100; ++line) SDKLog::GetInstance().Log(3, "F", "G", 1, "m");
  });
  EXPECT_FALSE(overlapped);
}

TEST_F(ManyAtOnce, LinesNeverInterleave) {
  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kLines = 200;
  OnThreads(kThreads, [](std::size_t thread) {
    const std::string letters(50, static_cast<char>('a' + thread));
    for (std::size_t line = 0; line < kLines; ++line)
      SDKLog::GetInstance().Log(3, "F", "G", 1, "%s", letters.c_str());
  });
  EXPECT_FALSE(log.Overlapped());
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    EXPECT_EQ(LinesOf(std::string(50, static_cast<char>('a' + thread))), kLines);
  }
}

TEST_F(ManyAtOnce, ScansRunAtOnceWithSeparateLists) {
  OnThreads(4, [](std::size_t) {
    for (int scan = 0; scan < 20; ++scan) EXPECT_EQ(ScanInstalledApps().size(), 3U);
  });
}

TEST_F(ManyAtOnce, ScanSeesOnlyWholeEntriesWhileTheyChange) {
  OnThreads(3, [&](std::size_t thread) {
    for (int round = 0; round < 30; ++round) {
      if (thread == 0) {
        SetTexts(kUninstall64Path + u"\\zz", {{u"DisplayName", u"x"}, {u"UninstallString", u"u"}});
        machine.registry.RemoveKey(kUninstall64Path + u"\\zz");
      } else {
        const std::size_t count = ScanInstalledApps().size();
        EXPECT_TRUE(count == 3 || count == 4) << count;
      }
    }
  });
}

}  // namespace
}  // namespace kestrelbay
