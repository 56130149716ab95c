// Uninstalling: each outcome, its record and its log lines, with uninstallers that really run.
#include <gmock/gmock.h>

#include "JobHost.h"

namespace tests {
namespace {

using testing::ElementsAre;

class Removing : public JobHost {
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
    auto lines = LinesToTheStart(name, architecture, "\"" + Narrow(remover) + "\"", "/S");
    lines.push_back(Line("RegWatcher: rootKeyStr=HKEY_LOCAL_MACHINE, uninstallRegPath=" + SubKeyOf(name)));
    return lines;
  }

 private:
  static std::string SubKeyOf(const std::string& name) {
    return "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + name;
  }
};

TEST_F(Removing, EmptyName) {
  UninstallRecord record("");
  Run(record);
  ExpectOutcome(record, "Fail", "DisplayName is empty!");
  EXPECT_THAT(kestrelbay::TextOf(log),
              ElementsAre(BeginLine(""), ErrorLine("UninstallThreadImp: displayName is empty")));
}

TEST_F(Removing, UnknownApplication) {
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

TEST_F(Removing, MissingUninstaller) {
  AddApp(u"App", u"1.0");
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Fail", "Uninstall path is not exist!");
  auto lines = LinesToTheStart("App", "X64", "\"" + Narrow(remover) + "\"", "/S");
  lines.back() = ErrorLine("UninstallThreadImp: get uninstall is not exist, exeFile: " + Narrow(remover));
  EXPECT_EQ(kestrelbay::TextOf(log), lines);
}

TEST_F(Removing, UninstallerThatCannotBeStarted) {
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

TEST_F(Removing, ApplicationThatStays) {
  const KeyPath key = AddApp(u"App", u"1.0");
  machine.MakeProgram(remover, {{ProgramStep::Kind::WaitForWatch, key, u"App"},
                                {ProgramStep::Kind::CreateKey, {key.path + u"\\New", key.view}}});
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Fail", "The app is still in registry!");
  auto lines = LinesToTheWatch("App", "X64");
  lines.push_back(Line("UninstallThreadImp: the app is still in registry, displayName: App"));
  EXPECT_EQ(kestrelbay::TextOf(log), lines);
}

TEST_F(Removing, ApplicationThatGoes) {
  const KeyPath key = AddApp(u"App", u"1.0");
  machine.MakeProgram(remover, JobHost::Removing(key, u"App"));
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Success", "NULL");
  EXPECT_EQ(kestrelbay::TextOf(log), LinesToTheWatch("App", "X64"));
  machine.WaitForProgram(remover);
  EXPECT_FALSE(machine.HasKey(key));
}

TEST_F(Removing, ApplicationThatIsGoneBeforeItsWatch) {
  const KeyPath key = AddApp(u"App", u"1.0");
  machine.MakeProgram(remover, {{ProgramStep::Kind::DeleteKey, key}});
  log.When("rootKeyStr=", [this] { machine.WaitForProgram(remover); });
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Success", "NULL");
  auto lines = LinesToTheWatch("App", "X64");
  lines.push_back("AppUninstall 5 RegWatcher: RegOpenKeyEx failed: 2");
  EXPECT_EQ(kestrelbay::TextOf(log), lines);
}

TEST_F(Removing, ApplicationOfThe32BitView) {
  const KeyPath key = AddApp(u"Narrow", u"1.0", View::Bits32);
  machine.MakeProgram(remover, JobHost::Removing(key, u"Narrow"));
  UninstallRecord record("Narrow");
  Run(record);
  ExpectOutcome(record, "Success", "NULL");
  EXPECT_EQ(kestrelbay::TextOf(log), LinesToTheWatch("Narrow", "X86"));
  machine.WaitForProgram(remover);
}

TEST_F(Removing, ApplicationOfOneUser) {
  const KeyPath key =
      UserEntry(u"Mine", {{u"DisplayName", u"Mine"}, {u"UninstallString", u"\"" + remover + u"\""}});
  machine.MakeProgram(remover, JobHost::Removing(key, u"Mine"));
  UninstallRecord record("Mine");
  Run(record);
  ExpectOutcome(record, "Success", "NULL");
  EXPECT_THAT(LastLine(),
              testing::StartsWith(Line("RegWatcher: rootKeyStr=HKEY_USERS, uninstallRegPath=S-1-5-")));
  machine.WaitForProgram(remover);
}

TEST_F(Removing, EntryWithoutACommand) {
  // An entry that the installer manages is listed without one.
  Entry(u"{11111111-2222-3333-4444-555555555555}", {{u"DisplayName", u"Bare"}, {u"WindowsInstaller", u"1"}});
  UninstallRecord record("Bare");
  Run(record);
  ExpectOutcome(record, "Fail", "Get uninstall path is empty!");
}

TEST_F(Removing, GivenRegistryPathFindsNothing) {
  AddApp(u"App", u"1.0");
  UninstallRecord record("App", Narrow(kUninstall) + "\\App");
  Run(record);
  ExpectOutcome(record, "Fail", "Get uninstall path is empty!");
}

TEST_F(Removing, NameWithABackslashIsNotWatched) {
  const KeyPath key = Entry(u"Slash", {{u"DisplayName", u"A\\B"}, {u"UninstallString", remover}});
  machine.MakeProgram(remover, {{ProgramStep::Kind::WaitForSignal, u"", u"go"}});
  UninstallRecord record("A\\B");
  Run(record);
  ExpectOutcome(record, "Fail", "The app is still in registry!");
  EXPECT_THAT(kestrelbay::TextOf(log), testing::Contains("AppUninstall 5 RegWatcher: CreateEvent failed"));
  machine.Signal(u"go");
  machine.WaitForProgram(remover);
}

TEST_F(Removing, JobEndsAtTheFirstChangeThoughItsUninstallerGoesOn) {
  const KeyPath key = AddApp(u"App", u"1.0");
  machine.MakeProgram(remover, {{ProgramStep::Kind::WaitForWatch, key, u"App"},
                                {ProgramStep::Kind::CreateKey, {key.path + u"\\New", key.view}},
                                {ProgramStep::Kind::WaitForSignal, u"", u"go"},
                                {ProgramStep::Kind::DeleteKey, key}});
  UninstallRecord record("App");
  Run(record);
  ExpectOutcome(record, "Fail", "The app is still in registry!");
  EXPECT_FALSE(machine.ProgramRan(remover));
  machine.Signal(u"go");
  machine.WaitForProgram(remover);
  EXPECT_THAT(Names(), ElementsAre());
}

}  // namespace
}  // namespace tests
