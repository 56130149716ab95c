// Jobs with a registry path. Its text is not read, so the application is the root key of the machine, if that
// has a fixed name.
#include <gmock/gmock.h>

#include "base/LoadTimeObjects.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"
#include "lifecycle/JobTest.h"
#include "platform/Events.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::UnorderedElementsAre;

const std::u16string kRoot = u"HKEY_LOCAL_MACHINE";
const std::u16string kLiteralName = u"HKEY_CURRENT_USER";

class GivenPathJobs : public JobTest {
 protected:
  /** Makes the installer write this version into the root key, with the name that makes it an application. */
  void SetInstaller(const std::u16string& version) {
    SetProgram(u"C:\\setup.exe", [this, version] {
      SetTexts(kRoot, {{u"DisplayName", kLiteralName}, {u"DisplayVersion", version}});
      return 0;
    });
  }

  /** Makes the root key an application. Its uninstaller removes the name and then adds a subkey to `watched`.
   */
  void SetRemovableRoot(const Texts& place, const std::u16string& watched, bool takesNameAway) {
    SetTexts(kRoot, {{u"DisplayName", kLiteralName}, {u"UninstallString", u"C:\\un.exe /S"}});
    SetTexts(kRoot, place);
    machine.registry.CreateKey(watched);
    SetProgram(u"C:\\un.exe", [this, watched, takesNameAway] {
      machine.registry.WaitForWatch(watched);
      if (takesNameAway) machine.registry.RemoveValue(kRoot, u"DisplayName");
      machine.registry.CreateKey(watched + u"\\New");
      return 0;
    });
  }

  void ExpectInstallation(const std::string& result, const std::string& errMsg, const std::string& version) {
    InstallRecord record("C:\\setup.exe", "App", "", "any text");
    Run(record);
    EXPECT_EQ(record.Result, result);
    EXPECT_EQ(record.ErrMsg, errMsg);
    EXPECT_EQ(record.DisplayVersion, version);
  }
  void ExpectUninstallation(const std::string& result, const std::string& errMsg) {
    UninstallRecord record("App", "any text");
    Run(record);
    EXPECT_EQ(record.Result, result);
    EXPECT_EQ(record.ErrMsg, errMsg);
  }

  const std::string installStarted =
      "AppInstall 3 StartInstallProcessAndWait: enter StartInstallProcessAndWait:appPath=C:\\setup.exe, "
      "para=";
  const std::string installFound =
      "AppInstall 3 InquryInstallInfo: application found from the given registry path.";
  const std::string installNotFound =
      "AppInstall 5 InquryInstallInfo: application not found from the given registry path.";
  const Texts entryPlace = {{u"rootKeyStr", u"HKEY_LOCAL_MACHINE"}, {u"subKeyPath", u"Software\\Entry"}};
  const std::u16string entry = kRoot + u"\\Software\\Entry";
};

TEST_F(GivenPathJobs, NewApplicationIsInstalled) {
  SetInstaller(u"7");
  ExpectInstallation("Success", "NULL", "7");
  EXPECT_THAT(TextOf(log), ElementsAre("AppInstall 3 StartInstall: StartInstall begin.",
                                       "AppInstall 3 InstallThreadImp: InstallThreadImp begin.",
                                       installNotFound, installStarted, installFound,
                                       "AppInstall 3 InstallThreadImp: Install success, displayName: App"));
}

TEST_F(GivenPathJobs, ApplicationIsUpdated) {
  SetTexts(kRoot, {{u"DisplayName", kLiteralName}, {u"DisplayVersion", u"7"}});
  SetInstaller(u"8");
  ExpectInstallation("Success", "Update success!", "8");
  EXPECT_THAT(TextOf(log), ElementsAre("AppInstall 3 StartInstall: StartInstall begin.",
                                       "AppInstall 3 InstallThreadImp: InstallThreadImp begin.", installFound,
                                       installStarted, installFound,
                                       "AppInstall 3 InstallThreadImp: Update success, displayName: App"));
}

TEST_F(GivenPathJobs, ApplicationWhoseVersionStaysIsNotUpdated) {
  SetTexts(kRoot, {{u"DisplayName", kLiteralName}, {u"DisplayVersion", u"7"}});
  SetInstaller(u"7");
  ExpectInstallation("Fail", "Update fail!", "7");
}

TEST_F(GivenPathJobs, StopInTheSecondLookUpChangesNoInstallation) {
  SetInstaller(u"7");
  log.When("application found", [] { platform::SetEvent(StopEvent); });
  ExpectInstallation("Success", "NULL", "7");
}

TEST_F(GivenPathJobs, UninstallationWatchesTheKeyThatTheRootNames) {
  SetRemovableRoot(entryPlace, entry, false);
  const auto calls = CallsOf([&] { ExpectUninstallation("Fail", "The app is still in registry!"); });
  EXPECT_THAT(calls, testing::Contains(testing::StartsWith("CreateEventW(null, 0, 1, \"App\") = 0x")));
  EXPECT_THAT(calls,
              testing::Contains("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\Entry\", 0, 0x110) = 0"));
  const std::string found =
      "AppUninstall 3 InquryUnInstallInfo: application found from the given registry path.";
  EXPECT_THAT(
      TextOf(log),
      ElementsAre(
          "AppUninstall 3 StartUninstall: StartUninstall begin, displayName: App.", found,
          "AppUninstall 3 GetUninstallPath: uninstallPath=C:\\un.exe /S, "
          "uninstallRegHkey=HKEY_LOCAL_MACHINE, "
          "uninstallRegPath=Software\\Entry, arch:X64",
          "AppUninstall 3 GetUninstallPath: exePath=C:\\un.exe, para=/S",
          "AppUninstall 3 StartUninstallProcess: enter StartUninstallProcess:appPath=C:\\un.exe, para=/S",
          "AppUninstall 3 RegWatcher: rootKeyStr=HKEY_LOCAL_MACHINE, uninstallRegPath=Software\\Entry", found,
          "AppUninstall 3 UninstallThreadImp: the app is still in registry, displayName: App"));
}

