#include <gmock/gmock.h>

#include <thread>

#include "lifecycle/AppUninstall.h"
#include "lifecycle/JobTest.h"
#include "simulated/base/Handles.h"

namespace kestrelbay {
namespace {

using simulated::Faults;
using simulated::Handles;
using simulated::Waitable;
using testing::ElementsAre;
using testing::MatchesRegex;

constexpr char kSubKey[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App";

class RegWatcherTest : public JobTest {
 protected:
  RegWatcherTest() { AddApp(u"App", u"1.0"); }
  ~RegWatcherTest() override {
    EXPECT_EQ(Handles::Shared().OpenCount(Waitable::Kind::Event), eventsBefore) << "no path leaves one open";
  }

  static bool Watch(const std::string& root, const std::string& subKey, const std::string& architecture) {
    return AppUninstall::GetInstance().RegWatcher(root, subKey, architecture, "App");
  }

  bool IsWatched(const std::u16string& name) {
    const std::lock_guard guard(machine.registry.Lock());
    simulated::Key& key = *machine.registry.Find(KeyOf(name));
    return key.TreeWatches().IsWatched(key);
  }

  /** @return the call that opens the watched key, in a watch that is stopped at once */
  std::string OpenCall(const std::string& root, const std::string& subKey, const std::string& architecture) {
    SetStopAppEvent();
    for (const std::string& call : CallsOf([&] { Watch(root, subKey, architecture); }))
      if (call.starts_with("RegOpenKeyExW")) return call;
    return "none";
  }

  const std::size_t eventsBefore = Handles::Shared().OpenCount(Waitable::Kind::Event);
};

TEST_F(RegWatcherTest, SetsOneWatchWaitsAndClosesKeyAndEvent) {
  SetStopAppEvent();
  bool waited = false;
  std::vector<std::string> calls = CallsOf([&] { waited = Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64"); });
  std::erase_if(calls, [](const std::string& call) {
    return call.starts_with("MultiByte") || call.starts_with("vsprintf_s") || call.starts_with("_vscprintf");
  });
  EXPECT_TRUE(waited);
  const std::string key = "HKEY_LOCAL_MACHINE.Software.Microsoft.Windows.CurrentVersion.Uninstall.App";
  EXPECT_THAT(
      calls,
      ElementsAre(MatchesRegex("CreateEventW\\(null, 0, 1, \"App\"\\) = 0x[0-9a-f]+"),
                  std::string("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"") + kSubKey + "\", 0, 0x110) = 0",
                  MatchesRegex("RegNotifyChangeKeyValue\\(" + key + ", 1, 0x1, 0x[0-9a-f]+, 1\\) = 0"),
                  MatchesRegex("WaitForMultipleObjects\\(2, 0x[0-9a-f]+, 0x[0-9a-f]+, 0, 4294967295\\) "
                               "= 1"),
                  MatchesRegex("CloseHandle\\(0x[0-9a-f]+\\) = 1"),
                  MatchesRegex("RegCloseKey\\(" + key + "\\) = 0")));
  EXPECT_THAT(TextOf(log),
              ElementsAre("KestrelbayGeneralSDK 3 SetStopAppEvent: setStopAppEvent success.",
                          std::string("AppUninstall 3 RegWatcher: rootKeyStr=HKEY_LOCAL_MACHINE, "
                                      "uninstallRegPath=") +
                              kSubKey));
}

TEST_F(RegWatcherTest, LogsItsKeyBeforeItCreatesTheEvent) {
  SetStopAppEvent();
  std::vector<std::size_t> events;
  log.When("rootKeyStr=", [&] { events.push_back(Handles::Shared().OpenCount(Waitable::Kind::Event)); });
  EXPECT_TRUE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64"));
  EXPECT_THAT(events, ElementsAre(eventsBefore));
}

TEST_F(RegWatcherTest, RightsFollowTheArchitecture) {
  const auto open = [&](const char* architecture) {
    return OpenCall("HKEY_LOCAL_MACHINE", "Software", architecture);
  };
  EXPECT_EQ(open("X86"), "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\", 0, 0x210) = 2");
  EXPECT_EQ(open("X64"), "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\", 0, 0x110) = 0");
  for (const char* other : {"ARCH_UNKNOWN", "", "x64", "X64 "})
    EXPECT_EQ(open(other), "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\", 0, 0x10) = 0");
}

TEST_F(RegWatcherTest, AnyOtherRootNameMeansHkeyUsers) {
  const auto open = [&](const char* root) { return OpenCall(root, "x", ""); };
  EXPECT_EQ(open("HKEY_CURRENT_USER"), "RegOpenKeyExW(HKEY_CURRENT_USER, \"x\", 0, 0x10) = 2");
  EXPECT_EQ(open("HKEY_LOCAL_MACHINE"), "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"x\", 0, 0x10) = 2");
  for (const char* other : {"HKEY_USERS", "", "hkey_local_machine", "HKLM"})
    EXPECT_EQ(open(other), "RegOpenKeyExW(HKEY_USERS, \"x\", 0, 0x10) = 2");
}

TEST_F(RegWatcherTest, EmptyPathIsAllUsers) {
  EXPECT_EQ(OpenCall("", "", ""), "RegOpenKeyExW(HKEY_USERS, \"\", 0, 0x10) = 0");
}

TEST_F(RegWatcherTest, NameThatNoEventCanHaveEndsIt) {
  EXPECT_FALSE(AppUninstall::GetInstance().RegWatcher("HKEY_LOCAL_MACHINE", kSubKey, "X64", "A\\B"));
  EXPECT_EQ(TextOf(log).back(), "AppUninstall 5 RegWatcher: CreateEvent failed");
}

TEST_F(RegWatcherTest, NameOfAMutexEndsIt) {
  bool made = false;
  const platform::HANDLE mutex =
      Handles::Shared().OpenEvent({.kind = Waitable::Kind::Mutex, .name = u"App"}, made);
  EXPECT_FALSE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64"));
  EXPECT_EQ(TextOf(log).back(), "AppUninstall 5 RegWatcher: CreateEvent failed");
  EXPECT_TRUE(Handles::Shared().Close(mutex));
}

TEST_F(RegWatcherTest, MissingEntryEndsIt) {
  RemoveApp(u"App");
  EXPECT_FALSE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64"));
  EXPECT_EQ(TextOf(log).back(), "AppUninstall 5 RegWatcher: RegOpenKeyEx failed: 2");
}

TEST_F(RegWatcherTest, RefusedRightEndsIt) {
  machine.registry.Deny(KeyOf(u"App"), 0x10);
  EXPECT_FALSE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64"));
  EXPECT_EQ(TextOf(log).back(), "AppUninstall 5 RegWatcher: RegOpenKeyEx failed: 5");
}

TEST_F(RegWatcherTest, FailedWatchLogsTheLastErrorOfTheCloses) {
  // The event exists already. That is the last error of the thread until the close of its handle fails.
  bool made = false;
  const platform::HANDLE event =
      Handles::Shared().OpenEvent({Waitable::Kind::Event, false, false, u"App", 0}, made);
  machine.faults.FailNth(1, Faults::Extent::Onwards, "RegNotifyChangeKeyValue CloseHandle");
  const auto calls = CallsOf([&] { EXPECT_FALSE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64")); });
  machine.faults.Clear();
  EXPECT_EQ(TextOf(log).back(), "AppUninstall 5 RegWatcher: RegNotifyChangeKeyValue failed: 6");
  const auto place = [&](const char* name) {
    return std::ranges::find_if(calls, [=](const std::string& call) { return call.starts_with(name); });
  };
  EXPECT_LT(place("RegNotifyChangeKeyValue"), place("CloseHandle"));
  EXPECT_LT(place("CloseHandle"), place("RegCloseKey"));
  EXPECT_NE(place("RegCloseKey"), calls.end());
  EXPECT_TRUE(Handles::Shared().Close(event));
}

TEST_F(RegWatcherTest, FailedWatchDoesNotLogItsStatus) {
  bool made = false;
  const platform::HANDLE event =
      Handles::Shared().OpenEvent({Waitable::Kind::Event, false, false, u"App", 0}, made);
  machine.faults.FailNth(1, Faults::Extent::Once, "RegNotifyChangeKeyValue");
  EXPECT_FALSE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64"));
  EXPECT_EQ(TextOf(log).back(), "AppUninstall 5 RegWatcher: RegNotifyChangeKeyValue failed: 183");
  EXPECT_TRUE(Handles::Shared().Close(event));
}

TEST_F(RegWatcherTest, KeyAndEventAreClosedBeforeAFailureIsLogged) {
  for (const char* failing : {"RegOpenKeyExW", "RegNotifyChangeKeyValue"}) {
    machine.faults.FailNth(1, Faults::Extent::Once, failing);
    std::size_t failures = 0;
    log.When("Reg", [&] {
      ++failures;
      EXPECT_EQ(Handles::Shared().OpenCount(Waitable::Kind::Event), eventsBefore) << failing;
      EXPECT_EQ(machine.OpenKeys(), 0U) << failing;
    });
    EXPECT_FALSE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64"));
    EXPECT_EQ(failures, 1U);
  }
}

TEST_F(RegWatcherTest, NamesOutsideAsciiAreKept) {
  const std::string name = "Gr\u00f6\u00dfe \u5915\u51ea \U0001f389";
  AddApp(u"Gr\u00f6\u00dfe \u5915\u51ea \U0001f389", u"1.0");
  SetStopAppEvent();
  const std::string subKey = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + name;
  const auto calls = CallsOf([&] {
    EXPECT_TRUE(AppUninstall::GetInstance().RegWatcher("HKEY_LOCAL_MACHINE", subKey, "X64", name));
  });
  EXPECT_THAT(calls,
              testing::Contains(testing::StartsWith("CreateEventW(null, 0, 1, \"" + name + "\") = 0x")));
  EXPECT_THAT(calls,
              testing::Contains("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"" + subKey + "\", 0, 0x110) = 0"));
}

TEST_F(RegWatcherTest, FailedWaitCountsAsAWait) {
  machine.faults.FailNth(1, Faults::Extent::Once, "WaitForMultipleObjects");
  EXPECT_TRUE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64"));
}

TEST_F(RegWatcherTest, ChangeOfValuesDoesNotEndTheWaitAndAKeyDoes) {
  std::thread program([&] {
    machine.registry.WaitForWatch(KeyOf(u"App"));
    machine.registry.RemoveValue(KeyOf(u"App"), u"DisplayName");
    machine.registry.SetText(KeyOf(u"App"), u"Other", u"x");
    EXPECT_TRUE(IsWatched(u"App"));
    machine.registry.CreateKey(KeyOf(u"App") + u"\\New");
  });
  EXPECT_TRUE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64"));
  program.join();
}

TEST_F(RegWatcherTest, WatchersOfOneNameShareOneEvent) {
  AddApp(u"Other", u"1.0");
  std::string otherSubKey = kSubKey;
  otherSubKey.replace(otherSubKey.rfind('\\') + 1, std::string::npos, "Other");
  // When both watches are set, the wait of one of them fails. That one closes its key, which signals its
  // event, and nothing else ends the wait of the other one: no key changes.
  machine.faults.FailNth(2, Faults::Extent::Once, "WaitForMultipleObjects");
  std::thread first([&] { EXPECT_TRUE(Watch("HKEY_LOCAL_MACHINE", kSubKey, "X64")); });
  std::thread second([&] { EXPECT_TRUE(Watch("HKEY_LOCAL_MACHINE", otherSubKey, "X64")); });
  first.join();
  second.join();
  EXPECT_TRUE(machine.faults.Fired());
}

}  // namespace
}  // namespace kestrelbay
