#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <ostream>

#include "HostCallbacks.h"
#include "base/CommonFunc.h"
#include "explain/Explanation.h"
#include "inventory/InstalledApps.h"
#include "platform/Constants.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using simulated::Faults;
using simulated::Machine;
using simulated::UseMachine;

const std::u16string kPacked = u"87654321DCBA10FE32547698BADCFE10";
const std::u16string kHive = u"HKEY_USERS\\S-1-5-21-1\\Software\\Microsoft\\";

void SetText(Machine& machine, const std::u16string& path, std::u16string_view name, std::u16string_view text,
             platform::DWORD type = 1) {
  machine.registry.SetText(path, name, text, type);
}

/** A machine on which a scan takes every branch. */
Machine& UseFullMachine() {
  Machine& machine = UseMachine(std::make_unique<Machine>());
  machine.CollectLogRecords();
  SetText(machine, kProductsPath + u"\\" + kPacked, u"ProductName", u"Managed");
  SetText(machine, kUninstall32Path + u"\\App", u"DisplayName", u"App");
  SetText(machine, kUninstall32Path + u"\\App", u"UninstallString", u"u");
  SetText(machine, kUninstall32Path + u"\\App", u"DisplayIcon", u"%SystemRoot%\\a.ico", 2);
  SetText(machine, kUninstall64Path + u"\\{12345678-ABCD-EF01-2345-6789ABCDEF01}", u"WindowsInstaller", u"1");
  SetText(machine, kHive + u"Windows\\CurrentVersion\\Uninstall\\User", u"DisplayName", u"User");
  SetText(machine, kHive + u"Windows\\CurrentVersion\\Uninstall\\User", u"UninstallString", u"u");
  SetText(machine, kHive + u"Installer\\Products\\" + kPacked, u"ProductName", u"Joined");
  for (const std::u16string& userData : {kUserData32Path, kUserData64Path}) {
    machine.registry.CreateKey(userData + u"\\S-1-5-21-1\\Products\\" + kPacked + u"\\InstallProperties");
  }
  return machine;
}

struct Extent {
  Faults::Extent value;
};

void PrintTo(const Extent& extent, std::ostream* out) {
  *out << (extent.value == Faults::Extent::Once ? "once" : "onwards");
}

/** Makes the n-th call fail, for every n. */
class FailureSweep : public testing::TestWithParam<Extent> {
 protected:
  FailureSweep() {
    UseMachine(std::make_unique<Machine>());
    // Records go to log.dll, because with a callback the failure of a format ends in the deadlock of the
    // logger.
    InitDllLogger(nullptr);
  }

  /** @param flow  called with the machine, on which one call may fail */
  void Sweep(std::size_t fewestCalls, const std::function<void(Machine&)>& flow) {
    std::size_t n = 1;
    for (;; ++n) {
      Machine& machine = UseFullMachine();
      machine.faults.FailNth(n, GetParam().value);
      flow(machine);
      EXPECT_EQ(machine.OpenKeys(), 0U) << "call " << n;
      machine.faults.Clear();
      if (!machine.faults.Fired()) break;
      ASSERT_LT(n, 100000U);
    }
    EXPECT_GT(n, fewestCalls);
  }

  LogCapture log;
};

INSTANTIATE_TEST_SUITE_P(FailingCall, FailureSweep,
                         testing::Values(Extent{Faults::Extent::Once}, Extent{Faults::Extent::Onwards}),
                         testing::PrintToStringParamName());

TEST_P(FailureSweep, ScanListsTheEntriesThatItCanRead) {
  std::size_t listed = 0;
  Sweep(100, [&](Machine&) {
    const AppRecords apps = ScanInstalledApps();
    listed = apps.size();
    for (const AppRecord& app : apps) EXPECT_NE(app.DisplayName, u"");
    EXPECT_LE(apps.size(), 5U);
  });
  // The last round had no failure.
  EXPECT_EQ(listed, 5U);
}

TEST_P(FailureSweep, ExplanationAccountsForTheList) {
  Sweep(100, [](Machine&) {
    const Explanation explanation = ExplainInstalledApps();
    const auto listed = std::ranges::count(explanation.keys, Fate::Listed, &ExplainedKey::fate);
    EXPECT_EQ(explanation.records.size(), static_cast<std::size_t>(listed));
    EXPECT_FALSE(explanation.keys.empty());
  });
}