TEST_F(GivenPathJobs, RootThatLosesItsNameCountsAsRemoved) {
  SetRemovableRoot(entryPlace, entry, true);
  ExpectUninstallation("Success", "NULL");
}

TEST_F(GivenPathJobs, UninstallationWithoutAPathWatchesAllUsers) {
  SetRemovableRoot({}, u"HKEY_USERS", true);
  const auto calls = CallsOf([&] { ExpectUninstallation("Success", "NULL"); });
  EXPECT_THAT(calls, testing::Contains("RegOpenKeyExW(HKEY_USERS, \"\", 0, 0x110) = 0"));
}

TEST_F(GivenPathJobs, StopInTheSecondLookUpChangesNoUninstallation) {
  SetRemovableRoot(entryPlace, entry, false);
  int looks = 0;
  log.When("application found", [&] {
    if (++looks == 2) platform::SetEvent(StopEvent);
  });
  ExpectUninstallation("Fail", "The app is still in registry!");
  EXPECT_EQ(looks, 2);
}

TEST_F(GivenPathJobs, InstallationFindsTheMachinesRootByItsLiteralName) {
  SetTexts(u"HKEY_LOCAL_MACHINE", {{u"DisplayName", u"HKEY_CURRENT_USER"}, {u"DisplayVersion", u"7"}});
  ResultMap info;
  AppInstall::GetInstance().InquryInstallInfo(info, "App", "x");
  EXPECT_THAT(info, testing::UnorderedElementsAre(testing::Pair("DisplayName", "HKEY_CURRENT_USER"),
                                                  testing::Pair("DisplayVersion", "7")));
  EXPECT_THAT(TextOf(log),
              ElementsAre("AppInstall 3 InquryInstallInfo: application found from the given registry path."));
}

TEST_F(GivenPathJobs, RootOfAnyOtherNameIsNoApplication) {
  for (const char16_t* name : {u"App", u"hkey_current_user", u"HKEY_CURRENT_USER ", u"HKEY_CURRENT_USER\\App",
                               u"HKEY_CURRENT_USERS", u"HKEY_CURRENT_USE", u"HKCU", u"HKEY_LOCAL_MACHINE"}) {
    SetTexts(kRoot, {{u"DisplayName", name}, {u"DisplayVersion", u"7"}, {u"UninstallString", u"un.exe"}});
    ResultMap installInfo;
    AppInstall::GetInstance().InquryInstallInfo(installInfo, "App", "any text");
    EXPECT_THAT(installInfo, ElementsAre());
    ResultMap uninstallInfo;
    AppUninstall::GetInstance().InquryUnInstallInfo(uninstallInfo, "App", "any text");
    EXPECT_THAT(uninstallInfo, ElementsAre());
  }
}

TEST_F(GivenPathJobs, InstallationThatDoesNotOpenIsLogged) {
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "RegOpenKeyExW");
  ResultMap info;
  AppInstall::GetInstance().InquryInstallInfo(info, "App", "x");
  EXPECT_TRUE(info.empty());
  EXPECT_THAT(TextOf(log), ElementsAre("AppInstall 5 InquryInstallInfo: failed open registry."));
}

TEST_F(GivenPathJobs, InstallationOpensTheMachinesRootInThe64BitView) {
  const auto calls = CallsOf([] {
    ResultMap info;
    AppInstall::GetInstance().InquryInstallInfo(info, "App", "HKEY_CURRENT_USER\\\\Software");
  });
  EXPECT_THAT(calls, testing::Contains("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"\", 0, 0x20119) = 0"));
}

TEST_F(GivenPathJobs, UninstallationReadsThePathFromTheEntry) {
  SetTexts(u"HKEY_LOCAL_MACHINE", {{u"DisplayName", u"HKEY_CURRENT_USER"},
                                   {u"UninstallString", u"un.exe"},
                                   {u"rootKeyStr", u"R"},
                                   {u"subKeyPath", u"S"}});
  ResultMap info;
  AppUninstall::GetInstance().InquryUnInstallInfo(info, "App", "x");
  EXPECT_THAT(info, UnorderedElementsAre(Pair("DisplayName", "HKEY_CURRENT_USER"),
                                         Pair("UninstallString", "un.exe"), Pair("rootKeyStr", "R"),
                                         Pair("subKeyPath", "S"), Pair("architecture", "X64")));
  EXPECT_THAT(TextOf(log), ElementsAre("AppUninstall 3 InquryUnInstallInfo: application found from the given "
                                       "registry path."));
}

TEST_F(GivenPathJobs, UninstallationThatDoesNotOpenIsLogged) {
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "RegOpenKeyExW");
  ResultMap info;
  AppUninstall::GetInstance().InquryUnInstallInfo(info, "App", "x");
  EXPECT_TRUE(info.empty());
  EXPECT_THAT(TextOf(log), ElementsAre("AppUninstall 5 InquryUnInstallInfo: failed open registry."));
}

}  // namespace
}  // namespace kestrelbay
