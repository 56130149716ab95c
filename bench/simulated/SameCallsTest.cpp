/** The bare scan is a lower bound only if it makes exactly the registry calls of the scan. */
#include <gtest/gtest.h>

#include "BareScan.h"
#include "FilledMachine.h"
#include "inventory/InstalledApps.h"
#include "simulated/directory/CurrentMachine.h"

namespace {

template <class Work>
std::vector<std::string> CallsOf(Work work) {
  simulated::Journal& journal = simulated::CurrentMachine().journal;
  journal.Start();
  work();
  journal.Stop();
  std::vector<std::string> calls;
  for (const simulated::JournalCall& call : journal.Calls()) {
    // Only the scan also expands variables, which is not a registry call.
    if (call.name.starts_with("Reg")) calls.push_back(call.name + ' ' + call.arguments + ' ' + call.result);
  }
  return calls;
}

TEST(BareScan, MakesTheCallsOfTheScan) {
  const bench::FilledMachine machine(60);
  std::vector<std::string> calls = CallsOf(kestrelbay::ScanInstalledApps);
  EXPECT_GT(calls.size(), 60U * 14);
  EXPECT_EQ(CallsOf(bench::BareScan), calls);
}

TEST(BareScan, FillsAMachineThatTheScanListsWhole) {
  const bench::FilledMachine machine(60);
  EXPECT_EQ(kestrelbay::ScanInstalledApps().size(), 60U);
}

}  // namespace