TEST_P(FailureSweep, ListExportReturnsACompleteArray) {
  Sweep(100, [&](Machine& machine) {
    InstalledAppEntry* entries = nullptr;
    std::uint32_t count = 77;
    GetInstalledAppList(&entries, &count, true);
    ASSERT_NE(entries, nullptr);
    ASSERT_LE(count, 5U);
    for (std::uint32_t at = 0; at < count; ++at) {
      const InstalledAppEntry& entry = entries[at];
      for (const char* text : {entry.displayName, entry.installLocation, entry.displayVersion,
                               entry.displayIcon, entry.iconText, entry.installDate, entry.lastWriteTime}) {
        EXPECT_NE(text, nullptr);
      }
    }
    ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
    EXPECT_EQ(entries, nullptr);
    EXPECT_EQ(machine.LogRecords().size(), 2U);
  });
}

TEST_P(FailureSweep, IconRequestCallsBackOnce) {
  Sweep(100, [](Machine& machine) {
    IconReceiver receiver;
    GetAppIconAsync(&IconReceiver::Receive, "App");
    const std::vector<std::string> texts = receiver.WaitForTexts(1);
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_TRUE(texts[0] == "C:\\Windows\\a.ico" || (machine.faults.Fired() && texts[0].empty())) << texts[0];
  });
}

TEST_P(FailureSweep, ListRequestCallsBackOnce) {
  Sweep(100, [](Machine&) {
    ListReceiver receiver;
    GetInstalledAppListAsync(&ListReceiver::Receive, false);
    EXPECT_EQ(receiver.WaitForLists(1).size(), 1U);
    EXPECT_FALSE(receiver.SawNull());
  });
}

TEST_P(FailureSweep, RootDirIsEmptyIfItCannotBeRead) {
  for (const std::uint32_t mode : {1U, 2U}) {
    Sweep(1, [mode](Machine& machine) {
      char buffer[64] = "untouched";
      std::int32_t size = sizeof buffer;
      ::GetRootDir(buffer, &size, mode);
      EXPECT_STREQ(buffer, machine.faults.Fired() ? "" : "C:\\Program Files\\Host");
    });
  }
}

TEST_P(FailureSweep, FileAndProcessFunctionsFailOnlyByTheirResult) {
  Sweep(1, [](Machine& machine) {
    machine.drives.AddFile(u"C:\\a.exe");
    const bool exists = FileExists("C:\\a.exe");
    EXPECT_EQ(exists, !machine.faults.Fired());
  });
  Sweep(1, [](Machine& machine) {
    machine.drives.AddFile(u"C:\\a.exe");
    const std::int32_t started = StartProcess(u"C:\\a.exe");
    EXPECT_EQ(started, machine.faults.Fired() ? 0 : 1);
    machine.programs.WaitForAll();
  });
}

TEST_P(FailureSweep, DeleteTreeReturnsWhetherTheKeyIsDeleted) {
  const std::u16string key = u"HKEY_LOCAL_MACHINE\\Software\\Vendor";
  std::size_t failures = 0;
  Sweep(8, [&](Machine& machine) {
    machine.registry.CreateKey(key + u"\\a\\b");
    machine.registry.CreateKey(key + u"\\c");
    machine.journal.Start();
    const bool isDeleted = DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\Vendor");
    machine.journal.Stop();
    const bool gone = machine.registry.Find(key) == nullptr;
    const simulated::JournalCall last = machine.journal.Calls().back();
    // The last call is the final delete, or the open of a key that cannot be opened and so counts as deleted.
    const bool deleteFailed = last.name == "RegDeleteKeyW" && last.result != "0";
    EXPECT_EQ(isDeleted, !deleteFailed);
    EXPECT_EQ(gone, last.name == "RegDeleteKeyW" && !deleteFailed);
    EXPECT_TRUE(machine.faults.Fired() || (isDeleted && gone));
    failures += deleteFailed;
  });
  EXPECT_GT(failures, 0U);
}

}  // namespace
}  // namespace kestrelbay
