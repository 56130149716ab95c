// Installing: each outcome, its record and its log lines, with installers that really run.
#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "JobHost.h"

namespace tests {
namespace {

using testing::ElementsAre;

class Installing : public JobHost {
 protected:
  void ExpectOutcome(const InstallRecord& record, const char* result, const char* errMsg,
                     const char* version) {
    EXPECT_STREQ(record.Result, result);
    EXPECT_STREQ(record.ErrMsg, errMsg);
    EXPECT_STREQ(record.DisplayVersion, version);
    EXPECT_EQ(WaitForReports(1).size(), 1U);
  }

  /** The log of a job that ends before it starts its installer. */
  void ExpectShortLog(const std::string& last) {
    EXPECT_THAT(kestrelbay::TextOf(log), ElementsAre("AppInstall 3 StartInstall: StartInstall begin.",
                                                     "AppInstall 3 InstallThreadImp: InstallThreadImp begin.",
                                                     "AppInstall 5 InstallThreadImp: " + last));
  }

  /** The log of a job that runs an installer. */
  void ExpectLog(const std::string& last) {
    EXPECT_THAT(kestrelbay::TextOf(log),
                ElementsAre("AppInstall 3 StartInstall: StartInstall begin.",
                            "AppInstall 3 InstallThreadImp: InstallThreadImp begin.", StartLine(setup, "/S"),
                            "AppInstall 3 InstallThreadImp: " + last));
  }

