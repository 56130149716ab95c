// Programs of a simulated machine: those in machine.json, and the built-in ones.
#include "simulated/machine/Programs.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/Constants.h"
#include "platform/Events.h"
#include "platform/Processes.h"
#include "simulated/directory/CurrentMachine.h"
#include "simulated/directory/MachineDirectory.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

namespace fs = std::filesystem;
using simulated::Changes;
using simulated::Machine;
using simulated::MachineError;
using simulated::UseMachine;
using simulated::Waitable;

/** Runs a program to its end. @return its exit code; nothing if it did not start or returned no handle */
std::optional<platform::DWORD> RunToEnd(const std::u16string& file, const std::u16string& parameters = u"") {
  platform::HANDLE process = nullptr;
  if (!StartPlainlyElevated(file, parameters, process) || !process) return std::nullopt;
  platform::WaitForMultipleObjects(1, &process, false, platform::INFINITE);
  const platform::DWORD exitCode = simulated::Handles::Shared().Find(process)->exitCode;
  platform::CloseHandle(process);
  return exitCode;
}

class DescribedPrograms : public testing::Test {
 protected:
  DescribedPrograms() {
    std::string name = (fs::temp_directory_path() / "kestrelbay-programs-XXXXXX").string();
    folder = mkdtemp(name.data());
    Write("drives/C/setup.exe", "");
    Write("setups/app.reg", kHeader + "[HKEY_LOCAL_MACHINE\\Software\\App]\n\"a\"=\"b\"\n");
  }
  ~DescribedPrograms() override {
    UseMachine(std::make_unique<Machine>());
    fs::remove_all(folder);
  }

  void Write(const std::string& file, const std::string& text) const {
    fs::create_directories((folder / file).parent_path());
    std::ofstream(folder / file) << text;
  }
  void Describe(const std::string& programs) const {
    Write("machine.json", "{\"programs\": " + programs + "}");
  }
  Machine& Open(Changes changes = Changes::Lasting) const {
    // The previous machine must release its lock first.
    UseMachine(std::make_unique<Machine>());
    return UseMachine(simulated::OpenMachine(folder, changes));
  }
  std::string Refusal() const {
    try {
      Open();
    } catch (const MachineError& error) {
      return error.what();
    }
    return "opened";
  }

  const std::string kHeader = "Windows Registry Editor Version 5.00\n\n";
  fs::path folder;
};

TEST_F(DescribedPrograms, StepsChangeRegistryAndFilesOnDisk) {
  Write("drives/C/old.txt", "x");
  Describe(R"({"C:\\setup.exe": {"steps": [
      {"merges": "setups/app.reg", "adds": ["C:\\App\\app.exe"]}, {"removes": ["c:\\OLD.TXT"]}], "exitCode": 7}})");
  Open();
  EXPECT_EQ(RunToEnd(u"C:\\setup.exe"), 7U);
  EXPECT_TRUE(fs::exists(folder / "drives/C/App/app.exe"));
  EXPECT_FALSE(fs::exists(folder / "drives/C/old.txt"));
  Machine& again = Open();
  ASSERT_NE(again.registry.Find(u"HKLM\\Software\\App"), nullptr);
  simulated::ValueView value;
  EXPECT_TRUE(again.registry.Find(u"HKLM\\Software\\App")->FindValue(u"a", value));
}

TEST_F(DescribedPrograms, DiscardedChangesAreVisibleAndNotWritten) {
  Write("drives/C/old.txt", "x");
  Describe(R"({"C:\\setup.exe": {"steps": [
      {"merges": "setups/app.reg", "adds": ["C:\\new.txt"], "removes": ["C:\\old.txt"]}]}})");
  Machine& machine = Open(Changes::Discarded);
  EXPECT_EQ(RunToEnd(u"C:\\setup.exe"), 0U);
  EXPECT_NE(machine.registry.Find(u"HKLM\\Software\\App"), nullptr);
  EXPECT_TRUE(machine.drives.Exists(u"C:\\new.txt"));
  EXPECT_FALSE(machine.drives.Exists(u"C:\\old.txt"));
  EXPECT_TRUE(fs::exists(folder / "drives/C/old.txt"));
  EXPECT_FALSE(fs::exists(folder / "drives/C/new.txt"));
  EXPECT_EQ(Open(Changes::Discarded).registry.Find(u"HKLM\\Software\\App"), nullptr);
}

