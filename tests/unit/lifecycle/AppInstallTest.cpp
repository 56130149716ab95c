#include "lifecycle/AppInstall.h"

#include <gmock/gmock.h>

#include <algorithm>

#include <cstddef>

#include "base/LoadTimeObjects.h"
#include "lifecycle/JobTest.h"
#include "simulated/base/Handles.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

constexpr char kSetup[] = "C:\\Downloads\\setup.exe";
const std::string kStarted =
    "AppInstall 3 StartInstallProcessAndWait: enter "
    "StartInstallProcessAndWait:appPath=C:\\Downloads\\setup.exe, "
    "para=";

class AppInstallTest : public JobTest {
 protected:
  /** Makes the installer register the application with this version. */
  void SetInstaller(const std::u16string& version, int exitCode = 0) {
    SetProgram(u"C:\\Downloads\\setup.exe", [this, version, exitCode] {
      AddApp(u"App", version);
      return exitCode;
    });
  }

  void ExpectReport(InstallRecord& record, const std::string& result, const std::string& errMsg,
                    const std::string& version) {
    Run(record);
    EXPECT_EQ(record.Result, result);
    EXPECT_EQ(record.ErrMsg, errMsg);
    EXPECT_EQ(record.DisplayVersion, version);
    ASSERT_EQ(Reports().size(), 1U);
    const Report report = Reports()[0];
    EXPECT_EQ(report.request, static_cast<InstallRequest*>(&record));
    EXPECT_EQ(report.result, result);
    EXPECT_EQ(report.errMsg, errMsg);
    EXPECT_EQ(report.version, version);
  }
};

TEST_F(AppInstallTest, EmptyPathFailsBeforeTheNameIsChecked) {
  InstallRecord record("", "");
  ExpectReport(record, "Fail", "Install path is empty!", "");
  EXPECT_THAT(TextOf(log),
              ElementsAre("AppInstall 3 StartInstall: StartInstall begin.",
                          "AppInstall 3 InstallThreadImp: InstallThreadImp begin.",
                          "AppInstall 5 InstallThreadImp: install path is empty, displayName: "));
}

TEST_F(AppInstallTest, EmptyPathIsLoggedWithTheName) {
  InstallRecord record("", "App");
  ExpectReport(record, "Fail", "Install path is empty!", "");
  EXPECT_EQ(TextOf(log).back(), "AppInstall 5 InstallThreadImp: install path is empty, displayName: App");
}

TEST_F(AppInstallTest, MissingPathFailsAndIsLoggedWithThePath) {
  InstallRecord record("C:\\none.exe", "App");
  ExpectReport(record, "Fail", "Install path is not exist!", "");
  EXPECT_EQ(TextOf(log).back(),
            "AppInstall 5 InstallThreadImp: install path is not exist, installationPath: C:\\none.exe");
}

TEST_F(AppInstallTest, MissingPathFailsBeforeTheNameIsChecked) {
  InstallRecord record("C:\\none.exe", "");
  ExpectReport(record, "Fail", "Install path is not exist!", "");
}

TEST_F(AppInstallTest, EmptyNameFailsIfThePathExists) {
  SetInstaller(u"1.0");
  InstallRecord record(kSetup, "");
  ExpectReport(record, "Fail", "DisplayName is empty!", "");
  EXPECT_EQ(TextOf(log).back(), "AppInstall 5 InstallThreadImp: displayName is empty");
  EXPECT_TRUE(machine.programs.Starts().empty());
  EXPECT_TRUE(Reports()[0].isRegistered) << "under the empty name";
}

TEST_F(AppInstallTest, NewApplicationThatAppearsIsASuccess) {
  SetInstaller(u"1.0");
  InstallRecord record(kSetup, "App", "/S");
  ExpectReport(record, "Success", "NULL", "1.0");
  EXPECT_THAT(TextOf(log),
              ElementsAre("AppInstall 3 StartInstall: StartInstall begin.",
                          "AppInstall 3 InstallThreadImp: InstallThreadImp begin.", kStarted + "/S",
                          "AppInstall 3 InstallThreadImp: Install success, displayName: App"));
}

TEST_F(AppInstallTest, NewApplicationThatDoesNotAppearIsAFailure) {
  SetProgram(u"C:\\Downloads\\setup.exe", [] { return 0; });
  InstallRecord record(kSetup, "App");
  ExpectReport(record, "Fail", "Cannot find the app from registry!", "");
  EXPECT_EQ(
      TextOf(log).back(),
      "AppInstall 3 InstallThreadImp: Install fail, cannot find the app from registry, displayName: App");
}

TEST_F(AppInstallTest, ChangedVersionIsAnUpdate) {
  AddApp(u"App", u"1.0");
  SetInstaller(u"2.0");
  InstallRecord record(kSetup, "App");
  ExpectReport(record, "Success", "Update success!", "2.0");
  EXPECT_EQ(TextOf(log).back(), "AppInstall 3 InstallThreadImp: Update success, displayName: App");
}

