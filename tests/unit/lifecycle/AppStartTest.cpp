#include "lifecycle/AppStart.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "KestrelbayGeneralSDK.h"
#include "LogText.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;
using testing::FieldsAre;

static_assert(APPSRC_NONE == 0 && APPSRC_FOLDER == 1 && APPSRC_REGISTRY == 2);

class AppStarting : public OnMachine {
 protected:
  AppStarting() {
    machine.registry.CreateKey(kProductsPath);
    machine.programs.Set(u"explorer.exe", {});
  }
  ~AppStarting() override { machine.programs.WaitForAll(); }

  void AddFolderItem(const std::u16string& name, const std::u16string& id) {
    machine.appsFolder.items.push_back({{name, id}});
  }
  void AddInstalled(const std::u16string& name, const std::u16string& icon) {
    SetTexts(kUninstall64Path + u"\\" + name,
             {{u"DisplayName", name}, {u"UninstallString", u"u"}, {u"DisplayIcon", icon}});
  }
  /** Starts an application by its icon. @return whether it was started */
  bool StartByIcon(const std::u16string& icon) {
    AddInstalled(u"Tool", icon);
    return start.StartApp("Tool", "");
  }
  /** @return each start as path and parameters */
  std::vector<std::pair<std::u16string, std::u16string>> Started() const {
    std::vector<std::pair<std::u16string, std::u16string>> started;
    for (const auto& one : machine.programs.Starts()) started.emplace_back(one.path, one.parameters);
    return started;
  }

  AppStart& start = AppStart::GetInstance();
  LogCapture log;
};

TEST_F(AppStarting, WithoutANameNoCallIsMade) {
  AddFolderItem(u"", u"Everything!App");
  EXPECT_THAT(CallsOf([&] { EXPECT_FALSE(start.StartApp("", "alias")); }),
              testing::Each(testing::HasSubstr("printf")));
  EXPECT_THAT(TextOf(log), ElementsAre("AppStart 5 StartApp: displayName is null."));
}

TEST_F(AppStarting, AnItemOfTheFolderIsStartedThroughTheExplorer) {
  AddFolderItem(u"Calculator", u"Calc_1!App");
  EXPECT_TRUE(start.StartApp("Calculator", ""));
  EXPECT_THAT(Started(), ElementsAre(FieldsAre(u"explorer.exe", u"shell:AppsFolder\\Calc_1!App")));
  EXPECT_FALSE(machine.programs.Starts()[0].elevated);
  EXPECT_THAT(TextOf(log),
              ElementsAre("AppStart 3 StartApp: find app in APPSRC_FOLDER, fullpath is Calc_1!App."));
}

TEST_F(AppStarting, TheExplorersCommandLineIsThePathBehindTheFolder) {
  AddFolderItem(u"Caf\u00e9", u"Caf\u00e9 App!\u65e5");
  EXPECT_THAT(
      CallsOf([&] { start.StartApp("Caf\u00e9", ""); }),
      testing::Contains("CreateProcessW(null, \"explorer.exe shell:AppsFolder\\Caf\u00e9 App!\u65e5\", null, "
                        "null, 0, 0x10, null, null, 104, 0x1, 1) = 1"));
}

TEST_F(AppStarting, TheNameOfTheItemIsSearchedInTheRequest) {
  AddFolderItem(u"Calculator", u"Calc_1!App");
  EXPECT_THAT(start.LocateApp("Calculator Pro", ""), FieldsAre("Calc_1!App", APPSRC_FOLDER));
  EXPECT_THAT(start.LocateApp("My Calculator", ""), FieldsAre("Calc_1!App", APPSRC_FOLDER));
  EXPECT_THAT(start.LocateApp("Calc", ""), FieldsAre("", APPSRC_NONE));
  EXPECT_THAT(start.LocateApp("calculator", ""), FieldsAre("", APPSRC_NONE));
}

TEST_F(AppStarting, AnAliasIsSearchedToo) {
  AddFolderItem(u"Notes", u"Notes_1!App");
  EXPECT_THAT(start.LocateApp("Other", "The Notes app"), FieldsAre("Notes_1!App", APPSRC_FOLDER));
  EXPECT_THAT(start.LocateApp("Other", ""), FieldsAre("", APPSRC_NONE));
}

TEST_F(AppStarting, AnItemWithoutANameMatchesEveryRequest) {
  AddFolderItem(u"", u"Nameless!App");
  AddFolderItem(u"Exact", u"Exact!App");
  EXPECT_THAT(start.LocateApp("Exact", ""), FieldsAre("Nameless!App", APPSRC_FOLDER));
}

TEST_F(AppStarting, TheFirstItemThatMatchesEitherTextCounts) {
  AddFolderItem(u"Alias", u"1");
  AddFolderItem(u"Name", u"2");
  EXPECT_THAT(start.LocateApp("Name", "Alias"), FieldsAre("1", APPSRC_FOLDER));
}

TEST_F(AppStarting, TheFolderPrecedesTheInventory) {
  AddFolderItem(u"Tool", u"Tool!App");
  AddInstalled(u"Tool", u"C:\\tool.exe");
  EXPECT_THAT(CallsOf([&] { start.LocateApp("Tool", ""); }),
              testing::Not(testing::Contains(testing::StartsWith("Reg"))));
}