TEST_F(DescribedPrograms, StepWaitsByTheMachinesClock) {
  Describe(R"({"C:\\setup.exe": {"steps": [{"waitMs": 3600000}, {"waitMs": 1}]}})");
  Machine& machine = Open();
  machine.clock.UseSimulatedTime();
  EXPECT_EQ(RunToEnd(u"C:\\setup.exe"), 0U);
  EXPECT_EQ(machine.clock.ElapsedMs(), 3600001U);
}

TEST_F(DescribedPrograms, StepWaitsForAWatchAndForAFile) {
  Write("registry/a.reg", kHeader + "[HKEY_LOCAL_MACHINE\\Software\\App]\n");
  Describe(R"({"C:\\setup.exe": {"steps": [
      {"waitsForWatch": "HKEY_LOCAL_MACHINE\\Software\\App", "adds": ["C:\\watched.txt"]},
      {"waitsForFile": "C:\\go.txt", "adds": ["C:\\gone-on.txt"]}]}})");
  Machine& machine = Open(Changes::Discarded);
  platform::HANDLE process = nullptr;
  ASSERT_TRUE(StartPlainlyElevated(u"C:\\setup.exe", u"", process));
  EXPECT_FALSE(machine.drives.Exists(u"C:\\watched.txt"));
  {
    const std::lock_guard guard(machine.registry.Lock());
    machine.registry.Watch({machine.registry.Find(u"HKLM\\Software\\App"), nullptr, false,
                            simulated::kNameChange,
                            std::make_shared<Waitable>(Waitable{.kind = Waitable::Kind::Event})});
  }
  while (!machine.drives.Exists(u"C:\\watched.txt")) std::this_thread::yield();
  EXPECT_FALSE(machine.drives.Exists(u"C:\\gone-on.txt"));
  machine.drives.AddFile(u"C:\\go.txt");
  machine.programs.WaitForAll();
  EXPECT_TRUE(machine.drives.Exists(u"C:\\gone-on.txt"));
  platform::CloseHandle(process);
}

TEST_F(DescribedPrograms, RemovedKeysAndValuesStayRemoved) {
  Write("registry/a.reg", kHeader +
                              "[HKEY_LOCAL_MACHINE\\Software\\App]\n\"a\"=\"b\"\n\"c\"=\"d\"\n"
                              "[HKEY_LOCAL_MACHINE\\Software\\Gone\\Below]\n");
  Write("setups/undo.reg", kHeader +
                               "[HKEY_LOCAL_MACHINE\\Software\\App]\n\"a\"=-\n"
                               "[-HKEY_LOCAL_MACHINE\\Software\\Gone]\n");
  Describe(R"({"C:\\setup.exe": {"steps": [{"merges": "setups/undo.reg"}]}})");
  Open();
  EXPECT_EQ(RunToEnd(u"C:\\setup.exe"), 0U);
  Machine& again = Open();
  simulated::ValueView value;
  EXPECT_FALSE(again.registry.Find(u"HKLM\\Software\\App")->FindValue(u"a", value));
  EXPECT_TRUE(again.registry.Find(u"HKLM\\Software\\App")->FindValue(u"c", value));
  EXPECT_EQ(again.registry.Find(u"HKLM\\Software\\Gone"), nullptr);
}

