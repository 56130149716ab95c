// Events and waits.
#include "platform/Events.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <thread>

#include "LastErrors.h"
#include "TestMachine.h"
#include "platform/Constants.h"
#include "platform/Processes.h"
#include "platform/Registry.h"

namespace platform {
namespace {

class Events : public testing::Test {
 protected:
  ~Events() override {
    for (HANDLE event : made) CloseHandle(event);
  }

  HANDLE Make(bool manualReset, bool initialState, const char16_t* name = nullptr) {
    const HANDLE event = CreateEventW(nullptr, manualReset, initialState, name);
    EXPECT_NE(nullptr, event);
    made.push_back(event);
    return event;
  }

  static DWORD Wait(HANDLE event, DWORD milliseconds = 0) {
    return WaitForMultipleObjects(1, &event, 0, milliseconds);
  }

  std::vector<HANDLE> made;
};

TEST_F(Events, EachThreadHasItsOwnLastError) {
  EXPECT_EQ(0, SetEvent(nullptr));
  ASSERT_EQ(last_error::kInvalidHandle, GetLastError());
  DWORD theirs = last_error::kInvalidHandle;
  std::thread([&] { theirs = GetLastError(); }).join();
  EXPECT_NE(theirs, last_error::kInvalidHandle);
}

TEST_F(Events, AManualEventStaysSignalled) {
  const HANDLE event = Make(true, false);
  EXPECT_EQ(WAIT_TIMEOUT, Wait(event));
  EXPECT_NE(0, SetEvent(event));
  EXPECT_EQ(WAIT_OBJECT_0, Wait(event));
  EXPECT_EQ(WAIT_OBJECT_0, Wait(event));
}

TEST_F(Events, AnAutomaticEventIsClearedByTheWaitThatItEnds) {
  const HANDLE event = Make(false, true);
  EXPECT_EQ(WAIT_OBJECT_0, Wait(event));
  EXPECT_EQ(WAIT_TIMEOUT, Wait(event));
  EXPECT_NE(0, SetEvent(event));
  EXPECT_NE(0, SetEvent(event));
  EXPECT_EQ(WAIT_OBJECT_0, Wait(event));
  EXPECT_EQ(WAIT_TIMEOUT, Wait(event));
}

TEST_F(Events, AWaitForAnyReturnsTheFirstSignalledOne) {
  const std::array<HANDLE, 3> events = {Make(false, false), Make(false, true), Make(false, true)};
  EXPECT_EQ(1u, WaitForMultipleObjects(3, events.data(), 0, 0));
  EXPECT_EQ(2u, WaitForMultipleObjects(3, events.data(), 0, 0));
  EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(3, events.data(), 0, 0));
}

TEST_F(Events, AWaitForAnyClearsOnlyThatOne) {
  const std::array<HANDLE, 2> events = {Make(false, true), Make(false, true)};
  EXPECT_EQ(0u, WaitForMultipleObjects(2, events.data(), 0, 0));
  EXPECT_EQ(WAIT_OBJECT_0, Wait(events[1]));
}

TEST_F(Events, AWaitForAllNeedsAllAndClearsNoneBefore) {
  const std::array<HANDLE, 2> events = {Make(false, true), Make(false, false)};
  EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, events.data(), 1, 0));
  EXPECT_NE(0, SetEvent(events[1]));
  EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, events.data(), 1, 0));
  EXPECT_EQ(WAIT_TIMEOUT, Wait(events[0]));
}

TEST_F(Events, AWaitEndsWhenAnotherThreadSignals) {
  const HANDLE event = Make(false, false);
  const HANDLE waiting = Make(false, false);
  std::thread other([&] {
    Wait(waiting, INFINITE);
    SetEvent(event);
  });
  EXPECT_NE(0, SetEvent(waiting));
  EXPECT_EQ(WAIT_OBJECT_0, Wait(event, INFINITE));
  other.join();
}

TEST_F(Events, OneSignalOfAnAutomaticEventEndsOneWait) {
  const HANDLE event = Make(false, true);
  std::array<DWORD, 2> results = {};
  std::thread first([&] { results[0] = Wait(event); });
  std::thread second([&] { results[1] = Wait(event); });
  first.join();
  second.join();
  EXPECT_EQ(WAIT_OBJECT_0 + WAIT_TIMEOUT, results[0] + results[1]);
}

TEST_F(Events, ATimeOutIsReturned) { EXPECT_EQ(WAIT_TIMEOUT, Wait(Make(true, false), 10)); }

TEST_F(Events, AnEventIsSharedByItsName) {
  const HANDLE event = Make(true, false, u"KestrelbayContract");
  EXPECT_EQ(0u, GetLastError());
  const HANDLE same = Make(false, false, u"KestrelbayContract");
  EXPECT_EQ(last_error::kAlreadyExists, GetLastError());
  EXPECT_NE(event, same);
  EXPECT_NE(0, SetEvent(event));
  EXPECT_EQ(WAIT_OBJECT_0, Wait(same));
  EXPECT_EQ(WAIT_OBJECT_0, Wait(same));
}

TEST_F(Events, NamesAreCaseSensitive) {
  const HANDLE event = Make(true, true, u"KestrelbayContract");
  EXPECT_EQ(WAIT_OBJECT_0, Wait(event));
  EXPECT_EQ(WAIT_TIMEOUT, Wait(Make(true, false, u"kestrelbayCONTRACT")));
}

