#include <gmock/gmock.h>

#include "base/CommonFunc.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using simulated::Handles;
using simulated::Waitable;

class ProcessStart : public OnMachine {
 protected:
  ProcessStart() { machine.drives.AddFile(u"C:\\Tools\\tool.exe"); }
  ~ProcessStart() override { machine.programs.WaitForAll(); }
};

TEST_F(ProcessStart, StartsACommandLineInANewConsole) {
  std::int32_t started = 0;
  const auto calls = CallsOf([&] { started = StartProcess(u"C:\\Tools\\tool.exe -x"); });
  EXPECT_EQ(started, 1);
  ASSERT_EQ(machine.programs.Starts().size(), 1U);
  EXPECT_EQ(machine.programs.Starts()[0].path, u"C:\\Tools\\tool.exe");
  EXPECT_EQ(machine.programs.Starts()[0].parameters, u"-x");
  EXPECT_FALSE(machine.programs.Starts()[0].elevated);
  ASSERT_EQ(calls.size(), 1U);
  // No security attributes, no inheritance, a new console, and a start record of 104 bytes.
  EXPECT_EQ(
      calls[0],
      "CreateProcessW(null, \"C:\\Tools\\tool.exe -x\", null, null, 0, 0x10, null, null, 104, 0x1, 1) = 1");
}

TEST_F(ProcessStart, LeavesBothHandlesOpen) {
  const std::size_t processes = Handles::Shared().OpenCount(Waitable::Kind::Process);
  const std::size_t threads = Handles::Shared().OpenCount(Waitable::Kind::Thread);
  ASSERT_EQ(StartProcess(u"C:\\Tools\\tool.exe"), 1);
  EXPECT_EQ(Handles::Shared().OpenCount(Waitable::Kind::Process), processes + 1);
  EXPECT_EQ(Handles::Shared().OpenCount(Waitable::Kind::Thread), threads + 1);
}

TEST_F(ProcessStart, FailureYieldsZero) {
  std::int32_t started = 1;
  const auto calls = CallsOf([&] { started = StartProcess(u"C:\\none.exe"); });
  EXPECT_EQ(started, 0);
  EXPECT_TRUE(machine.programs.Starts().empty());
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_THAT(calls[0], testing::StartsWith("CreateProcessW("));
  EXPECT_EQ(calls[1], "GetLastError() = 2");
}

TEST_F(ProcessStart, ElevatedStartYieldsAProcessThatTheCallerOwns) {
  platform::HANDLE process = nullptr;
  const auto calls = CallsOf([&] { process = StartProcessElevated("C:\\Tools\\tool.exe", "-\u00e9", 5); });
  ASSERT_NE(process, nullptr);
  ASSERT_EQ(machine.programs.Starts().size(), 1U);
  EXPECT_EQ(machine.programs.Starts()[0].path, u"C:\\Tools\\tool.exe");
  EXPECT_EQ(machine.programs.Starts()[0].parameters, u"-\u00e9");
  EXPECT_TRUE(machine.programs.Starts()[0].elevated);
  EXPECT_EQ(calls.back(),
            "ShellExecuteExW(112, 0x40, null, \"runas\", \"C:\\Tools\\tool.exe\", \"-\u00e9\", null, 5) = 1");
  EXPECT_TRUE(Handles::Shared().Close(process));
}

TEST_F(ProcessStart, RefusedElevationIsNullAndStartsNothing) {
  machine.elevationGranted = false;
  platform::HANDLE process = &process;
  const auto calls = CallsOf([&] { process = StartProcessElevated("C:\\Tools\\tool.exe", "", 1); });
  EXPECT_EQ(process, nullptr);
  EXPECT_THAT(calls.back(), testing::StartsWith("ShellExecuteExW("));  // the last error is not read
  EXPECT_TRUE(machine.programs.Starts().empty());
}

TEST_F(ProcessStart, StartWithoutAProcessYieldsNull) {
  machine.programs.Set(u"C:\\Tools\\tool.exe", {.run = [] { return 0; }, .givesHandle = false});
  EXPECT_EQ(StartProcessElevated("C:\\Tools\\tool.exe", "", 1), nullptr);
  EXPECT_EQ(machine.programs.Starts().size(), 1U);
}

}  // namespace
}  // namespace kestrelbay
