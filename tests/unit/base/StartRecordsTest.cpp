// All fields of the records with which a program is started. This file replaces the two functions of the
// port: they store the records and start nothing.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "base/CommonFunc.h"
#include "platform/Processes.h"
#include "simulated/directory/CurrentMachine.h"

namespace {

platform::STARTUPINFOW startup;
platform::PROCESS_INFORMATION information;
platform::SHELLEXECUTEINFOW execution;
std::u16string verb, file, parameters;

}  // namespace

namespace platform {

BOOL CreateProcessW(const char16_t*, char16_t*, void*, void*, BOOL, DWORD, void*, const char16_t*,
                    STARTUPINFOW* startupInfo, PROCESS_INFORMATION* processInformation) {
  startup = *startupInfo;
  information = *processInformation;
  return 0;
}

BOOL ShellExecuteExW(SHELLEXECUTEINFOW* execute) {
  execution = *execute;
  verb = execute->lpVerb;
  file = execute->lpFile;
  parameters = execute->lpParameters;
  return 0;
}

}  // namespace platform

namespace kestrelbay {
namespace {

/** Fills the stack where the records of the next call will be with bytes that are not zero. */
[[gnu::noinline]] void SoilTheStack() {
  volatile unsigned char bytes[0x4000];
  for (volatile unsigned char& byte : bytes) byte = 0xA5;
}

class StartRecords : public testing::Test {
 protected:
  StartRecords() { simulated::UseMachine(std::make_unique<simulated::Machine>()); }
};

TEST_F(StartRecords, OfACommandLineAreZeroExceptSizeAndWindow) {
  SoilTheStack();
  EXPECT_EQ(StartProcess(u"tool.exe"), 0);
  EXPECT_EQ(startup.cb, 104U);
  EXPECT_EQ(startup.dwFlags, 1U);
  EXPECT_EQ(startup.wShowWindow, 1U);
  const auto texts = std::tuple(startup.lpReserved, startup.lpDesktop, startup.lpTitle);
  EXPECT_TRUE(texts == decltype(texts)());
  const auto numbers =
      std::tuple(startup.dwX, startup.dwY, startup.dwXSize, startup.dwYSize, startup.dwXCountChars,
                 startup.dwYCountChars, startup.dwFillAttribute, startup.cbReserved2);
  EXPECT_TRUE(numbers == decltype(numbers)());
  const auto handles =
      std::tuple(startup.lpReserved2, startup.hStdInput, startup.hStdOutput, startup.hStdError);
  EXPECT_TRUE(handles == decltype(handles)());
  const auto process =
      std::tuple(information.hProcess, information.hThread, information.dwProcessId, information.dwThreadId);
  EXPECT_TRUE(process == decltype(process)());
}

TEST_F(StartRecords, OfAnElevatedStartAreZeroExceptItsArguments) {
  SoilTheStack();
  EXPECT_EQ(StartProcessElevated("tool.exe", "-x", 5), nullptr);
  EXPECT_EQ(execution.cbSize, 112U);
  EXPECT_EQ(execution.fMask, 0x40U);
  EXPECT_EQ(verb, u"runas");
  EXPECT_EQ(file, u"tool.exe");
  EXPECT_EQ(parameters, u"-x");
  EXPECT_EQ(execution.nShow, 5);
  const auto handles = std::tuple(execution.hwnd, execution.hInstApp, execution.hkeyClass, execution.hIcon,
                                  execution.hProcess, execution.lpIDList);
  EXPECT_TRUE(handles == decltype(handles)());
  const auto others = std::tuple(execution.lpDirectory, execution.lpClass, execution.dwHotKey);
  EXPECT_TRUE(others == decltype(others)());
}

}  // namespace
}  // namespace kestrelbay