TEST_F(AppInstallTest, UnchangedVersionIsAFailedUpdate) {
  AddApp(u"App", u"1.0");
  SetInstaller(u"1.0");
  InstallRecord record(kSetup, "App");
  ExpectReport(record, "Fail", "Update fail!", "1.0");
  EXPECT_EQ(TextOf(log).back(), "AppInstall 3 InstallThreadImp: Update fail, displayName: App");
}

TEST_F(AppInstallTest, DowngradeIsAnUpdateToo) {
  AddApp(u"App", u"2.0");
  SetInstaller(u"1.0");
  InstallRecord record(kSetup, "App");
  ExpectReport(record, "Success", "Update success!", "1.0");
}

TEST_F(AppInstallTest, AnyDifferenceOfTheVersionTextsIsAnUpdate) {
  for (const auto& [before, after] : {std::pair{u"1.0", u"1.00"}, std::pair{u"1.0", u"1.0 "},
                                      std::pair{u"1.0a", u"1.0A"}, std::pair{u"1.0", u"01.0"}}) {
    AddApp(u"App", before);
    SetInstaller(after);
    InstallRecord record(kSetup, "App");
    Run(record);
    EXPECT_STREQ(record.ErrMsg, "Update success!") << record.DisplayVersion;
  }
}

TEST_F(AppInstallTest, ApplicationThatTheInstallerRemovesCountsAsUpdated) {
  AddApp(u"App", u"1.0");
  SetProgram(u"C:\\Downloads\\setup.exe", [this] {
    RemoveApp(u"App");
    return 0;
  });
  InstallRecord record(kSetup, "App");
  ExpectReport(record, "Success", "Update success!", "");
}

TEST_F(AppInstallTest, RemovedApplicationWithoutAVersionCountsAsUnchanged) {
  AddApp(u"App", u"");
  SetProgram(u"C:\\Downloads\\setup.exe", [this] {
    RemoveApp(u"App");
    return 0;
  });
  InstallRecord record(kSetup, "App");
  ExpectReport(record, "Fail", "Update fail!", "");
}

TEST_F(AppInstallTest, ExitCodePlaysNoPart) {
  SetInstaller(u"1.0", 1603);
  InstallRecord record(kSetup, "App");
  ExpectReport(record, "Success", "NULL", "1.0");
}

TEST_F(AppInstallTest, RefusedElevationCountsAsAnInstallerThatDidNothing) {
  SetInstaller(u"1.0");
  machine.elevationGranted = false;
  InstallRecord record(kSetup, "App");
  ExpectReport(record, "Fail", "Cannot find the app from registry!", "");
  EXPECT_THAT(TextOf(log),
              ElementsAre("AppInstall 3 StartInstall: StartInstall begin.",
                          "AppInstall 3 InstallThreadImp: InstallThreadImp begin.", kStarted,
                          "AppInstall 5 StartInstallProcessAndWait: Create process failed: 1223",
                          "AppInstall 3 InstallThreadImp: Install fail, cannot find the app from "
                          "registry, displayName: App"));
}

TEST_F(AppInstallTest, RefusedElevationOfAnUpdateIsAFailedUpdate) {
  AddApp(u"App", u"1.0");
  SetInstaller(u"2.0");
  machine.elevationGranted = false;
  InstallRecord record(kSetup, "App");
  ExpectReport(record, "Fail", "Update fail!", "1.0");
}

TEST_F(AppInstallTest, NameThatDiffersInCaseIsNotFound) {
  SetInstaller(u"1.0");
  InstallRecord record(kSetup, "app");
  ExpectReport(record, "Fail", "Cannot find the app from registry!", "");
}

TEST_F(AppInstallTest, NameIsComparedToItsEnd) {
  SetInstaller(u"1.0");
  InstallRecord record(kSetup, "App ");
  ExpectReport(record, "Fail", "Cannot find the app from registry!", "");
}

TEST_F(AppInstallTest, GivenRegistryPathFindsNoApplication) {
  AddApp(u"App", u"1.0");
  SetInstaller(u"2.0");
  InstallRecord record(kSetup, "App", "", "HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows");
  ExpectReport(record, "Fail", "Cannot find the app from registry!", "");
  const std::string notFound =
      "AppInstall 5 InquryInstallInfo: application not found from the given registry path.";
  EXPECT_THAT(
      TextOf(log),
      ElementsAre("AppInstall 3 StartInstall: StartInstall begin.",
                  "AppInstall 3 InstallThreadImp: InstallThreadImp begin.", notFound, kStarted, notFound,
                  "AppInstall 3 InstallThreadImp: Install fail, cannot find the app from "
                  "registry, displayName: App"));
}

TEST_F(AppInstallTest, LookUpAddsNothingForAnUnknownApplication) {
  ResultMap info{{"kept", "x"}};
  AppInstall::GetInstance().InquryInstallInfo(info, "App", "");
  EXPECT_THAT(info, ElementsAre(testing::Pair("kept", "x")));
  EXPECT_THAT(TextOf(log), ElementsAre());
}