TEST_F(Events, ANameIsFreeWhenItsLastHandleIsClosed) {
  const HANDLE event = CreateEventW(nullptr, 1, 1, u"KestrelbayContract");
  EXPECT_NE(0, CloseHandle(event));
  EXPECT_EQ(WAIT_TIMEOUT, Wait(Make(true, false, u"KestrelbayContract")));
}

TEST_F(Events, AnArmedWatchDoesNotKeepTheNameOfItsEvent) {
  tests::TestMachine machine;
  machine.CreateKey(u"HKEY_LOCAL_MACHINE\\Software\\KestrelbayContract");
  HKEY key = nullptr;
  ASSERT_EQ(0, RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\KestrelbayContract", 0, KEY_NOTIFY, &key));
  const HANDLE event = CreateEventW(nullptr, 0, 1, u"KestrelbayContract");
  ASSERT_EQ(0, RegNotifyChangeKeyValue(key, 1, REG_NOTIFY_CHANGE_NAME, event, 1));
  EXPECT_NE(0, CloseHandle(event));
  const HANDLE newer = Make(true, false, u"KestrelbayContract");
  // In Wine a name exists as long as its event, which the watch keeps.
  EXPECT_EQ(tests::RunsOnWine() ? last_error::kAlreadyExists : 0u, GetLastError());
  RegCloseKey(key);
  // Closing the key signals only the event of the watch.
  EXPECT_EQ(tests::RunsOnWine() ? WAIT_OBJECT_0 : WAIT_TIMEOUT, Wait(newer));
}

TEST_F(Events, ANameWithABackslashIsRefused) {
  EXPECT_EQ(nullptr, CreateEventW(nullptr, 1, 0, u"Kestrelbay\\Contract"));
  EXPECT_EQ(last_error::kPathNotFound, GetLastError());
}

TEST_F(Events, TheNameOfAMutexIsRefused) {
  tests::TestMachine machine;
  const HANDLE mutex = machine.MakeMutex(u"KestrelbayContract");
  EXPECT_EQ(nullptr, CreateEventW(nullptr, 1, 0, u"KestrelbayContract"));
  EXPECT_EQ(last_error::kInvalidHandle, GetLastError());
  EXPECT_EQ(nullptr, CreateEventW(nullptr, 1, 0, u"Local\\KestrelbayContract"));
  EXPECT_NE(0, CloseHandle(mutex));
  Make(true, false, u"KestrelbayContract");
  EXPECT_EQ(0u, GetLastError());
}

TEST_F(Events, ANameMayBeginWithLocalOrGlobal) {
  for (const char16_t* name : {u"Local\\KestrelbayOfSession", u"Global\\KestrelbayOfMachine"}) {
    Make(true, true, name);
    EXPECT_EQ(0u, GetLastError());
    const HANDLE same = Make(true, false, name);
    EXPECT_EQ(last_error::kAlreadyExists, GetLastError());
    EXPECT_EQ(WAIT_OBJECT_0, Wait(same));
  }
}

TEST_F(Events, AnEmptyNameCountsAsNoName) {
  Make(true, true, u"");
  EXPECT_EQ(WAIT_TIMEOUT, Wait(Make(true, false, u"")));
}

TEST_F(Events, AWaitForNothingOrForTooManyIsRefused) {
  const HANDLE event = Make(true, true);
  const std::vector<HANDLE> many(MAXIMUM_WAIT_OBJECTS + 1, event);
  EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(0, many.data(), 0, 0));
  EXPECT_EQ(last_error::kInvalidParameter, GetLastError());
  EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS + 1, many.data(), 0, 0));
  EXPECT_EQ(last_error::kInvalidParameter, GetLastError());
}

TEST_F(Events, AClosedHandleIsRefused) {
  const HANDLE event = CreateEventW(nullptr, 1, 1, nullptr);
  EXPECT_NE(0, CloseHandle(event));
  EXPECT_EQ(0, SetEvent(event));
  EXPECT_EQ(last_error::kInvalidHandle, GetLastError());
  EXPECT_EQ(WAIT_FAILED, Wait(event));
  EXPECT_EQ(last_error::kInvalidHandle, GetLastError());
  EXPECT_EQ(0, CloseHandle(event));
}

TEST(Sleep, LastsTheGivenTimeExceptOneTick) {
  constexpr std::chrono::milliseconds kPause(50), kTick(16);
  const auto before = std::chrono::steady_clock::now();
  Sleep(static_cast<DWORD>(kPause.count()));
  EXPECT_GE(std::chrono::steady_clock::now() - before, kPause - kTick);
}

TEST(Sleep, BlocksNoOtherThread) {
  const HANDLE event = CreateEventW(nullptr, true, false, nullptr);
  std::thread other([&] { SetEvent(event); });
  while (WaitForMultipleObjects(1, &event, 0, 0) != WAIT_OBJECT_0) Sleep(0);
  other.join();
  EXPECT_NE(0, CloseHandle(event));
}

TEST_F(Events, NullIsRefused) {
  EXPECT_EQ(WAIT_FAILED, Wait(nullptr));
  EXPECT_EQ(0, SetEvent(nullptr));
}

}  // namespace
}  // namespace platform
