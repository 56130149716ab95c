// What only the simulated machine shows of a job. The usual outcomes are tests of conformance, on both
// bindings.
#include "lifecycle/AppUninstall.h"

#include <gmock/gmock.h>

#include "lifecycle/JobTest.h"
#include "simulated/base/Handles.h"

namespace kestrelbay {
namespace {

using simulated::Handles;
using simulated::Waitable;
using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

constexpr char16_t kProgram[] = u"C:\\Apps\\App\\un.exe";

class AppUninstallTest : public JobTest {
 protected:
  void SetUninstaller(const std::function<void()>& change) {
    SetProgram(kProgram, [change] {
      change();
      return 0;
    });
  }
  void SetWorkingUninstaller() {
    SetUninstaller([this] { RemoveApp(u"App"); });
  }

  void ExpectReport(UninstallRecord& record, const std::string& result, const std::string& errMsg) {
    Run(record);
    EXPECT_EQ(record.Result, result);
    EXPECT_EQ(record.ErrMsg, errMsg);
    ASSERT_EQ(Reports().size(), 1U);
    const Report report = Reports()[0];
    EXPECT_EQ(report.request, static_cast<UninstallRequest*>(&record));
    EXPECT_EQ(report.result, result);
    EXPECT_EQ(report.errMsg, errMsg);
  }

  UninstallTarget PlaceOf(const std::u16string& command) {
    AddApp(u"App", u"1.0", command);
    return AppUninstall::GetInstance().GetUninstallPath("App", "");
  }

