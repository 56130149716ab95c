#include "base/LoadTimeObjects.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <type_traits>

#include "HostCallbacks.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using simulated::Handles;
using simulated::Waitable;

TEST(LoadTimeObjects, HoldTheRegistryPathsAndThePublisher) {
  EXPECT_EQ(InstallerClassesPath, u"Software\\Classes\\Installer\\Products");
  EXPECT_EQ(UninstallKeyPath, u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
  EXPECT_EQ(UserProductsPath, u"Software\\Microsoft\\Installer\\Products");
  EXPECT_EQ(InstallerUserDataPath, u"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData");
  EXPECT_EQ(ExcludedPublisher, u"TOLVAN Handheld Engine");
}

TEST(LifecycleMutex, IsRecursive) {
  static_assert(std::is_base_of_v<std::recursive_mutex, decltype(LifecycleMutex)>);
  const std::lock_guard outer(LifecycleMutex);
  EXPECT_TRUE(LifecycleMutex.try_lock());
  LifecycleMutex.unlock();
}

TEST(StopEvent, IsAnUnnamedManualResetEvent) {
  const std::shared_ptr<Waitable> event = Handles::Shared().Find(StopEvent);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->kind, Waitable::Kind::Event);
  EXPECT_TRUE(event->staysSignalled);
  EXPECT_EQ(event->name, u"");
}

TEST(StopEventDeathTest, IsNotSetWhenTheLibraryIsLoaded) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process, in which nothing has set it
  EXPECT_EXIT(std::_Exit(Handles::Shared().IsSignalled(*Handles::Shared().Find(StopEvent)) ? 1 : 0),
              testing::ExitedWithCode(0), "");
}

bool tellAtUnload = false;

void TellWhetherTheEventIsOpen() {
  if (tellAtUnload) std::fputs(Handles::Shared().Find(StopEvent) ? "event open" : "event closed", stderr);
}

// Registered before any object of the library is created, so it runs after all of them are destroyed.
[[gnu::constructor(101)]] void RegisterForUnload() {
  Handles::Shared();
  std::atexit(&TellWhetherTheEventIsOpen);
}

TEST(StopEventDeathTest, IsOpenAfterUnload) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto unload = [] {
    tellAtUnload = true;
    std::exit(0);
  };
  EXPECT_EXIT(unload(), testing::ExitedWithCode(0), "^event open$");
}

class StopAppEvent : public OnMachine {
 protected:
  static bool IsSet() { return Handles::Shared().IsSignalled(*Handles::Shared().Find(StopEvent)); }

  LogCapture log;
};

TEST_F(StopAppEvent, StaysSetAndLogsEachTime) {
  SetStopAppEvent();
  EXPECT_TRUE(IsSet());
  SetStopAppEvent();
  EXPECT_TRUE(IsSet());
  const LogLine line = log.Lines().at(0);
  EXPECT_EQ(line.file, "KestrelbayGeneralSDK");
  EXPECT_EQ(line.level, 3);
  EXPECT_EQ(line.text.substr(0, line.text.find(':')), "SetStopAppEvent");
  EXPECT_EQ(log.Messages(), std::vector<std::string>(2, "setStopAppEvent success."));
}

TEST_F(StopAppEvent, LogsSuccessEvenIfSetEventFails) {
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "SetEvent");
  SetStopAppEvent();
  EXPECT_TRUE(machine.faults.Fired());
  EXPECT_EQ(log.Messages(), std::vector<std::string>(1, "setStopAppEvent success."));
}

TEST_F(StopAppEvent, SetsTheEventBeforeItLogs) {
  InitDllLogger(nullptr);
  const auto calls = CallsOf([] { SetStopAppEvent(); });
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].substr(0, 9), "SetEvent(");
  EXPECT_EQ(calls[1].substr(0, 8), "QVSLOGI(");
}

}  // namespace
}  // namespace kestrelbay