TEST_F(AppStarting, WithoutTheFolderTheInventoryIsSearched) {
  AddFolderItem(u"Tool", u"Tool!App");
  AddInstalled(u"Tool", u"C:\\tool.exe");
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "IShellItem_BindToHandler");
  EXPECT_THAT(start.LocateApp("Tool", ""), FieldsAre("C:\\tool.exe", APPSRC_REGISTRY));
  machine.appsFolder.items.insert(machine.appsFolder.items.begin(), std::nullopt);
  EXPECT_THAT(start.LocateApp("Tool", ""), FieldsAre("C:\\tool.exe", APPSRC_REGISTRY));
  machine.appsFolder.isThere = false;
  EXPECT_THAT(start.LocateApp("Tool", ""), FieldsAre("C:\\tool.exe", APPSRC_REGISTRY));
}

TEST_F(AppStarting, TheFirstOfTwoRecordsOfOneNameCounts) {
  for (const char16_t* key : {u"B", u"A"}) {
    SetTexts(kUninstall64Path + u"\\" + key,
             {{u"DisplayName", u"Tool"}, {u"UninstallString", u"u"}, {u"DisplayIcon", key}});
  }
  EXPECT_THAT(start.LocateApp("Tool", ""), FieldsAre("A", APPSRC_REGISTRY));
}

TEST_F(AppStarting, TheInventoryIsReadWithoutIcons) {
  machine.drives.AddFile(u"C:\\tool.exe");
  AddInstalled(u"Tool", u"C:\\tool.exe");
  EXPECT_THAT(CallsOf([&] { start.LocateApp("Tool", ""); }),
              testing::Not(testing::Contains(testing::HasSubstr("ImageList"))));
}

TEST_F(AppStarting, TheInventoryIsSearchedOnlyByTheExactName) {
  AddInstalled(u"Tool \u65e5", u"C:\\tool.exe");
  EXPECT_THAT(start.LocateApp("Tool \u65e5", ""), FieldsAre("C:\\tool.exe", APPSRC_REGISTRY));
  EXPECT_THAT(start.LocateApp("tool \u65e5", ""), FieldsAre("", APPSRC_NONE));
  EXPECT_THAT(start.LocateApp("Tool \u65e5 2", ""), FieldsAre("", APPSRC_NONE));
  EXPECT_THAT(start.LocateApp("Other", "Tool \u65e5"), FieldsAre("", APPSRC_NONE));
}

TEST_F(AppStarting, AnUnknownApplicationIsLogged) {
  EXPECT_FALSE(start.StartApp("Unknown", "Alias"));
  EXPECT_THAT(TextOf(log), ElementsAre("AppStart 5 StartApp: the app is not exist."));
  EXPECT_THAT(Started(), ElementsAre());
}

TEST_F(AppStarting, AnInstalledProgramIsStartedElevatedByItsIconsPath) {
  machine.drives.AddFile(u"C:\\Apps\\tool.exe");
  const auto calls = CallsOf([&] { EXPECT_TRUE(StartByIcon(u"\"C:\\Apps\\tool.exe\",0")); });
  EXPECT_THAT(Started(), ElementsAre(FieldsAre(u"C:\\Apps\\tool.exe", u"")));
  EXPECT_TRUE(machine.programs.Starts()[0].elevated);
  EXPECT_THAT(calls,
              testing::Contains("ShellExecuteExW(112, 0x40, null, \"runas\", \"C:\\Apps\\tool.exe\", \"\", "
                                "null, 5) = 1"));
  EXPECT_THAT(TextOf(log), ElementsAre("AppStart 3 StartApp: find app in APPSRC_REGISTRY, fullpath is "
                                       "\"C:\\Apps\\tool.exe\",0."));
}

TEST_F(AppStarting, AnIconFileMeansTheExecutableOfItsName) {
  machine.drives.AddFile(u"C:\\Apps\\Tool\\tool.exe");
  EXPECT_TRUE(StartByIcon(u"C:\\Apps\\Tool\\tool.ico"));
  EXPECT_THAT(Started(), ElementsAre(FieldsAre(u"C:\\Apps\\Tool\\tool.exe", u"")));
}

TEST_F(AppStarting, AnIconWithoutAPathLogsTwoLinesAndStartsNothing) {
  for (const char16_t* icon : {u"C:\\Apps\\Tool\\tool.dll,3", u"C:\\Apps\\TOOL.EXE", u""}) {
    const LogCapture own;
    const auto calls = CallsOf([&] { EXPECT_FALSE(StartByIcon(icon)); });
    const std::string shown(icon, icon + std::char_traits<char16_t>::length(icon));
    EXPECT_THAT(TextOf(own),
                ElementsAre("AppStart 3 StartApp: find app in APPSRC_REGISTRY, fullpath is " + shown + ".",
                            "AppStart 5 StartApp: start app failed, Tool is not exist."));
    EXPECT_THAT(calls, testing::Not(testing::Contains(testing::StartsWith("ShellExecuteExW("))));
  }
}

