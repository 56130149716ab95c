// Uninstalling: each outcome, its record and its log lines, with uninstallers that really run.
#include <gmock/gmock.h>

#include "JobHost.h"

namespace tests {
namespace {

using testing::ElementsAre;

class Uninstalling : public JobHost {
 protected:
  void ExpectOutcome(const UninstallRecord& record, const char* result, const char* errMsg) {
    EXPECT_STREQ(record.Result, result);
    EXPECT_STREQ(record.ErrMsg, errMsg);
    EXPECT_EQ(WaitForReports(1).size(), 1U);
  }

  std::string LastLine() const { return kestrelbay::TextOf(log).back(); }

  static std::string Line(const std::string& text) { return "AppUninstall 3 " + text; }
  static std::string ErrorLine(const std::string& text) { return "AppUninstall 5 " + text; }
  static std::string BeginLine(const std::string& name) {
    return Line("StartUninstall: StartUninstall begin, displayName: " + name + ".");
  }

  /** The log lines of a job up to the start of `exePath` with these parameters. */
  static std::vector<std::string> LinesToTheStart(const std::string& name, const std::string& architecture,
                                                  const std::string& exePath, const std::string& para) {
    return {BeginLine(name),
            Line("GetUninstallPath: uninstallPath=" + exePath + " " + para +
                 ", uninstallRegHkey=HKEY_LOCAL_MACHINE, uninstallRegPath=" + SubKeyOf(name) +
                 ", arch:" + architecture),
            Line("GetUninstallPath: exePath=" + exePath + ", para=" + para),
            Line("StartUninstallProcess: enter StartUninstallProcess:appPath=" + exePath + ", para=" + para)};
  }
  /** The log lines of a job up to its watch. */
  std::vector<std::string> LinesToTheWatch(const std::string& name, const std::string& architecture) const {
    auto lines = LinesToTheStart(name, architecture, "\"" + Narrow(uninstaller) + "\"", "/S");
    lines.push_back(Line("RegWatcher: rootKeyStr=HKEY_LOCAL_MACHINE, uninstallRegPath=" + SubKeyOf(name)));
    return lines;
  }