TEST_F(DescribedPrograms, ProgramMayRefuseElevationAndGiveNoHandle) {
  Write("drives/C/shared.exe", "");
  Describe(R"({"C:\\setup.exe": {"elevation": "refused"}, "C:\\shared.exe": {"givesHandle": false}})");
  Open();
  platform::HANDLE process = nullptr;
  EXPECT_FALSE(StartPlainlyElevated(u"C:\\setup.exe", u"", process));
  EXPECT_EQ(platform::GetLastError(), 1223U);
  EXPECT_TRUE(StartPlainlyElevated(u"C:\\shared.exe", u"", process));
  EXPECT_EQ(process, nullptr);
}

TEST_F(DescribedPrograms, ProgramExistsWhileItsFileExists) {
  Describe(R"({"C:\\none.exe": {}, "C:\\setup.exe": {"steps": [{"removes": ["C:\\setup.exe"]}]}})");
  Open();
  EXPECT_EQ(RunToEnd(u"C:\\none.exe"), std::nullopt);
  EXPECT_EQ(RunToEnd(u"C:\\setup.exe"), 0U);
  EXPECT_EQ(RunToEnd(u"C:\\setup.exe"), std::nullopt);
}

TEST_F(DescribedPrograms, MistakesAreReportedInOneLineAtOpening) {
  const std::string at = (folder / "machine.json").string() + ":1: programs.C:\\setup.exe";
  const std::pair<const char*, std::string> mistakes[] = {
      {R"({"C:\\setup.exe": {"steps": {}}})", at + ".steps: must be a list"},
      {R"({"C:\\setup.exe": {"steps": [{"waitMs": -1}]}})", at + ".steps[0].waitMs: must be a whole number"},
      {R"({"C:\\setup.exe": {"steps": [{"merge": "x"}]}})", at + ".steps[0].merge: unknown"},
      {R"({"C:\\setup.exe": {"elevation": true}})", at + ".elevation: must be \"granted\" or \"refused\""},
      {R"({"C:\\setup.exe": {"givesHandle": 1}})", at + ".givesHandle: must be true or false"},
      {R"({"C:\\setup.exe": {"exitcode": 1}})", at + ".exitcode: unknown"},
      {R"({"C:\\setup.exe": {"steps": [{"merges": "../x.reg"}]}})", at + ".steps[0].merges: must lie in"},
      {R"({"C:\\setup.exe": {"steps": [{"merges": "/etc/x.reg"}]}})", at + ".steps[0].merges: must lie in"},
      {R"({"C:\\setup.exe": {"steps": [{"merges": "setups/none.reg"}]}})",
       (folder / "setups/none.reg").string()},
      {R"({"": {}})", (folder / "machine.json").string() + ":1: programs: a program has no name"},
  };
  for (const auto& [programs, line] : mistakes) {
    Describe(programs);
    EXPECT_THAT(Refusal(), testing::StartsWith(line));
  }
  Write("setups/bad.reg", kHeader + "\"a\"=nonsense\n");
  Describe(R"({"C:\\setup.exe": {"steps": [{"merges": "setups/bad.reg"}]}})");
  EXPECT_THAT(Refusal(), testing::StartsWith((folder / "setups/bad.reg").string() + ":3: "));
}

TEST_F(DescribedPrograms, FileThatManyStepsMergeIsReadOnce) {
  Write("setups/long-name.reg", kHeader + "[HKEY_LOCAL_MACHINE\\Software\\" + std::string(300, 'x') + "]\n");
  const std::string step =
      R"({"merges": "setups/long-name.reg"}, {"merges": "setups/../setups/long-name.reg"})";
  Describe(R"({"C:\\a.exe": {"steps": [)" + step + R"(]}, "C:\\b.exe": {"steps": [)" + step + "]}}");
  std::vector<std::string> warnings;
  simulated::LoadObserver observer;
  observer.warning = [&](const std::string& line) { warnings.push_back(line); };
  simulated::OpenMachine(folder, Changes::Discarded, observer);
  EXPECT_THAT(warnings, testing::SizeIs(1));
}