TEST_F(AppStarting, AMissingFileIsLoggedAndPassedToTheShell) {
  const auto calls = CallsOf([&] { EXPECT_FALSE(StartByIcon(u"C:\\Apps\\gone.exe")); });
  EXPECT_THAT(calls, testing::Contains(testing::MatchesRegex("ShellExecuteExW.*gone.exe.* = 0")));
  EXPECT_THAT(TextOf(log), ElementsAre("AppStart 3 StartApp: find app in APPSRC_REGISTRY, fullpath is "
                                       "C:\\Apps\\gone.exe.",
                                       "AppStart 5 StartApp: start app failed, Tool is not exist."));
}

TEST_F(AppStarting, AMissingFileThatTheShellStartsIsASuccess) {
  machine.programs.Set(u"C:\\Apps\\virtual.exe", {});
  EXPECT_TRUE(StartByIcon(u"C:\\Apps\\virtual.exe"));
  EXPECT_EQ(log.Lines().size(), 2U);
}

TEST_F(AppStarting, RefusedElevationFailsWithoutALine) {
  machine.drives.AddFile(u"C:\\Apps\\tool.exe");
  machine.elevationGranted = false;
  EXPECT_FALSE(StartByIcon(u"C:\\Apps\\tool.exe"));
  EXPECT_EQ(log.Lines().size(), 1U);
}

TEST_F(AppStarting, AProgramWithoutAProcessFailsAlthoughItRuns) {
  machine.programs.Set(u"C:\\Apps\\tool.exe", {.givesHandle = false});
  machine.drives.AddFile(u"C:\\Apps\\tool.exe");
  AddInstalled(u"Tool", u"C:\\Apps\\tool.exe");
  EXPECT_EQ(::StartApp("Tool", ""), 0);
  EXPECT_THAT(Started(), ElementsAre(FieldsAre(u"C:\\Apps\\tool.exe", u"")));
}

TEST_F(AppStarting, AnExplorerThatDoesNotStartFailsWithoutALine) {
  AddFolderItem(u"Tool", u"Tool!App");
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "CreateProcessW");
  EXPECT_FALSE(start.StartApp("Tool", ""));
  EXPECT_EQ(log.Lines().size(), 1U);
}

TEST(AnyExeCommand, ThePathIsQuotedButNotTheArguments) {
  EXPECT_EQ(BuildAnyExeCommand("C:\\A b\\c.exe", "-x \"y z\" %1"), "\"C:\\A b\\c.exe\" -x \"y z\" %1");
  EXPECT_EQ(BuildAnyExeCommand("c.exe", ""), "\"c.exe\" ");
  EXPECT_EQ(BuildAnyExeCommand("", ""), "\"\" ");
}

TEST_F(AppStarting, AnyExecutableIsStartedByItsPath) {
  machine.drives.AddFile(u"C:\\A b\\\u65e5.exe");
  EXPECT_THAT(CallsOf([&] { EXPECT_TRUE(start.StartAnyExe("C:\\A b\\\u65e5.exe", "")); }),
              testing::Contains(testing::StartsWith("CreateProcessW(null, \"\"C:\\A b\\\u65e5.exe\" \", ")));
  EXPECT_THAT(Started(), ElementsAre(FieldsAre(u"C:\\A b\\\u65e5.exe", u"")));
  EXPECT_FALSE(machine.programs.Starts()[0].elevated);
  EXPECT_FALSE(start.StartAnyExe("C:\\none.exe", ""));
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(AppStarting, AnAsynchronousStartCopiesItsTexts) {
  machine.drives.AddFile(u"C:\\tool.exe");
  std::mutex mutex;
  std::condition_variable changed;
  bool ran = false;
  machine.programs.Set(u"C:\\tool.exe", {.run = [&] {
                         const std::lock_guard held(mutex);
                         ran = true;
                         changed.notify_all();
                         return 0;
                       }});
  {
    std::string path = "C:\\tool.exe";
    std::string arguments = "-a";
    start.StartAnyExeAsync(path, arguments);
    path.assign(path.size(), '#');
    arguments.assign(arguments.size(), '#');
  }
  std::unique_lock held(mutex);
  changed.wait(held, [&] { return ran; });
  EXPECT_THAT(Started(), ElementsAre(FieldsAre(u"C:\\tool.exe", u"-a")));
}

TEST_F(AppStarting, AnAsynchronousStartThatFailsReportsNothing) {
  machine.journal.Start();
  start.StartAnyExeAsync("C:\\none.exe", "");
  // The last call of its thread.
  const auto hasFailed = [&] {
    const auto calls = machine.journal.Calls();
    return std::ranges::any_of(calls, [](const auto& call) { return call.name == "GetLastError"; });
  };
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!hasFailed() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  EXPECT_TRUE(hasFailed()) << "the start did not fail in 30 seconds";
  machine.journal.Stop();
  EXPECT_THAT(Started(), ElementsAre());
  EXPECT_THAT(log.Lines(), ElementsAre());
}

}  // namespace
}  // namespace kestrelbay