  static std::string StartLine(const std::u16string& path, const std::string& parameters) {
    return "AppInstall 3 StartInstallProcessAndWait: enter StartInstallProcessAndWait:appPath=" +
           Narrow(path) + ", para=" + parameters;
  }
};

TEST_F(Installing, EmptyPath) {
  InstallRecord record(u"", "");
  Run(record);
  ExpectOutcome(record, "Fail", "Install path is empty!", "");
  ExpectShortLog("install path is empty, displayName: ");
}

TEST_F(Installing, EmptyPathOfANamedApplication) {
  AddApp(u"App", u"1.0");
  InstallRecord record(u"", "App");
  Run(record);
  ExpectOutcome(record, "Fail", "Install path is empty!", "");
  ExpectShortLog("install path is empty, displayName: App");
}

TEST_F(Installing, MissingPath) {
  InstallRecord record(setup, "App");
  Run(record);
  ExpectOutcome(record, "Fail", "Install path is not exist!", "");
  ExpectShortLog("install path is not exist, installationPath: " + Narrow(setup));
}

TEST_F(Installing, MissingPathWithoutAName) {
  InstallRecord record(setup, "");
  Run(record);
  ExpectOutcome(record, "Fail", "Install path is not exist!", "");
  ExpectShortLog("install path is not exist, installationPath: " + Narrow(setup));
}

TEST_F(Installing, EmptyName) {
  machine.MakeProgram(setup);
  InstallRecord record(setup, "");
  Run(record);
  ExpectOutcome(record, "Fail", "DisplayName is empty!", "");
  ExpectShortLog("displayName is empty");
  EXPECT_FALSE(machine.ProgramRan(setup));
}

TEST_F(Installing, FileThatIsNotAProgram) {
  AddApp(u"App", u"1.0");
  const std::u16string file = folder + u"\\setup.kestrelbay-test";
  machine.MakeFile(file, "no program");
  InstallRecord record(file, "App", "/S");
  Run(record);
  ExpectOutcome(record, "Fail", "Update fail!", "1.0");
  // Wine tries to show a message. Without a screen, the failure of that is the last error.
  const std::string lastError = RunsOnWine() ? "1400" : "1155";
  EXPECT_THAT(kestrelbay::TextOf(log),
              ElementsAre("AppInstall 3 StartInstall: StartInstall begin.",
                          "AppInstall 3 InstallThreadImp: InstallThreadImp begin.", StartLine(file, "/S"),
                          "AppInstall 5 StartInstallProcessAndWait: Create process failed: " + lastError,
                          "AppInstall 3 InstallThreadImp: Update fail, displayName: App"));
}

TEST_F(Installing, NewApplication) {
  machine.MakeProgram(setup, InstallSteps(u"App", u"1.0"));
  InstallRecord record(setup, "App", "/S");
  Run(record);
  ExpectOutcome(record, "Success", "NULL", "1.0");
  ExpectLog("Install success, displayName: App");
  EXPECT_THAT(Names(), ElementsAre("App"));
}

TEST_F(Installing, InstallerThatDoesNothing) {
  machine.MakeProgram(setup);
  InstallRecord record(setup, "App", "/S");
  Run(record);
  ExpectOutcome(record, "Fail", "Cannot find the app from registry!", "");
  ExpectLog("Install fail, cannot find the app from registry, displayName: App");
}

TEST_F(Installing, InstallerThatFails) {
  machine.MakeProgram(setup, Steps(), 1603);
  InstallRecord record(setup, "App", "/S");
  Run(record);
  ExpectOutcome(record, "Fail", "Cannot find the app from registry!", "");
  ExpectLog("Install fail, cannot find the app from registry, displayName: App");
}

TEST_F(Installing, Update) {
  AddApp(u"App", u"1.0");
  machine.MakeProgram(setup, InstallSteps(u"App", u"2.0"));
  InstallRecord record(setup, "App", "/S");
  Run(record);
  ExpectOutcome(record, "Success", "Update success!", "2.0");
  ExpectLog("Update success, displayName: App");
}

TEST_F(Installing, UpdateThatChangesNothing) {
  AddApp(u"App", u"1.0");
  machine.MakeProgram(setup);
  InstallRecord record(setup, "App", "/S");
  Run(record);
  ExpectOutcome(record, "Fail", "Update fail!", "1.0");
  ExpectLog("Update fail, displayName: App");
}

TEST_F(Installing, DowngradeIsAnUpdate) {
  AddApp(u"App", u"2.0");
  machine.MakeProgram(setup, InstallSteps(u"App", u"1.0"));
  InstallRecord record(setup, "App");
  Run(record);
  ExpectOutcome(record, "Success", "Update success!", "1.0");
}

TEST_F(Installing, InstallerThatRemovesTheApplicationCountsAsAnUpdate) {
  machine.MakeProgram(setup, {{ProgramStep::Kind::DeleteKey, AddApp(u"App", u"1.0")}});
  InstallRecord record(setup, "App");
  Run(record);
  ExpectOutcome(record, "Success", "Update success!", "");
}

TEST_F(Installing, ExitCodePlaysNoPart) {
  machine.MakeProgram(setup, InstallSteps(u"App", u"1.0"), 1603);
  InstallRecord record(setup, "App");
  Run(record);
  ExpectOutcome(record, "Success", "NULL", "1.0");
}

TEST_F(Installing, NameInAnotherCaseIsNotFound) {
  machine.MakeProgram(setup, InstallSteps(u"App", u"1.0"));
  InstallRecord record(setup, "APP");
  Run(record);
  ExpectOutcome(record, "Fail", "Cannot find the app from registry!", "");
}

TEST_F(Installing, GivenRegistryPathFindsNothing) {
  AddApp(u"App", u"1.0");
  machine.MakeProgram(setup, InstallSteps(u"App", u"2.0"));
  InstallRecord record(setup, "App", "", Narrow(kUninstall) + "\\App");
  Run(record);
  ExpectOutcome(record, "Fail", "Cannot find the app from registry!", "");
  const auto lines = kestrelbay::TextOf(log);
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       "AppInstall 5 InquryInstallInfo: application not found from the given registry path."),
            2);
}

TEST_F(Installing, StarterDoesNotWaitForTheInstaller) {
  Steps steps{{ProgramStep::Kind::WaitForSignal, u"", u"go"}};
  for (const ProgramStep& step : InstallSteps(u"App", u"1.0")) steps.push_back(step);
  machine.MakeProgram(setup, steps);
  InstallRecord record(setup, "App");
  Install(&record, &Receive);
  EXPECT_TRUE(WaitForReports(0).empty());
  machine.Signal(u"go");
  WaitForReports(1);
  ExpectOutcome(record, "Success", "NULL", "1.0");
}

