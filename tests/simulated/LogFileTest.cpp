// Without a log callback, records go to a file, as those of log.dll do on Windows.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "MachineFolder.h"
#include "platform/Log.h"
#include "simulated/base/LastError.h"
#include "simulated/directory/CurrentMachine.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

class LogFile : public MachineFolder {
 protected:
  LogFile() : machine(UseMachine(std::make_unique<Machine>())) {
    machine.clock.UseSimulatedTime();
    setenv("KESTRELBAY_LOG_FILE", named.c_str(), 1);
    setenv("TMPDIR", folder.c_str(), 1);
  }
  ~LogFile() override {
    unsetenv("TMPDIR");
    setenv("KESTRELBAY_LOG_FILE", "/dev/null", 1);
  }

  static std::string TextOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  Machine& machine;
  const fs::path named = folder / "named.log";
  const fs::path usual = folder / "KestrelbayGeneral.log";
};

TEST_F(LogFile, EachRecordIsALineOfTimeLevelFileAndUnfilledFormat) {
  platform::QVSLOGI("SDKLog", "enter %s");
  machine.clock.Advance(61007);
  platform::QVSLOGE("AppStart", "failed");
  EXPECT_EQ(TextOf(named),
            "2024-01-01T00:00:00.000Z I SDKLog enter %s\n"
            "2024-01-01T00:01:01.007Z E AppStart failed\n");
}

TEST_F(LogFile, IsInTheTemporaryFolderWithoutTheVariable) {
  unsetenv("KESTRELBAY_LOG_FILE");
  platform::QVSLOGD("SDKLog", "one");
  setenv("KESTRELBAY_LOG_FILE", "", 1);
  platform::QVSLOGW("SDKLog", "two");
  EXPECT_EQ(TextOf(usual), "2024-01-01T00:00:00.000Z D SDKLog one\n2024-01-01T00:00:00.000Z W SDKLog two\n");
}

TEST_F(LogFile, ALinkInTheTemporaryFolderIsNotFollowed) {
  unsetenv("KESTRELBAY_LOG_FILE");
  fs::create_symlink(named, usual);
  platform::QVSLOGI("SDKLog", "enter");
  EXPECT_FALSE(fs::exists(named));
}

TEST_F(LogFile, RecordThatCannotBeWrittenIsDropped) {
  setenv("KESTRELBAY_LOG_FILE", folder.c_str(), 1);
  errno = ERANGE;
  SetLastError(5);
  platform::QVSLOGI("SDKLog", "enter");
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(LastError(), 5U);
  setenv("KESTRELBAY_LOG_FILE", "", 1);
  setenv("TMPDIR", "/no such folder", 1);
  platform::QVSLOGI("SDKLog", "enter");
  EXPECT_FALSE(fs::exists(usual));
}

TEST_F(LogFile, RecordsAreCollectedInsteadIfATestAsksForThem) {
  platform::QVSLOGI("SDKLog", "before");
  machine.CollectLogRecords();
  platform::QVSLOGI("SDKLog", "after");
  ASSERT_EQ(machine.LogRecords().size(), 1U);
  EXPECT_EQ(machine.LogRecords()[0].format, "after");
  EXPECT_EQ(TextOf(named), "2024-01-01T00:00:00.000Z I SDKLog before\n");
}

}  // namespace
}  // namespace simulated
