/**
 * list-times: times of the inventory on a simulated machine, with Google Benchmark.
 *
 * Each time is per application, so that the sizes of one row can be compared: a difference is growth with the
 * list. The bare calls are the part of the machine in List.
 */
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <map>
#include <memory>

#include "BareScan.h"
#include "FilledMachine.h"
#include "KestrelbayGeneralSDK.h"
#include "inventory/InventoryScan.h"

namespace {

// Filling takes longer than the measured work, and one measurement asks for a machine several times.
void UseMachine(std::size_t applications) {
  static std::unique_ptr<bench::FilledMachine> machine;
  static std::size_t filled = 0;
  if (filled == applications) return;
  machine.reset();
  machine = std::make_unique<bench::FilledMachine>(applications);
  filled = applications;
}

std::size_t Size(const benchmark::State& state) { return static_cast<std::size_t>(state.range(0)); }

void ReportPerApplication(benchmark::State& state) {
  state.counters["perApplication"] =
      benchmark::Counter(static_cast<double>(state.range(0)),
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void List(benchmark::State& state) {
  UseMachine(Size(state));
  for (auto _ : state) {
    InstalledAppEntry* entries = nullptr;
    std::uint32_t count = 0;
    GetInstalledAppList(&entries, &count, false);
    if (count != Size(state)) state.SkipWithError("the list is not whole");
    ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
  }
  ReportPerApplication(state);
}

void BareCalls(benchmark::State& state) {
  UseMachine(Size(state));
  for (auto _ : state) bench::BareScan();
  ReportPerApplication(state);
}

kestrelbay::InstalledAppInfo Record(std::size_t number, const std::u16string& name) {
  const std::string digits = std::to_string(number);
  kestrelbay::InstalledAppInfo record;
  record.DisplayName = name;
  record.DisplayVersion = std::u16string(digits.begin(), digits.end());
  record.UninstallString = u"C:\\Program Files\\Brackenfold\\Editor\\uninstall.exe";
  record.architecture = kestrelbay::k64BitView;
  return record;
}

// The versions differ, so that no records merge and the list only grows.
void AddOneName(benchmark::State& state) {
  for (auto _ : state) {
    kestrelbay::Scan scan;
    for (std::size_t number = 0; number < Size(state); ++number) {
      kestrelbay::InstalledAppInfo record = Record(number, u"Brackenfold Editor");
      scan.AddOrMergeApp(std::move(record));
    }
    benchmark::DoNotOptimize(scan.TakeApps());
  }
  ReportPerApplication(state);
}

void MergeIntoOne(benchmark::State& state) {
  for (auto _ : state) {
    kestrelbay::Scan scan;
    for (std::size_t number = 0; number < Size(state); ++number) {
      kestrelbay::InstalledAppInfo record = Record(1, u"Brackenfold Editor");
      record.UninstallString.clear();
      scan.AddOrMergeApp(std::move(record));
    }
    benchmark::DoNotOptimize(scan.TakeApps());
  }
  ReportPerApplication(state);
}

void Sort(benchmark::State& state) {
  UseMachine(Size(state));
  for (auto _ : state) {
    state.PauseTiming();
    kestrelbay::Scan scan;
    kestrelbay::ScanInventory(scan);
    kestrelbay::AppRecords apps = scan.TakeApps();
    state.ResumeTiming();
    apps.SortByName();
  }
  ReportPerApplication(state);
}

void AtAllSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(List)->Apply(AtAllSizes);
BENCHMARK(BareCalls)->Apply(AtAllSizes);
BENCHMARK(Sort)->Apply(AtAllSizes);
BENCHMARK(AddOneName)->Apply(AtAllSizes);
BENCHMARK(MergeIntoOne)->Apply(AtAllSizes);

}  // namespace

int main(int count, char** values) {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  benchmark::Initialize(&count, values);
  if (benchmark::ReportUnrecognizedArguments(count, values)) return EXIT_FAILURE;
  benchmark::RunSpecifiedBenchmarks();
  return EXIT_SUCCESS;
}
