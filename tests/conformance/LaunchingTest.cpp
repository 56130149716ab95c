// Starting applications and programs, through the C interface.
#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "HostTest.h"

namespace tests {
namespace {

using testing::ElementsAre;

std::string Utf8(const std::u16string& ascii) { return {ascii.begin(), ascii.end()}; }

class Launching : public HostTest {
 protected:
  Launching() { machine.MakeProgram(program); }

  /** Waits for the mark of a program, because nothing reports the end of a program that the library started.
   */
  void WaitUntilRan() {
    while (!machine.ProgramRan(program)) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  void Install(const std::u16string& icon) {
    Entry(u"Tool", {{u"DisplayName", u"Tool"}, {u"UninstallString", u"u"}, {u"DisplayIcon", icon}});
  }

  /** The library lets the shell show its messages. */
  const MessageCloser closer;
  std::u16string program = machine.Folder() + u"\\the tool.exe";
};

TEST_F(Launching, AnInstalledProgramIsFoundByItsIcon) {
  Install(u"\"" + program + u"\",0");
  EXPECT_EQ(StartApp("Tool", ""), 1);
  WaitUntilRan();
  EXPECT_EQ(machine.ParametersOf(program), u"");
  EXPECT_THAT(log.Messages(), ElementsAre("enter StartApp", "find app in APPSRC_REGISTRY, fullpath is \"" +
                                                                Utf8(program) + "\",0."));
}

TEST_F(Launching, AnIconFileMeansTheExecutableOfItsName) {
  Install(program.substr(0, program.size() - 3) + u"ico");
  EXPECT_EQ(StartApp("Tool", "No such alias"), 1);
  WaitUntilRan();
}

TEST_F(Launching, AMissingProgramIsLoggedAndTried) {
  Install(u"C:\\no such folder\\tool.exe");
  EXPECT_EQ(StartApp("Tool", ""), 0);
  EXPECT_THAT(
      log.Messages(),
      ElementsAre("enter StartApp", "find app in APPSRC_REGISTRY, fullpath is C:\\no such folder\\tool.exe.",
                  "start app failed, Tool is not exist."));
}

TEST_F(Launching, AnIconWithoutAProgramStartsNothing) {
  for (const char16_t* icon : {u"C:\\Apps\\tool.dll,3", u"C:\\Apps\\TOOL.EXE", u""}) {
    const kestrelbay::LogCapture own;
    Install(icon);
    EXPECT_EQ(StartApp("Tool", ""), 0);
    EXPECT_EQ(own.Messages().back(), "start app failed, Tool is not exist.");
  }
}

TEST_F(Launching, AMissingApplicationIsLogged) {
  EXPECT_EQ(StartApp("No such application here", ""), 0);
  EXPECT_EQ(StartApp("", "alias"), 0);
  EXPECT_THAT(log.Messages(), ElementsAre("enter StartApp", "the app is not exist.", "enter StartApp",
                                          "displayName is null."));
}

TEST_F(Launching, AnyProgramIsStartedByItsPath) {
  EXPECT_TRUE(StartAnyExe(Utf8(program).c_str(), "-a \"b c\" %1"));
  WaitUntilRan();
  EXPECT_EQ(machine.ParametersOf(program), u"-a \"b c\" %1");
  EXPECT_FALSE(StartAnyExe("C:\\no such folder\\tool.exe", ""));
  EXPECT_THAT(log.Messages(), ElementsAre("enter StartAnyExe", "enter StartAnyExe"));
}

TEST_F(Launching, AnyProgramIsStartedOnAThread) {
  StartAnyExeAsync(Utf8(program).c_str(), "-b");
  WaitUntilRan();
  EXPECT_EQ(machine.ParametersOf(program), u"-b");
  EXPECT_THAT(log.Messages(), ElementsAre("enter StartAnyExeAsync"));
}

TEST_F(Launching, TextsThatAreNotUtf8NameNoProgram) {
  Install(program);
  for (const char* text : {"\xFF", "Tool\xC3", "\xED\xA0\x80", "\xF8\x88\x80\x80\x80"}) {
    EXPECT_EQ(StartApp(text, text), 0);
    EXPECT_FALSE(StartAnyExe(text, text));
    EXPECT_FALSE(DeleteAppRegistryInfo(text));
    char buffer[8];
    std::int32_t size = sizeof buffer;
    EXPECT_FALSE(GetAppVersion(text, nullptr, buffer, &size));
    EXPECT_EQ(GetDiskAvailableSpace(text[0] == 'T' ? text + 4 : text), -1);
  }
  EXPECT_THAT(Names(), ElementsAre("Tool"));
}

}  // namespace
}  // namespace tests
