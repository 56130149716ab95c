/**
 * scan-floor [APPLICATIONS [ROUNDS]]: compares the time of a scan with that of its bare registry calls.
 *
 * Without arguments it scans 1,000 and 10,000 applications. It changes the registry of this machine, and
 * deletes its entries at the end.
 */
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <span>
#include <vector>

#include "BareScan.h"
#include "FilledMachine.h"
#include "Turns.h"
#include "inventory/InstalledApps.h"

namespace {

// @return false if the machine does not list the registered applications
bool Compare(std::size_t applications, std::size_t rounds) {
  const bench::FilledMachine machine(applications);
  const std::size_t listed = kestrelbay::ScanInstalledApps().size();
  bench::BareScan();
  const auto [scanMs, bareMs] = bench::TakeTurns(
      rounds, [] { kestrelbay::ScanInstalledApps(); }, bench::BareScan);
  std::vector<double> ratios(rounds);
  std::ranges::transform(scanMs, bareMs, ratios.begin(), std::divides());
  const auto [least, most] = std::ranges::minmax(ratios);
  std::printf(
      "%8zu applications, %zu rounds: scan %.2f ms, bare calls %.2f ms, ratio of medians %.3f "
      "(rounds %.3f to %.3f, median %.3f)\n",
      listed, rounds, bench::Median(scanMs), bench::Median(bareMs),
      bench::Median(scanMs) / bench::Median(bareMs), least, most, bench::Median(ratios));
  std::fflush(stdout);
  return listed >= applications;
}

std::size_t Argument(std::span<char*> arguments, std::size_t index, std::size_t otherwise) {
  return arguments.size() > index ? std::strtoul(arguments[index], nullptr, 10) : otherwise;
}

}  // namespace

int main(int count, char** values) try {
  const std::span arguments(values, static_cast<std::size_t>(count));
  const std::size_t rounds = std::max<std::size_t>(Argument(arguments, 2, 15), 1);
  std::vector<std::size_t> sizes = {1000, 10000};
  if (arguments.size() > 1) sizes = {Argument(arguments, 1, 0)};
  const bool all = std::ranges::all_of(sizes, [&](std::size_t size) { return Compare(size, rounds); });
  if (!all) std::fputs("scan-floor: the scan did not list every application\n", stderr);
  return all ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception& error) {
  std::fprintf(stderr, "scan-floor: %s\n", error.what());
  return EXIT_FAILURE;
}
