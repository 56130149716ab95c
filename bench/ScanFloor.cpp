/**
 * scan-floor [APPLICATIONS [ROUNDS]]: times a scan of the inventory beside the bare registry calls in it.
 *
 * Both run once a round, in turns, so that what slows the machine down slows both. Without arguments 1,000
 * and 10,000 applications are scanned. Acts on the registry of the machine it runs on and takes out again
 * what it put in.
 */
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <span>
#include <vector>

#include "BareScan.h"
#include "FilledMachine.h"
#include "inventory/InstalledApps.h"

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

struct Times {
  std::vector<double> scanMs;
  std::vector<double> bareMs;
  std::vector<double> ratios;
};

double Median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

template <class Work>
double TimeMs(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return Milliseconds(std::chrono::steady_clock::now() - start).count();
}

void Round(Times& times, bool bareFirst) {
  const auto scan = [] { kestrelbay::ScanInstalledApps(); };
  double bareMs = 0;
  if (bareFirst) bareMs = TimeMs(bench::BareScan);
  times.scanMs.push_back(TimeMs(scan));
  if (!bareFirst) bareMs = TimeMs(bench::BareScan);
  times.bareMs.push_back(bareMs);
  times.ratios.push_back(times.scanMs.back() / bareMs);
}

// @return false where the machine does not list what was put in
bool Compare(std::size_t applications, std::size_t rounds) {
  const bench::FilledMachine machine(applications);
  const std::size_t listed = kestrelbay::ScanInstalledApps().size();
  bench::BareScan();
  Times times;
  for (std::size_t round = 0; round < rounds; ++round) Round(times, round % 2 == 1);
  const auto [least, most] = std::ranges::minmax(times.ratios);
  std::printf(
      "%8zu applications, %zu rounds: scan %.2f ms, bare calls %.2f ms, ratio of medians %.3f "
      "(rounds %.3f to %.3f, median %.3f)\n",
      listed, rounds, Median(times.scanMs), Median(times.bareMs), Median(times.scanMs) / Median(times.bareMs),
      least, most, Median(times.ratios));
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