TEST_F(Installing, LatestCallbackReceivesTheOlderJobToo) {
  machine.MakeProgram(setup, {{ProgramStep::Kind::WaitForSignal, u"", u"go"}});
  InstallRecord first(setup, "First");
  InstallRecord second(u"", "Second");
  Install(&first, &Receive);
  Install(&second, &ReceiveElsewhere);
  WaitForReports(1);
  machine.Signal(u"go");
  const auto reports = WaitForReports(2);
  EXPECT_EQ(reports[0].request, static_cast<InstallRequest*>(&second));
  EXPECT_EQ(reports[1].request, static_cast<InstallRequest*>(&first));
  EXPECT_EQ(reports[1].callback, 2);
}

TEST_F(Installing, SecondJobOfANameIsNotRefusedAndBothReport) {
  const std::u16string newer = folder + u"\\newer.exe";
  const auto makeHeld = [&](const std::u16string& path, const std::u16string& signal,
                            const char16_t* version) {
    Steps steps{{ProgramStep::Kind::WaitForSignal, u"", signal}};
    for (const ProgramStep& step : InstallSteps(u"App", version)) steps.push_back(step);
    machine.MakeProgram(path, steps);
  };
  makeHeld(setup, u"first", u"1.0");
  makeHeld(newer, u"second", u"2.0");
  InstallRecord first(setup, "App");
  InstallRecord later(newer, "App");
  Install(&first, &Receive);
  Install(&later, &Receive);
  // By then both jobs have made their first look-up.
  log.WaitUntil([this] {
    const auto isStart = [](const std::string& line) {
      return line.starts_with("enter StartInstallProcess");
    };
    const auto messages = log.Messages();
    return std::count_if(messages.begin(), messages.end(), isStart) == 2;
  });
  machine.Signal(u"first");
  EXPECT_EQ(WaitForReports(1)[0].request, static_cast<InstallRequest*>(&first));
  machine.Signal(u"second");
  EXPECT_EQ(WaitForReports(2)[1].request, static_cast<InstallRequest*>(&later));
  EXPECT_STREQ(first.DisplayVersion, "1.0");
  EXPECT_STREQ(later.DisplayVersion, "2.0");
  EXPECT_STREQ(first.ErrMsg, "NULL");
  EXPECT_STREQ(later.ErrMsg, "NULL");
}

TEST_F(Installing, UninstallationRunsAtTheSameTime) {
  Steps steps{{ProgramStep::Kind::WaitForSignal, u"", u"go"}};
  for (const ProgramStep& step : InstallSteps(u"New", u"1.0")) steps.push_back(step);
  machine.MakeProgram(setup, steps);
  machine.MakeProgram(uninstaller, UninstallSteps(AddApp(u"Old", u"1.0"), u"Old"));
  InstallRecord installation(setup, "New");
  UninstallRecord uninstall("Old");
  Install(&installation, &Receive);
  Uninstall(&uninstall, &ReceiveUninstall);
  EXPECT_EQ(WaitForReports(1)[0].callback, 3);
  EXPECT_STREQ(uninstall.Result, "Success");
  machine.WaitForProgram(uninstaller);
  machine.Signal(u"go");
  WaitForReports(2);
  EXPECT_STREQ(installation.Result, "Success");
  EXPECT_THAT(Names(), ElementsAre("New"));
}

TEST_F(Installing, TwoStartsTakeASecond) {
  InstallRecord first(u"", "First");
  InstallRecord second(u"", "Second");
  const auto before = std::chrono::steady_clock::now();
  std::thread other([&] { Install(&first, &Receive); });
  Install(&second, &Receive);
  other.join();
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(990));
  EXPECT_EQ(WaitForReports(2).size(), 2U);
}

}  // namespace
}  // namespace tests
