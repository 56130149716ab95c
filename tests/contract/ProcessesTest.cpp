// Starting programs by command line and through the shell.
#include "platform/Processes.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "LastErrors.h"
#include "TestMachine.h"
#include "platform/Constants.h"
#include "platform/Events.h"

namespace platform {
namespace {

constexpr DWORD kOneMinute = 60'000;

class Processes : public testing::Test {
 protected:
  /** Starts a command line as the library does. */
  BOOL Start(std::u16string commandLine) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = static_cast<WORD>(SW_SHOWNORMAL);
    return CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, 0, CREATE_NEW_CONSOLE, nullptr,
                          nullptr, &startup, &information);
  }

  /** Starts a file through the shell as the library does, which lets the shell show messages. */
  BOOL Execute(const std::u16string& file, const char16_t* parameters) {
    const tests::MessageCloser closer;
    execute = {};
    execute.cbSize = sizeof execute;
    execute.fMask = SEE_MASK_NOCLOSEPROCESS;
    execute.lpVerb = u"runas";
    execute.lpFile = file.c_str();
    execute.lpParameters = parameters;
    execute.nShow = static_cast<int>(SW_SHOWNORMAL);
    const BOOL isStarted = ShellExecuteExW(&execute);
    reason = GetLastError();  // before the end of the closer, which changes it
    return isStarted;
  }

  /** Wine's message box changes the last error. */
  void ExpectReason(DWORD lastError) const { EXPECT_EQ(!tests::RunsOnWine(), reason == lastError); }

  static void ExpectToEnd(HANDLE process) {
    ASSERT_NE(nullptr, process);
    EXPECT_EQ(0u, WaitForMultipleObjects(1, &process, 0, kOneMinute));
    EXPECT_NE(0, CloseHandle(process));
  }

  tests::TestMachine machine;
  std::u16string program = machine.Folder() + u"\\Program.exe";
  PROCESS_INFORMATION information = {};
  SHELLEXECUTEINFOW execute = {};
  /** @return the last error of the latest start through the shell */
  DWORD reason = 0;
};

TEST_F(Processes, AProgramRunsAndItsHandleIsSignalledAtItsEnd) {
  machine.MakeProgram(program);
  ASSERT_NE(0, Start(program));
  ExpectToEnd(information.hProcess);
  ASSERT_NE(nullptr, information.hThread);
  EXPECT_NE(0, CloseHandle(information.hThread));
  EXPECT_TRUE(machine.ProgramRan(program));
}

TEST_F(Processes, AQuotedProgramIsTheFirstWord) {
  program = machine.Folder() + u"\\Two words.exe";
  machine.MakeProgram(program);
  ASSERT_NE(0, Start(u"\"" + program + u"\" -a \"b c\""));
  ExpectToEnd(information.hProcess);
  CloseHandle(information.hThread);
  EXPECT_TRUE(machine.ProgramRan(program));
  EXPECT_EQ(machine.ParametersOf(program), u"-a \"b c\"");
}

TEST_F(Processes, AnUnquotedProgramIsFoundAcrossBlanks) {
  program = machine.Folder() + u"\\Two words.exe";
  machine.MakeProgram(program);
  ASSERT_NE(0, Start(program + u" -a"));
  ExpectToEnd(information.hProcess);
  CloseHandle(information.hThread);
  EXPECT_TRUE(machine.ProgramRan(program));
}

TEST_F(Processes, OfUnquotedProgramsTheShortestRuns) {
  const std::u16string shortest = machine.Folder() + u"\\Two.exe";
  program = shortest.substr(0, shortest.rfind(u'.')) + u" words.exe";
  machine.MakeProgram(shortest);
  machine.MakeProgram(program);
  ASSERT_NE(0, Start(program + u" -a"));
  ExpectToEnd(information.hProcess);
  CloseHandle(information.hThread);
  EXPECT_TRUE(machine.ProgramRan(shortest));
  EXPECT_FALSE(machine.ProgramRan(program));
}

TEST_F(Processes, AMissingProgramIsNotFound) {
  EXPECT_EQ(0, Start(program + u" -a"));
  EXPECT_EQ(last_error::kFileNotFound, GetLastError());
  EXPECT_EQ(0, Start(u"no-such-program-here"));
  EXPECT_EQ(last_error::kFileNotFound, GetLastError());
}

TEST_F(Processes, TheShellRunsAProgramAndReturnsItsHandle) {
  machine.MakeProgram(program);
  ASSERT_NE(0, Execute(program, u"-a"));
  ExpectToEnd(execute.hProcess);
  EXPECT_TRUE(machine.ProgramRan(program));
}

TEST_F(Processes, TheShellDoesNotFindAMissingProgram) {
  EXPECT_EQ(0, Execute(program, u""));
  ExpectReason(last_error::kFileNotFound);
  EXPECT_EQ(nullptr, execute.hProcess);
}

TEST_F(Processes, TheShellRemovesQuotesAroundAName) {
  program = machine.Folder() + u"\\Two words.exe";
  machine.MakeProgram(program);
  const auto starts = [&](const std::u16string& name) {
    const bool isStarted = Execute(name, u"") != 0;
    if (isStarted) ExpectToEnd(execute.hProcess);
    return isStarted;
  };
  EXPECT_TRUE(starts(u"\"" + program + u"\""));
  EXPECT_EQ(!tests::RunsOnWine(), starts(u"\"\"" + program + u"\"\""));
  EXPECT_FALSE(starts(u"\"" + program + u"\" -a"));
}

