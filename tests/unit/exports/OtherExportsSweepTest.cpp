// Makes the n-th call of the machine fail, for every n, in the exports for facts, secrets, starts and
// entry removal.
#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

#include "HostCallbacks.h"
#include "simulated/base/ComObject.h"
#include "simulated/base/Memory.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using simulated::CurrentMachine;
using simulated::Faults;
using simulated::Machine;
using simulated::UseMachine;

const std::u16string kEntry = kUninstall64Path + u"\\App";

/** A machine on which every export has a result. */
Machine& UseFullMachine() {
  Machine& machine = UseMachine(std::make_unique<Machine>());
  simulated::RegistryTree& registry = machine.registry;
  registry.CreateKey(kProductsPath);
  registry.SetText(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography", u"MachineGuid", u"id");
  registry.SetNumber(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\Tablet PC", u"IsTabletPc", 1);
  const std::u16string internet =
      u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
  registry.SetText(internet, u"ProxyServer", u"proxy");
  registry.SetNumber(internet, u"ProxyEnable", 1);
  for (const char16_t* name : {u"DisplayName", u"UninstallString", u"DisplayVersion"}) {
    registry.SetText(kEntry, name, u"App");
  }
  registry.SetText(kEntry, u"DisplayIcon", u"C:\\app.exe");
  registry.CreateKey(kEntry + u"\\One");
  machine.drives.AddFile(u"C:\\app.exe");
  machine.drives.SetSpace(u'C', {5U << 20, 9U << 20});
  machine.programs.Set(u"reg", {});
  machine.programs.Set(u"explorer.exe", {});
  machine.graphicsAdapters = {u"A", u"B"};
  machine.appsFolder.items = {{{u"Folder", u"Folder!App"}}};
  return machine;
}

class OtherExportsSweep : public testing::TestWithParam<Faults::Extent> {
 protected:
  OtherExportsSweep() { InitDllLogger(nullptr); }
  ~OtherExportsSweep() override { CurrentMachine().programs.WaitForAll(); }

  /** @param flow  the calls, on a machine where one of them may fail */
  static void Sweep(std::size_t fewestCalls, const std::function<void(Machine&)>& flow) {
    const std::size_t allocations = simulated::OpenAllocations();
    std::size_t n = 1;
    for (;; ++n) {
      Machine& machine = UseFullMachine();
      machine.faults.FailNth(n, GetParam());
      flow(machine);
      machine.faults.Clear();
      EXPECT_EQ(machine.OpenKeys(), 0U) << "call " << n;
      EXPECT_EQ(simulated::ComObject::OpenCount(), 0U) << "call " << n;
      EXPECT_EQ(simulated::OpenAllocations(), allocations) << "call " << n;
      if (!machine.faults.Fired()) break;
      ASSERT_LT(n, 10000U);
    }
    EXPECT_GT(n, fewestCalls);
  }

  LogCapture log;
};

INSTANTIATE_TEST_SUITE_P(FailingCall, OtherExportsSweep,
                         testing::Values(Faults::Extent::Once, Faults::Extent::Onwards),
                         [](const auto& extent) {
                           return extent.param == Faults::Extent::Once ? "Once" : "Onwards";
                         });

TEST_P(OtherExportsSweep, AFactIsCompleteOrFailsAndWritesNothing) {
  using Fact = bool (*)(char*, std::int32_t*);
  const std::pair<Fact, std::string> facts[] = {
      {&GetDeviceId, "id"}, {&GetProxyServer, "proxy"}, {&GetGraphics, "A,B"}};
  for (const auto& expected : facts) {
    Sweep(5, [fact = expected.first, &whole = expected.second](Machine&) {
      char buffer[16] = "#";
      std::int32_t size = sizeof buffer;
      bool isTold = false;
      try {
        isTold = fact(buffer, &size);
      } catch (const std::invalid_argument&) {
        EXPECT_EQ(fact, &GetProxyServer);
      }
      EXPECT_EQ(size, isTold ? static_cast<std::int32_t>(std::string(buffer).size()) : 16);
      // The name of an adapter that fails is empty, but its comma stays.
      const bool mayBeLess = isTold && fact == &GetGraphics;
      EXPECT_TRUE(mayBeLess || buffer == (isTold ? whole : "#")) << buffer;
    });
  }
}

TEST_P(OtherExportsSweep, ASecretIsCompleteOrEmpty) {
  Sweep(8, [](Machine&) {
    char* hidden = nullptr;
    char* text = nullptr;
    Encrypt("secret", &hidden);
    ASSERT_NE(hidden, nullptr);
    Decrypt(hidden, &text);
    ASSERT_NE(text, nullptr);
    EXPECT_TRUE(std::string(text) == "secret" || std::string(text).empty());
    ReleaseDllStr(&hidden);
    ReleaseDllStr(&text);
  });
}

TEST_P(OtherExportsSweep, AStartSucceedsExactlyIfAProgramStarted) {
  for (const char* name : {"Folder", "App"}) {
    Sweep(10, [&](Machine& machine) {
      const std::int32_t result = StartApp(name, "");
      EXPECT_EQ(result, static_cast<std::int32_t>(machine.programs.Starts().size()));
    });
  }
}

TEST_P(OtherExportsSweep, ARemovalThatFailsStartedNoCommand) {
  Sweep(20, [](Machine& machine) {
    const bool isRemoved = DeleteAppRegistryInfo("App");
    EXPECT_TRUE(isRemoved || machine.programs.Starts().empty());
    EXPECT_NE(machine.registry.Find(kUninstall64Path), nullptr);
  });
}

TEST_P(OtherExportsSweep, AVersionIsCompleteOrFails) {
  Sweep(20, [](Machine&) {
    char buffer[16] = "#";
    std::int32_t size = sizeof buffer;
    const bool isTold = GetAppVersion("App", "", buffer, &size);
    EXPECT_STREQ(buffer, isTold ? "App" : "#");
    EXPECT_EQ(size, isTold ? 3 : 16);
  });
}

TEST_P(OtherExportsSweep, SpaceIsReportedOrFails) {
  Sweep(3, [](Machine&) {
    const std::int64_t space = GetDiskAvailableSpace("C:");
    EXPECT_TRUE(space == 5 || space == -1);
  });
}

}  // namespace
}  // namespace kestrelbay
