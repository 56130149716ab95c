/** What is known of a machine that was read from an offline Windows volume. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace simulated {

struct HiveFacts {
  /** Where the registry has it. */
  std::u16string key;
  /** Log entries that were applied in memory. */
  std::size_t recoveredEntries = 0;
  /** What it may lack although it was read; empty if nothing. */
  std::string loss;
  /** Last write time of the key that was changed last, as "2026-11-02T14:03Z". */
  std::string newestChange;
};

struct VolumeFacts {
  /** Name, version and build of its Windows; empty if the volume does not name it. */
  std::u16string windows;
  bool is32Bit = false;
  std::vector<HiveFacts> hives;
  /** What the answers may lack, one line each, with the file's path on the volume. Grows while keys are read.
   */
  std::vector<std::string> damage;
};

}  // namespace simulated