  const std::string begin = "AppUninstall 3 StartUninstall: StartUninstall begin, displayName: ";
  const std::string found =
      "AppUninstall 3 GetUninstallPath: uninstallPath=C:\\Apps\\App\\un.exe /S, "
      "uninstallRegHkey=HKEY_LOCAL_MACHINE, "
      "uninstallRegPath=Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App, arch:X64";
  const std::string split = "AppUninstall 3 GetUninstallPath: exePath=C:\\Apps\\App\\un.exe, para=/S";
  const std::string started =
      "AppUninstall 3 StartUninstallProcess: enter StartUninstallProcess:appPath=C:\\Apps\\App\\un.exe, "
      "para=/S";
};

TEST_F(AppUninstallTest, EntryWithoutACommandHasNoCommand) {
  SetTexts(KeyOf(u"App"), {{u"DisplayName", u"App"}});
  UninstallRecord record("App");
  ExpectReport(record, "Fail", "Get uninstall path is empty!");
}

TEST_F(AppUninstallTest, MissingProgramIsLoggedWithoutItsQuotes) {
  AddApp(u"App", u"1.0", u"\"C:\\Apps\\App\\un.exe\" /S");
  UninstallRecord record("App");
  ExpectReport(record, "Fail", "Uninstall path is not exist!");
  EXPECT_EQ(TextOf(log).back(),
            "AppUninstall 5 UninstallThreadImp: get uninstall is not exist, exeFile: C:\\Apps\\App\\un.exe");
  EXPECT_TRUE(machine.programs.Starts().empty());
}

TEST_F(AppUninstallTest, RefusedElevationCancels) {
  AddApp(u"App", u"1.0", u"C:\\Apps\\App\\un.exe /S");
  SetWorkingUninstaller();
  machine.elevationGranted = false;
  UninstallRecord record("App");
  ExpectReport(record, "Cancel", "Start uninstall process fail!");
  EXPECT_THAT(
      TextOf(log),
      ElementsAre(begin + "App.", found, split, started,
                  "AppUninstall 5 StartUninstallProcess: Create process failed: 1223",
                  "AppUninstall 3 UninstallThreadImp: Start uninstall process fail, displayName: App"));
}

TEST_F(AppUninstallTest, StartWithoutAProcessCancelsAlthoughTheProgramRuns) {
  AddApp(u"App", u"1.0", u"C:\\Apps\\App\\un.exe /S");
  SetProgram(
      kProgram, [] { return 0; }, false);
  UninstallRecord record("App");
  ExpectReport(record, "Cancel", "Start uninstall process fail!");
  EXPECT_THAT(
      TextOf(log),
      ElementsAre(begin + "App.", found, split, started,
                  "AppUninstall 3 UninstallThreadImp: Start uninstall process fail, displayName: App"));
  EXPECT_EQ(machine.programs.Starts().size(), 1U);
}

TEST_F(AppUninstallTest, UninstallerSucceedsBeforeAndAfterTheWatch) {
  for (int round = 0; round < 20; ++round) {
    AddApp(u"App", u"1.0", u"C:\\Apps\\App\\un.exe /S");
    SetWorkingUninstaller();
    UninstallRecord record("App");
    Run(record);
    EXPECT_STREQ(record.Result, "Success");
  }
}

TEST_F(AppUninstallTest, JobCallsThePlatformInThisOrder) {
  AddApp(u"App", u"1.0", u"C:\\Apps\\App\\un.exe /S");
  SetUninstaller([this] {
    machine.registry.WaitForWatch(KeyOf(u"App"));
    RemoveApp(u"App");
  });
  UninstallRecord record("App");
  using testing::MatchesRegex;
  EXPECT_THAT(
      StepsOf(record),
      ElementsAre(
          "Sleep(500) = ", "registry", MatchesRegex("_waccess\\(.*un.exe\", 0\\) = 0"),
          "ShellExecuteExW(112, 0x40, null, \"runas\", \"C:\\Apps\\App\\un.exe\", \"/S\", null, 5) = 1",
          MatchesRegex("CreateEventW\\(null, 0, 1, \"App\"\\) = 0x[0-9a-f]+"), "registry",
          MatchesRegex("WaitForMultipleObjects\\(2, 0x[0-9a-f]+, 0x[0-9a-f]+, 0, 4294967295\\) = 0"),
          MatchesRegex("CloseHandle\\(0x[0-9a-f]+\\) = 1"), "registry"));
}

TEST_F(AppUninstallTest, ProcessIsNeitherClosedNorWaitedFor) {
  AddApp(u"App", u"1.0", u"C:\\Apps\\App\\un.exe /S");
  SetWorkingUninstaller();
  const std::size_t before = Handles::Shared().OpenCount(Waitable::Kind::Process);
  UninstallRecord record("App");
  const auto calls = CallsOf([&] { Run(record); });
  EXPECT_EQ(Handles::Shared().OpenCount(Waitable::Kind::Process), before + 1);
  EXPECT_THAT(calls, testing::Contains("ShellExecuteExW(112, 0x40, null, \"runas\", "
                                       "\"C:\\Apps\\App\\un.exe\", \"/S\", null, 5) = 1"));
}

TEST_F(AppUninstallTest, QuotesAreKeptForTheShell) {
  AddApp(u"App", u"1.0", u"\"C:\\Apps\\App\\un.exe\" /S");
  SetWorkingUninstaller();
  UninstallRecord record("App");
  const auto calls = CallsOf([&] { Run(record); });
  EXPECT_STREQ(record.Result, "Success");
  EXPECT_THAT(calls, testing::Contains("ShellExecuteExW(112, 0x40, null, \"runas\", "
                                       "\"\"C:\\Apps\\App\\un.exe\"\", \"/S\", null, 5) = 1"));
}

TEST_F(AppUninstallTest, EachQuoteIsRemovedForTheCheckOfTheProgram) {
  const auto missing = [&](const std::u16string& command) {
    AddApp(u"App", u"1.0", command);
    UninstallRecord record("App");
    Run(record);
    EXPECT_STREQ(record.ErrMsg, "Uninstall path is not exist!");
    return TextOf(log).back();
  };
  const std::string line = "AppUninstall 5 UninstallThreadImp: get uninstall is not exist, exeFile: ";
  EXPECT_EQ(missing(u"C:\\Apps\\\"My App\"\\un.exe /S"), line + "C:\\Apps\\My App\\un.exe");
  EXPECT_EQ(missing(u"\"C:\\Apps\\My App\\un.exe /S"), line + "C:\\Apps\\My App\\un.exe");
  EXPECT_EQ(missing(u"\"\"C:\\un.exe\"\" /S"), line + "C:\\un.exe");
}

TEST_F(AppUninstallTest, OnlyAPathWithColonAndBackslashIsChecked) {
  const auto isChecked = [&](const std::u16string& command) {
    AddApp(u"App", u"1.0", command);
    UninstallRecord record("App");
    const auto calls = CallsOf([&] { Run(record); });
    const bool wasAsked =
        std::ranges::any_of(calls, [](const std::string& call) { return call.starts_with("_waccess"); });
    EXPECT_STREQ(record.ErrMsg, wasAsked ? "Uninstall path is not exist!" : "Start uninstall process fail!");
    return wasAsked;
  };
  for (const char16_t* command :
       {u"no-such-program.exe /x", u"\\\\server\\share\\un.exe", u"folder\\un.exe /x", u"C:un.exe",
        u"C:/folder/un.exe", u"C:/folder\\un.exe"}) {
    EXPECT_FALSE(isChecked(command)) << std::u16string(command).length();
  }
  for (const char16_t* command : {u"C:\\un.exe", u"\"C:\\un.exe\" /x", u"program D:\\un.exe"}) {
    EXPECT_TRUE(isChecked(command));
  }
}

TEST_F(AppUninstallTest, BackslashInTheNamePreventsOnlyTheWatch) {
  const std::u16string key = KeyOf(u"Slash");
  SetTexts(key, {{u"DisplayName", u"A\\B"}, {u"UninstallString", u"C:\\Apps\\App\\un.exe"}});
  SetUninstaller([] {});
  UninstallRecord record("A\\B");
  ExpectReport(record, "Fail", "The app is still in registry!");
  EXPECT_THAT(TextOf(log), testing::Contains("AppUninstall 5 RegWatcher: CreateEvent failed"));
}

TEST_F(AppUninstallTest, GivenRegistryPathFindsNothing) {
  AddApp(u"App", u"1.0", u"C:\\Apps\\App\\un.exe /S");
  UninstallRecord record("App", "HKEY_LOCAL_MACHINE\\Software");
  ExpectReport(record, "Fail", "Get uninstall path is empty!");
  EXPECT_THAT(TextOf(log),
              testing::Contains("AppUninstall 5 InquryUnInstallInfo: application not found from the "
                                "given registry path."));
}

TEST_F(AppUninstallTest, LookUpFillsFiveResults) {
  AddApp(u"App", u"1.0", u"C:\\Apps\\App\\un.exe /S");
  ResultMap info;
  AppUninstall::GetInstance().InquryUnInstallInfo(info, "App", "");
  EXPECT_THAT(info, UnorderedElementsAre(
                        Pair("DisplayName", "App"), Pair("UninstallString", "C:\\Apps\\App\\un.exe /S"),
                        Pair("rootKeyStr", "HKEY_LOCAL_MACHINE"),
                        Pair("subKeyPath", "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App"),
                        Pair("architecture", "X64")));
}

TEST_F(AppUninstallTest, LookUpFillsFiveResultsAndTheFailureTwoMore) {
  AddApp(u"App", u"1.0", u"C:\\Apps\\App\\un.exe /S");
  SetUninstaller([] {});
  SetStopAppEvent();
  EXPECT_THAT(
      AppUninstall::GetInstance().UninstallThreadImp("App", ""),
      UnorderedElementsAre(Pair("DisplayName", "App"), Pair("UninstallString", "C:\\Apps\\App\\un.exe /S"),
                           Pair("rootKeyStr", "HKEY_LOCAL_MACHINE"),
                           Pair("subKeyPath", "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App"),
                           Pair("architecture", "X64"), Pair("Result", "Fail"),
                           Pair("ErrMsg", "The app is still in registry!")));
}

TEST_F(AppUninstallTest, ArchitectureIsTheViewOfTheEntry) {
  const auto architectureOf = [&](const std::u16string& key) {
    SetTexts(key, {{u"DisplayName", u"App"}, {u"UninstallString", u"u"}});
    ResultMap info;
    AppUninstall::GetInstance().InquryUnInstallInfo(info, "App", "");
    machine.registry.RemoveKey(key);
    return info["architecture"] + " " + info["rootKeyStr"];
  };
  EXPECT_EQ(architectureOf(kUninstall32Path + u"\\App"), "X86 HKEY_LOCAL_MACHINE");
  EXPECT_EQ(architectureOf(kUninstall64Path + u"\\App"), "X64 HKEY_LOCAL_MACHINE");
  EXPECT_EQ(
      architectureOf(u"HKEY_USERS\\S-1-5-21-9\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App"),
      "ARCH_UNKNOWN HKEY_USERS");
}

struct CommandCase {
  const char16_t* command;
  const char* exePath;
  const char* para;
};

constexpr CommandCase kCommands[] = {
    {u"un.exe /x {A} ", "un.exe", "/x {A} "},
    {u"MsiExec.exe /I{0}", "MsiExec.exe", "/I{0}"},
    {u"\"C:\\Program Files\\App\\un.exe\" /S", "\"C:\\Program Files\\App\\un.exe\"", "/S"},
    {u"C:\\Program Files\\App\\un.exe", "C:\\Program Files\\App\\un.exe", ""},
    {u"C:\\Program Files\\App\\un.exe  -a b", "C:\\Program Files\\App\\un.exe", " -a b"},
    {u"C:\\a.exe.d\\b.exe c.exe d", "C:\\a.exe.d\\b.exe", "c.exe d"},
    {u"C:\\My.exe Files\\un.exe /S", "C:\\My.exe", "Files\\un.exe /S"},
    {u"C:\\App\\UN.EXE /S", "C:\\App\\UN.EXE /S", ""},
    {u"C:\\My Scripts\\remove.cmd now", "C:\\My Scripts\\remove.cmd now", ""},
    {u"C:\\App\\un.exe\t/S x", "C:\\App\\un.exe\t/S", "x"},
    {u".exe /S", ".exe", "/S"},
    {u"u", "u", ""},
};

TEST_F(AppUninstallTest, CommandIsSplitAtTheFirstBlankAfterTheFirstExe) {
  for (const CommandCase& expected : kCommands) {
    const UninstallTarget place = PlaceOf(expected.command);
    EXPECT_EQ(place.exePath, expected.exePath);
    EXPECT_EQ(place.para, expected.para);
  }
}

}  // namespace
}  // namespace kestrelbay
