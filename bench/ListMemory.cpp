/**
 * list-memory [APPLICATIONS]: what a list takes of memory at its peak, for each application, and what is left
 * when it is released.
 *
 * Ends with status 1 where a limit is missed: 2 KiB an application at the peak, and nothing left.
 */
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "CountedMemory.h"
#include "FilledMachine.h"
#include "KestrelbayGeneralSDK.h"

namespace {

constexpr std::size_t kPeakBytesPerApplication = 2048;

// @return how many were listed
std::size_t ListOnce() {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, false);
  ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
  return count;
}

}  // namespace

int main(int count, char** values) {
  const std::size_t applications = count > 1 ? std::strtoul(values[1], nullptr, 10) : 10000;
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  const bench::FilledMachine machine(applications);
  // What is made at the first use and kept, such as root keys, is not the list's.
  ListOnce();
  const std::size_t before = bench::BytesInUse();
  bench::ResetPeak();
  const std::size_t listed = ListOnce();
  const std::size_t peakBytes = bench::PeakBytes() - before;
  const auto leftBytes = static_cast<std::intptr_t>(bench::BytesInUse()) - static_cast<std::intptr_t>(before);
  std::printf("%zu applications: %zu bytes each at the peak, %td left after release\n", listed,
              listed ? peakBytes / listed : 0, leftBytes);
  const bool whole = listed == applications && listed > 0;
  return whole && leftBytes == 0 && peakBytes <= kPeakBytesPerApplication * listed ? EXIT_SUCCESS
                                                                                   : EXIT_FAILURE;
}