TEST_F(AppInstallTest, JobCallsThePlatformInThisOrder) {
  SetInstaller(u"1.0");
  InstallRecord record(kSetup, "App", "/S /D=C:\\x");
  using testing::MatchesRegex;
  EXPECT_THAT(
      StepsOf(record),
      ElementsAre("Sleep(500) = ", MatchesRegex("_waccess\\(.*setup.exe\", 0\\) = 0"), "registry",
                  "ShellExecuteExW(112, 0x40, null, \"runas\", \"C:\\Downloads\\setup.exe\", "
                  "\"/S /D=C:\\x\", null, 5) = 1",
                  MatchesRegex("WaitForMultipleObjects\\(2, 0x[0-9a-f]+, 0x[0-9a-f]+, 0, 4294967295\\) = 0"),
                  MatchesRegex("CloseHandle\\(0x[0-9a-f]+\\) = 1"), "registry"));
}

TEST_F(AppInstallTest, ProcessIsTheFirstHandleOfTheWaitAndIsClosed) {
  SetInstaller(u"1.0");
  const std::size_t before = simulated::Handles::Shared().OpenCount(simulated::Waitable::Kind::Process);
  InstallRecord record(kSetup, "App");
  std::vector<std::string> calls = CallsOf([&] { Run(record); });
  const auto wait = std::ranges::find_if(
      calls, [](const std::string& call) { return call.starts_with("WaitForMultipleObjects"); });
  const auto close =
      std::ranges::find_if(calls, [](const std::string& call) { return call.starts_with("CloseHandle"); });
  ASSERT_NE(wait, calls.end());
  ASSERT_NE(close, calls.end());
  const std::string process = close->substr(12, close->find(')') - 12);
  EXPECT_TRUE(wait->starts_with("WaitForMultipleObjects(2, " + process + ", ")) << *wait << *close;
  EXPECT_EQ(simulated::Handles::Shared().OpenCount(simulated::Waitable::Kind::Process), before);
}

TEST_F(AppInstallTest, StartWithoutAProcessDoesNotWait) {
  SetProgram(
      u"C:\\Downloads\\setup.exe", [] { return 0; }, false);
  AddApp(u"App", u"1.0");
  InstallRecord record(kSetup, "App");
  const auto calls = CallsOf([&] { ExpectReport(record, "Fail", "Update fail!", "1.0"); });
  // The null handle is not checked: Windows refuses the wait and the close.
  EXPECT_THAT(calls, testing::Contains(testing::MatchesRegex(
                         "WaitForMultipleObjects\\(2, null, 0x[0-9a-f]+, 0, 4294967295\\) = 4294967295")));
  EXPECT_THAT(calls, testing::Contains("CloseHandle(null) = 0"));
}

TEST_F(AppInstallTest, FailedWaitCountsAsAnEndedInstaller) {
  Gate held;
  SetProgram(u"C:\\Downloads\\setup.exe", [&] {
    held.Pass();
    return 0;
  });
  const std::size_t before = simulated::Handles::Shared().OpenCount(simulated::Waitable::Kind::Process);
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "WaitForMultipleObjects");
  EXPECT_TRUE(AppInstall::GetInstance().StartInstallProcessAndWait(kSetup, ""));
  EXPECT_EQ(simulated::Handles::Shared().OpenCount(simulated::Waitable::Kind::Process), before);
  held.Open();
  machine.programs.WaitForAll();
}

TEST_F(AppInstallTest, RefusedElevationReturnsFalseAndWaitsForNothing) {
  SetInstaller(u"1.0");
  machine.elevationGranted = false;
  const auto calls =
      CallsOf([] { EXPECT_FALSE(AppInstall::GetInstance().StartInstallProcessAndWait(kSetup, "")); });
  EXPECT_TRUE(std::ranges::none_of(
      calls, [](const std::string& call) { return call.starts_with("WaitForMultipleObjects"); }));
}

TEST_F(AppInstallTest, LongVersionOverrunsItsField) {
  SetInstaller(std::u16string(259, u'\u00e9'));
  InstallRecord record(kSetup, "App");
  Run(record);
  std::string version;
  for (int i = 0; i < 259; ++i) version += "\u00e9";
  // Read from the start of the record, because the text is longer than its field.
  const auto* const start = reinterpret_cast<const char*>(&record);
  EXPECT_EQ(std::string(start + offsetof(InstallRequest, DisplayVersion)), version);
}

TEST_F(AppInstallTest, FirstRecordOfTheNameCounts) {
  AddApp(u"App", u"1.0");
  SetTexts(u"HKEY_USERS\\S-1-5-21-9\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App",
           {{u"DisplayName", u"App"}, {u"DisplayVersion", u"3.0"}, {u"UninstallString", u"u"}});
  ResultMap info;
  AppInstall::GetInstance().InquryInstallInfo(info, "App", "");
  EXPECT_EQ(info["DisplayVersion"], "1.0");
}

TEST_F(AppInstallTest, LookUpFillsNameAndVersion) {
  AddApp(u"App", u"1.0");
  ResultMap info;
  AppInstall::GetInstance().InquryInstallInfo(info, "App", "");
  EXPECT_THAT(info, testing::UnorderedElementsAre(testing::Pair("DisplayName", "App"),
                                                  testing::Pair("DisplayVersion", "1.0")));
}

}  // namespace
}  // namespace kestrelbay