 private:
  static std::string SubKeyOf(const std::string& name) {
    return "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + name;
  }
};

TEST_F(Uninstalling, EmptyName) {
  UninstallRecord record("");
  Run(record);
  ExpectOutcome(record, "Fail", "DisplayName is empty!");
  EXPECT_THAT(kestrelbay::TextOf(log),
              ElementsAre(BeginLine(""), ErrorLine("UninstallThreadImp: displayName is empty")));
}

TEST_F(Uninstalling, UnknownApplication) {
  UninstallRecord record("None");
  Run(record);
  ExpectOutcome(record, "Fail", "Get uninstall path is empty!");
  EXPECT_THAT(
      kestrelbay::TextOf(log),
      ElementsAre(BeginLine("None"),
                  Line("GetUninstallPath: uninstallPath=, uninstallRegHkey=, uninstallRegPath=, arch:"),
                  Line("GetUninstallPath: exePath=, para="),
                  ErrorLine("UninstallThreadImp: get uninstall path is empty, displayName: None")));
}

TEST_F(Uninstalling, MissingUninstaller) {
  AddApp(u"App", u"1.0");
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Fail", "Uninstall path is not exist!");
  auto lines = LinesToTheStart("App", "X64", "\"" + Narrow(uninstaller) + "\"", "/S");
  lines.back() = ErrorLine("UninstallThreadImp: get uninstall is not exist, exeFile: " + Narrow(uninstaller));
  EXPECT_EQ(kestrelbay::TextOf(log), lines);
}

TEST_F(Uninstalling, UninstallerThatCannotBeStarted) {
  const std::string program = "kestrelbay-no-such-program.exe";
  Entry(u"App", {{u"DisplayName", u"App"}, {u"UninstallString", u"kestrelbay-no-such-program.exe /x"}});
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Cancel", "Start uninstall process fail!");
  auto lines = LinesToTheStart("App", "X64", program, "/x");
  // Wine tries to show a message. Without a screen, the failure of that is the last error.
  lines.push_back(ErrorLine(std::string("StartUninstallProcess: Create process failed: ") +
                            (RunsOnWine() ? "1400" : "2")));
  lines.push_back(Line("UninstallThreadImp: Start uninstall process fail, displayName: App"));
  EXPECT_EQ(kestrelbay::TextOf(log), lines);
}

TEST_F(Uninstalling, ApplicationThatStays) {
  const KeyPath key = AddApp(u"App", u"1.0");
  machine.MakeProgram(uninstaller, {{ProgramStep::Kind::WaitForWatch, key, u"App"},
                                    {ProgramStep::Kind::CreateKey, {key.path + u"\\New", key.view}}});
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Fail", "The app is still in registry!");
  auto lines = LinesToTheWatch("App", "X64");
  lines.push_back(Line("UninstallThreadImp: the app is still in registry, displayName: App"));
  EXPECT_EQ(kestrelbay::TextOf(log), lines);
}

TEST_F(Uninstalling, ApplicationThatIsRemoved) {
  const KeyPath key = AddApp(u"App", u"1.0");
  machine.MakeProgram(uninstaller, UninstallSteps(key, u"App"));
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Success", "NULL");
  EXPECT_EQ(kestrelbay::TextOf(log), LinesToTheWatch("App", "X64"));
  machine.WaitForProgram(uninstaller);
  EXPECT_FALSE(machine.HasKey(key));
}

TEST_F(Uninstalling, ApplicationThatIsRemovedBeforeTheWatch) {
  const KeyPath key = AddApp(u"App", u"1.0");
  machine.MakeProgram(uninstaller, {{ProgramStep::Kind::DeleteKey, key}});
  log.When("rootKeyStr=", [this] { machine.WaitForProgram(uninstaller); });
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Success", "NULL");
  auto lines = LinesToTheWatch("App", "X64");
  lines.push_back("AppUninstall 5 RegWatcher: RegOpenKeyEx failed: 2");
  EXPECT_EQ(kestrelbay::TextOf(log), lines);
}

TEST_F(Uninstalling, ApplicationOfThe32BitView) {
  const KeyPath key = AddApp(u"Narrow", u"1.0", View::Bits32);
  machine.MakeProgram(uninstaller, UninstallSteps(key, u"Narrow"));
  UninstallRecord record("Narrow");
  Run(record);
  ExpectOutcome(record, "Success", "NULL");
  EXPECT_EQ(kestrelbay::TextOf(log), LinesToTheWatch("Narrow", "X86"));
  machine.WaitForProgram(uninstaller);
}

TEST_F(Uninstalling, ApplicationOfOneUser) {
  const KeyPath key =
      UserEntry(u"Mine", {{u"DisplayName", u"Mine"}, {u"UninstallString", u"\"" + uninstaller + u"\""}});
  machine.MakeProgram(uninstaller, UninstallSteps(key, u"Mine"));
  UninstallRecord record("Mine");
  Run(record);
  ExpectOutcome(record, "Success", "NULL");
  EXPECT_THAT(LastLine(),
              testing::StartsWith(Line("RegWatcher: rootKeyStr=HKEY_USERS, uninstallRegPath=S-1-5-")));
  machine.WaitForProgram(uninstaller);
}

TEST_F(Uninstalling, EntryWithoutACommand) {
  // An entry that the installer manages is listed without one.
  Entry(u"{11111111-2222-3333-4444-555555555555}", {{u"DisplayName", u"Bare"}, {u"WindowsInstaller", u"1"}});
  UninstallRecord record("Bare");
  Run(record);
  ExpectOutcome(record, "Fail", "Get uninstall path is empty!");
}

TEST_F(Uninstalling, GivenRegistryPathFindsNothing) {
  AddApp(u"App", u"1.0");
  UninstallRecord record("App", Narrow(kUninstall) + "\\App");
  Run(record);
  ExpectOutcome(record, "Fail", "Get uninstall path is empty!");
}

TEST_F(Uninstalling, NameWithABackslashIsNotWatched) {
  const KeyPath key = Entry(u"Slash", {{u"DisplayName", u"A\\B"}, {u"UninstallString", uninstaller}});
  machine.MakeProgram(uninstaller, {{ProgramStep::Kind::WaitForSignal, u"", u"go"}});
  UninstallRecord record("A\\B");
  Run(record);
  ExpectOutcome(record, "Fail", "The app is still in registry!");
  EXPECT_THAT(kestrelbay::TextOf(log), testing::Contains("AppUninstall 5 RegWatcher: CreateEvent failed"));
  machine.Signal(u"go");
  machine.WaitForProgram(uninstaller);
}

TEST_F(Uninstalling, JobEndsAtTheFirstChangeWhileItsUninstallerRuns) {
  const KeyPath key = AddApp(u"App", u"1.0");
  machine.MakeProgram(uninstaller, {{ProgramStep::Kind::WaitForWatch, key, u"App"},
                                    {ProgramStep::Kind::CreateKey, {key.path + u"\\New", key.view}},
                                    {ProgramStep::Kind::WaitForSignal, u"", u"go"},
                                    {ProgramStep::Kind::DeleteKey, key}});
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Fail", "The app is still in registry!");
  EXPECT_FALSE(machine.ProgramRan(uninstaller));
  machine.Signal(u"go");
  machine.WaitForProgram(uninstaller);
  EXPECT_THAT(Names(), ElementsAre());
}

}  // namespace
}  // namespace tests