TEST_F(Processes, TheShellFindsABareNameOnThePath) {
  const std::u16string folder = machine.Folder();
  machine.MakeProgram(folder + u"\\KestrelbayOnPath.exe");
  machine.SetVariable(u"PATH", u"C:\\;\"" + machine.Folder() + u"\";" + folder);
  ASSERT_NE(0, Execute(u"KestrelbayOnPath", u""));
  ExpectToEnd(execute.hProcess);
  EXPECT_TRUE(machine.ProgramRan(folder + u"\\KestrelbayOnPath.exe"));
  ASSERT_NE(0, Start(u"KestrelbayOnPath.exe -a"));
  ExpectToEnd(information.hProcess);
  CloseHandle(information.hThread);
}

TEST_F(Processes, TheShellFindsARegisteredNameAndCreationDoesNot) {
  machine.MakeProgram(program);
  machine.SetText(
      u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\KestrelbayName.exe", u"",
      program);
  ASSERT_NE(0, Execute(u"KestrelbayName.exe", u""));
  ExpectToEnd(execute.hProcess);
  EXPECT_TRUE(machine.ProgramRan(program));
  EXPECT_EQ(0, Start(u"KestrelbayName.exe"));
  EXPECT_EQ(last_error::kFileNotFound, GetLastError());
}

TEST_F(Processes, TheShellElevatesABatchFile) {
  for (const char16_t* name : {u"\\Un install.cmd", u"\\Remove.bat"}) {
    const std::u16string file = machine.Folder() + name;
    machine.MakeFile(file, "@exit /b 0\r\n");
    ASSERT_NE(0, Execute(file, u"now"));
    ExpectToEnd(execute.hProcess);
  }
}

TEST_F(Processes, TheShellExpandsNoVariableInAName) {
  machine.MakeProgram(program);
  machine.SetVariable(u"KestrelbayFolder", program.substr(0, program.rfind(u'\\')));
  EXPECT_EQ(tests::RunsOnWine(), Execute(u"%KestrelbayFolder%\\Program.exe", u"") != 0);
  if (execute.hProcess) ExpectToEnd(execute.hProcess);
}

TEST_F(Processes, TheShellReadsNoParametersFromAName) {
  machine.MakeProgram(program);
  EXPECT_EQ(0, Execute(u"\"" + program + u"\" -a", u""));
  ExpectReason(last_error::kFileNotFound);
}

TEST_F(Processes, TheShellStartsOnlyPrograms) {
  const std::u16string file = machine.Folder() + u"\\Read me.kestrelbay-test";
  machine.MakeFile(file, "no program");
  EXPECT_EQ(0, Execute(file, u""));
  ExpectReason(last_error::kNoAssociation);
  EXPECT_EQ(nullptr, execute.hProcess);
}

TEST_F(Processes, TheShellStartsNoFolder) {
  if (tests::RunsOnWine()) GTEST_SKIP() << "Wine opens a window on it, which nobody would close";
  EXPECT_EQ(0, Execute(machine.Folder(), u""));
  ExpectReason(last_error::kAccessDenied);
  EXPECT_EQ(nullptr, execute.hProcess);
}

/** The system's own reg, started as the library starts it for a key that it cannot delete. */
class RegCommand : public Processes {
 protected:
  /** @return its exit code */
  DWORD Delete(const std::u16string& key) {
    if (!Execute(u"reg", (u"delete " + key + u" /f").c_str())) throw std::runtime_error("reg does not start");
    EXPECT_EQ(0u, WaitForMultipleObjects(1, &execute.hProcess, 0, kOneMinute));
    const DWORD exitCode = tests::ExitCodeOf(execute.hProcess);
    CloseHandle(execute.hProcess);
    return exitCode;
  }

  const std::u16string above = u"HKEY_LOCAL_MACHINE\\Software\\Kestrelbay test";
  const std::u16string unblanked = u"HKEY_LOCAL_MACHINE\\Software\\Kestrelbay-test";
};

TEST_F(RegCommand, DeletesAKeyWithoutABlankAndItsSubkeys) {
  machine.CreateKey(unblanked + u"\\App\\Deep");
  machine.CreateKey(unblanked + u"\\Apple");
  EXPECT_EQ(0u, Delete(unblanked + u"\\App"));
  EXPECT_FALSE(machine.HasKey(unblanked + u"\\App"));
  EXPECT_TRUE(machine.HasKey(unblanked + u"\\Apple"));
}

TEST_F(RegCommand, DeletesAQuotedKeyWithABlank) {
  machine.CreateKey(above + u"\\One app\\Deep");
  EXPECT_EQ(0u, Delete(u"\"" + above + u"\\One app\""));
  EXPECT_FALSE(machine.HasKey(above + u"\\One app"));
  EXPECT_TRUE(machine.HasKey(above));
}

TEST_F(RegCommand, RefusesAnUnquotedKeyWithABlankAndDeletesNothing) {
  machine.CreateKey(unblanked + u"\\One app\\Deep");
  machine.CreateKey(unblanked + u"\\One");  // the first of the two arguments names this key
  EXPECT_EQ(1u, Delete(unblanked + u"\\One app"));
  EXPECT_TRUE(machine.HasKey(unblanked + u"\\One app\\Deep"));
  EXPECT_TRUE(machine.HasKey(unblanked + u"\\One"));
}

TEST_F(RegCommand, RefusesAMissingKey) {
  machine.CreateKey(unblanked + u"\\App");
  EXPECT_EQ(1u, Delete(unblanked + u"\\Ap"));
  EXPECT_TRUE(machine.HasKey(unblanked + u"\\App"));
}

}  // namespace
}  // namespace platform