class BuiltInPrograms : public OnMachine {
 protected:
  BuiltInPrograms() { machine.registry.CreateKey(u"HKLM\\Software\\Vendor\\App"); }
  ~BuiltInPrograms() override { machine.programs.WaitForAll(); }

  bool HasVendor() { return machine.registry.Find(u"HKLM\\Software\\Vendor") != nullptr; }
};

TEST_F(BuiltInPrograms, RegDeletesAKeyAndAllKeysBelowIt) {
  EXPECT_EQ(RunToEnd(u"reg", u"delete HKEY_LOCAL_MACHINE\\Software\\Vendor /f"), 0U);
  EXPECT_FALSE(HasVendor());
  EXPECT_EQ(RunToEnd(u"reg.exe", u"DELETE hklm\\software\\vendor /F"), 1U) << "it is gone already";
}

TEST_F(BuiltInPrograms, RegFailsForAnUnquotedBlank) {
  machine.registry.CreateKey(u"HKLM\\Software\\Two words");
  EXPECT_EQ(RunToEnd(u"reg", u"delete HKLM\\Software\\Two words /f"), 1U);
  EXPECT_NE(machine.registry.Find(u"HKLM\\Software\\Two words"), nullptr);
  EXPECT_EQ(RunToEnd(u"reg", u"delete \"HKLM\\Software\\Two words\" /f"), 0U);
  EXPECT_EQ(machine.registry.Find(u"HKLM\\Software\\Two words"), nullptr);
}

TEST_F(BuiltInPrograms, RegFailsForAnythingButAForcedDeletion) {
  for (const char16_t* parameters :
       {u"", u"delete", u"delete HKLM\\Software\\Vendor", u"delete HKLM\\Software\\Vendor /x /f",
        u"delete HKLM\\Software\\Vendor /f /reg:32", u"add HKLM\\Software\\Vendor /f", u"delete HKLM /f",
        u"delete Software\\Vendor /f"}) {
    EXPECT_EQ(RunToEnd(u"reg", parameters), 1U);
  }
  EXPECT_TRUE(HasVendor());
}

TEST_F(BuiltInPrograms, RegDeletesNothingOfATreeWithADeniedKey) {
  machine.registry.Deny(u"HKLM\\Software\\Vendor\\App", 0x10000);
  EXPECT_EQ(RunToEnd(u"reg", u"delete HKLM\\Software\\Vendor /f"), 1U);
  EXPECT_TRUE(HasVendor());
}

TEST_F(BuiltInPrograms, ParametersAreSplitAsWindowsDoes) {
  machine.registry.CreateKey(u"HKLM\\Software\\a\"b");
  EXPECT_EQ(RunToEnd(u"reg", u"\"delete\"  HKLM\\Software\\a\\\"b\t/f"), 0U);
  EXPECT_EQ(machine.registry.Find(u"HKLM\\Software\\a\"b"), nullptr);
  machine.registry.CreateKey(u"HKLM\\Software\\c d");
  EXPECT_EQ(RunToEnd(u"reg", u"delete HKLM\\Soft\"ware\\c \"d /f"), 0U);
  EXPECT_EQ(machine.registry.Find(u"HKLM\\Software\\c d"), nullptr);
}

TEST_F(BuiltInPrograms, ExplorerEndsAtOnce) {
  EXPECT_EQ(RunToEnd(u"explorer.exe", u"shell:AppsFolder\\x"), 1U);
  EXPECT_EQ(machine.programs.Starts().at(0).path, u"C:\\Windows\\explorer.exe");
}

TEST_F(BuiltInPrograms, ProgramOfTheMachineReplacesABuiltInOne) {
  machine.programs.Set(u"reg.exe", {.run = [] { return 42; }});
  EXPECT_EQ(RunToEnd(u"reg", u"delete HKLM\\Software\\Vendor /f"), 42U);
}

}  // namespace
}  // namespace kestrelbay
