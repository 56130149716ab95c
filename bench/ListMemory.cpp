/**
 * list-memory [APPLICATIONS]: the memory of a list at its peak, per application, and the memory left after
 * its release.
 *
 * Ends with status 1 if a limit is exceeded: 2 KiB per application at the peak, and nothing left.
 */
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "CountedMemory.h"
#include "FilledMachine.h"
#include "KestrelbayGeneralSDK.h"

namespace {

constexpr std::size_t kPeakBytesPerApplication = 2048;

// @return the number of listed applications
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
  // Objects that are created at the first use and kept, such as root keys, do not belong to the list.
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
