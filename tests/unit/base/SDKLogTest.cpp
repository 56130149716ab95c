#include "base/SDKLog.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <latch>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include "HostCallbacks.h"
#include "support/OnMachine.h"
#include "support/SleepingThread.h"

namespace kestrelbay {
namespace {

using simulated::Faults;
using testing::ElementsAre;

std::string FormatOf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = SDKLog::GetInstance().Format(format, arguments);
  va_end(arguments);
  return text;
}

class CallbackMode : public OnMachine {
 protected:
  LogCapture log;
};

TEST_F(CallbackMode, RecordIsFunctionColonLineNumberBlankMessage) {
  SDKLog::GetInstance().Log(3, "CommonFunc", "GetRootDir", 333, "%s-%d", "text", 7);
  EXPECT_THAT(log.Lines(), ElementsAre(LogLine{"CommonFunc", 3, "GetRootDir:333 text-7"}));
}

TEST_F(CallbackMode, NoLevelIsFiltered) {
  for (const std::int32_t level : {2, 3, 4, 5, 7, 0, -1}) SDKLog::GetInstance().Log(level, "F", "G", 1, "m");
  EXPECT_THAT(log.Lines(),
              ElementsAre(LogLine{"F", 2, "G:1 m"}, LogLine{"F", 3, "G:1 m"}, LogLine{"F", 4, "G:1 m"},
                          LogLine{"F", 5, "G:1 m"}, LogLine{"F", 7, "G:1 m"}, LogLine{"F", 0, "G:1 m"},
                          LogLine{"F", -1, "G:1 m"}));
}

TEST_F(CallbackMode, EmptyMessageLeavesTheBlankAtTheEnd) {
  SDKLog::GetInstance().Log(3, "F", "G", 12, "%s", "");
  EXPECT_THAT(log.Lines(), ElementsAre(LogLine{"F", 3, "G:12 "}));
}

TEST_F(CallbackMode, NegativeLineNumberHasAMinus) {
  SDKLog::GetInstance().Log(3, "F", "G", -5, "m");
  SDKLog::GetInstance().Log(3, "F", "G", INT32_MIN, "m");
  EXPECT_THAT(log.Lines(), ElementsAre(LogLine{"F", 3, "G:-5 m"}, LogLine{"F", 3, "G:-2147483648 m"}));
}

TEST_F(CallbackMode, UnformattableMessageStillReachesTheHost) {
  // In the "C" locale a character above U+00FF cannot be formatted.
  SDKLog::GetInstance().Log(3, "F", "G", 1, "%ws", u"\u65e5");
  EXPECT_THAT(log.Lines(), ElementsAre(LogLine{"F", 3, "G:1 "}));
}

TEST_F(CallbackMode, WideConversionTakesUtf16) {
  SDKLog::GetInstance().Log(3, "F", "G", 1, "[%ws]", u"abc");
  EXPECT_THAT(log.Lines(), ElementsAre(LogLine{"F", 3, "G:1 [abc]"}));
}

TEST_F(CallbackMode, LongMessageIsNotCut) {
  const std::string text(100000, 'x');
  SDKLog::GetInstance().Log(3, "F", "G", 1, "%s", text.c_str());
  EXPECT_THAT(log.Lines(), ElementsAre(LogLine{"F", 3, "G:1 " + text}));
}

TEST_F(CallbackMode, NothingGoesToTheDll) {
  for (const std::int32_t level : {2, 3, 4, 5}) SDKLog::GetInstance().Log(level, "F", "G", 1, "m");
  EXPECT_TRUE(machine.LogRecords().empty());
}

TEST_F(CallbackMode, FailedMeasuringYieldsTheEmptyMessageWithoutARecord) {
  machine.faults.FailNth(1, Faults::Extent::Once, "_vscprintf");
  EXPECT_EQ(FormatOf("%d", 5), "");
  EXPECT_TRUE(machine.faults.Fired());
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(CallbackMode, FailedFormattingIsLoggedAtLine79) {
  machine.faults.FailNth(1, Faults::Extent::Once, "vsprintf_s");
  EXPECT_EQ(FormatOf("%d", 5), "");
  EXPECT_TRUE(machine.faults.Fired());
  EXPECT_THAT(log.Lines(), ElementsAre(LogLine{"SDKLog", 5, "Format:79 vsprintf_s error return value!"}));
}

TEST_F(CallbackMode, LockIsReleasedWhenAnExceptionLeaves) {
  InitDllLogger([](const char*, std::int32_t, const char* text) {
    if (std::string(text).ends_with("throw")) throw std::runtime_error(text);
  });
  EXPECT_THROW(SDKLog::GetInstance().Log(3, "F", "G", 1, "throw"), std::runtime_error);
  SDKLog::GetInstance().Log(3, "F", "G", 1, "second line");
}

TEST_F(CallbackMode, BothPassesOfAFormatSeeTheSameArguments) {
  EXPECT_EQ(FormatOf("%d %s %ws %d", 1, "two", u"three", 4), "1 two three 4");
}

class DllMode : public OnMachine {
 protected:
  DllMode() { InitDllLogger(nullptr); }

  /** @return the records after the one of InitDllLogger */
  std::vector<std::string> Records() const {
    std::vector<std::string> texts;
    for (const simulated::LogRecord& record : machine.LogRecords()) {
      texts.push_back(std::string(1, record.level) + " " + record.file + " " + record.format);
    }
    texts.erase(texts.begin());
    return texts;
  }

  LogCapture log;
};

TEST_F(DllMode, EachLevelHasItsFunction) {
  EXPECT_THAT(CallsOf([] {
                for (const std::int32_t level : {2, 4, 5, 3})
                  SDKLog::GetInstance().Log(level, "F", "G", 1, "m");
              }),
              ElementsAre("QVSLOGD(\"F\", \"m\") = ", "QVSLOGW(\"F\", \"m\") = ", "QVSLOGE(\"F\", \"m\") = ",
                          "QVSLOGI(\"F\", \"m\") = "));
  EXPECT_THAT(Records(), ElementsAre("D F m", "W F m", "E F m", "I F m"));
}

TEST_F(DllMode, AnyOtherLevelIsDropped) {
  InitDllLogger(nullptr);
  EXPECT_THAT(CallsOf([] {
                for (const std::int32_t level : {7, 6, 1, 0, -3})
                  SDKLog::GetInstance().Log(level, "F", "G", 1, "m");
              }),
              ElementsAre());
}

TEST_F(DllMode, FormatIsPassedUnexpanded) {
  InitDllLogger(nullptr);
  EXPECT_THAT(CallsOf([] { SDKLog::GetInstance().Log(3, "F", "G", 1, "%s", "text"); }),
              ElementsAre(testing::StartsWith("QVSLOGI(\"F\", \"%s\")")));
  EXPECT_THAT(log.Lines(), ElementsAre());
}

std::latch* recordIsHeld = nullptr;
std::latch* recordMayEnd = nullptr;

/** A host's callback that blocks in the record that ends in "hold", and so holds the logger's lock, until the
 * test releases it. */
void HoldRecord(const char*, std::int32_t, const char* text) {
  if (!std::string(text).ends_with("hold")) return;
  recordIsHeld->count_down();
  recordMayEnd->wait();
}

// One thread is in the host's callback while another one changes the mode of the logger and logs.
TEST_F(DllMode, ModeChangesWithoutTheLockButTheDllIsCalledUnderIt) {
  std::latch isHeld(1), mayEnd(1);
  recordIsHeld = &isHeld;
  recordMayEnd = &mayEnd;
  InitDllLogger(&HoldRecord);
  std::thread holder([] { SDKLog::GetInstance().Log(3, "F", "G", 1, "hold"); });
  isHeld.wait();
  const std::size_t before = machine.LogRecords().size();
  std::atomic<pid_t> changer = 0;
  std::atomic<bool> done = false;
  std::thread changing([&] {
    changer = gettid();
    InitDllLogger(nullptr);
    done = true;
  });
  while (!done && !(changer != 0 && Sleeps(changer))) std::this_thread::yield();
  EXPECT_TRUE(SDKLog::GetInstance().useLogDll) << "InitDllLogger waits before it has changed the mode";
  EXPECT_EQ(machine.LogRecords().size(), before) << "a record came while another was written";
  EXPECT_FALSE(done);
  mayEnd.count_down();
  holder.join();
  changing.join();
  EXPECT_EQ(machine.LogRecords().size(), before + 1);
}

class Initialisation : public OnMachine {
 protected:
  void Log() { SDKLog::GetInstance().Log(3, "F", "G", 1, "m"); }

  LogCapture log;
};

TEST_F(Initialisation, CallbackReceivesOneLineAtOnce) {
  InitDllLogger(&LogCapture::Receive);
  ASSERT_EQ(log.Lines().size(), 1U);
  EXPECT_EQ(log.Lines()[0].file, "KestrelbayGeneralSDK");
  EXPECT_EQ(log.Lines()[0].level, 3);
  EXPECT_THAT(
      log.Lines()[0].text,
      testing::MatchesRegex("InitDllLogger:[0-9]+ KestrelbayGeneralSDK log call back init success\\."));
}

TEST_F(Initialisation, DllReceivesOneRecordAtOnce) {
  InitDllLogger(nullptr);
  ASSERT_EQ(machine.LogRecords().size(), 1U);
  EXPECT_EQ(machine.LogRecords()[0].level, 'I');
  EXPECT_EQ(machine.LogRecords()[0].file, "KestrelbayGeneralSDK");
  EXPECT_EQ(machine.LogRecords()[0].format, "KestrelbayGeneralSDK log dll init success.");
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(Initialisation, CallbackThenNullEndsInDllModeWithTheCallbackStored) {
  InitDllLogger(&LogCapture::Receive);
  InitDllLogger(nullptr);
  EXPECT_TRUE(SDKLog::GetInstance().useLogDll);
  EXPECT_EQ(SDKLog::GetInstance().logCallback, &LogCapture::Receive);
  Log();
  EXPECT_EQ(machine.LogRecords().size(), 2U);
  EXPECT_EQ(log.Lines().size(), 1U);
}

TEST_F(Initialisation, NullThenCallbackEndsInCallbackMode) {
  InitDllLogger(nullptr);
  InitDllLogger(&LogCapture::Receive);
  EXPECT_FALSE(SDKLog::GetInstance().useLogDll);
  Log();
  EXPECT_EQ(machine.LogRecords().size(), 1U);
  EXPECT_EQ(log.Lines().size(), 2U);
}

int secondCallbackCalls = 0;

TEST_F(Initialisation, LaterCallbackReplacesTheEarlierOne) {
  secondCallbackCalls = 0;
  InitDllLogger([](const char*, std::int32_t, const char*) { ++secondCallbackCalls; });
  Log();
  EXPECT_EQ(secondCallbackCalls, 2);
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST(SDKLog, IsOneObjectWithAVirtualDestructor) {
  EXPECT_EQ(&SDKLog::GetInstance(), &SDKLog::GetInstance());
  EXPECT_TRUE(std::has_virtual_destructor_v<SDKLog>);
}

// Each statement runs in a new process, in which nothing has logged yet.
class BeforeInitialisationDeathTest : public testing::Test {
 protected:
  BeforeInitialisationDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

[[noreturn]] void ExitWithZeroIf(bool fine) { std::_Exit(fine ? 0 : 1); }

TEST_F(BeforeInitialisationDeathTest, LogsToACallbackThatIsNull) {
  EXPECT_EXIT(ExitWithZeroIf(!SDKLog::GetInstance().useLogDll && !SDKLog::GetInstance().logCallback),
              testing::ExitedWithCode(0), "");
}

TEST_F(BeforeInitialisationDeathTest, LogCrashesBeforeInitialisation) {
  EXPECT_DEATH(SDKLog::GetInstance().Log(3, "F", "G", 1, "m"), "");
  EXPECT_DEATH(SetStopAppEvent(), "");
}

[[noreturn]] void ExitWithZeroIfItsOwnFailureBlocksTheLogger() {
  simulated::Faults& faults = simulated::CurrentMachine().faults;
  faults.FailNth(1, Faults::Extent::Once, "vsprintf_s");
  std::atomic<pid_t> logger = 0;
  std::atomic<bool> done = false;
  std::thread([&] {
    logger = gettid();
    SDKLog::GetInstance().Log(3, "F", "G", 1, "%d", 5);
    done = true;
  }).detach();
  // After the failure, a thread can wait for nothing but the logger's lock.
  while (!done && !(faults.Fired() && Sleeps(logger))) std::this_thread::yield();
  ExitWithZeroIf(!done);
}

// The lock is not recursive: the logger deadlocks when it logs its own failure.
TEST(SDKLogDeathTest, FailedFormattingDeadlocksTheLogger) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(ExitWithZeroIfItsOwnFailureBlocksTheLogger(), testing::ExitedWithCode(0), "");
}

TEST_F(BeforeInitialisationDeathTest, ExportsThatNeverLogAreSafe) {
  EXPECT_EXIT(
      {
        const char* const* table = nullptr;
        std::uint32_t count = 0;
        GetAppBlackList(&table, &count);
        char* text = static_cast<char*>(std::malloc(1));
        ReleaseDllStr(&text);
        ExitWithZeroIf(count == 2 && text == nullptr);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace kestrelbay
