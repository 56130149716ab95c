// The four entry points of log.dll.
#include "platform/Log.h"

#include <gtest/gtest.h>

#include <thread>

#include "TestMachine.h"

namespace platform {
namespace {

using tests::LogRecord;

TEST(Log, EachLevelIsRecordedWithItsFileAndFormat) {
  tests::TestMachine machine;
  QVSLOGD("AppStart", "two words");
  QVSLOGI("SDKLog", "enter");
  QVSLOGW("SDKLog", "");
  QVSLOGE("SDKLog", "failed");
  const auto records = machine.LogRecords();
  ASSERT_EQ(4u, records.size());
  EXPECT_EQ((LogRecord{'D', "AppStart", "two words"}), records[0]);
  EXPECT_EQ((LogRecord{'I', "SDKLog", "enter"}), records[1]);
  EXPECT_EQ((LogRecord{'W', "SDKLog", ""}), records[2]);
  EXPECT_EQ((LogRecord{'E', "SDKLog", "failed"}), records[3]);
}

TEST(Log, AFormatIsRecordedUnexpanded) {
  tests::TestMachine machine;
  QVSLOGI("SDKLog", "find %ws of %s and %d %n %%");
  EXPECT_EQ(std::vector<LogRecord>({{'I', "SDKLog", "find %ws of %s and %d %n %%"}}), machine.LogRecords());
}

TEST(Log, RecordsOfManyThreadsDoNotInterleave) {
  tests::TestMachine machine;
  constexpr int kThreads = 4, kRecords = 50;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([] {
      for (int record = 0; record < kRecords; ++record) QVSLOGI("SDKLog", "one text among many");
    });
  }
  for (auto& thread : threads) thread.join();
  const auto records = machine.LogRecords();
  EXPECT_EQ(std::size_t{kThreads * kRecords}, records.size());
  for (const auto& record : records) EXPECT_EQ((LogRecord{'I', "SDKLog", "one text among many"}), record);
}

}  // namespace
}  // namespace platform
