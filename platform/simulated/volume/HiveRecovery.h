/** Recovers a hive in memory from its transaction logs, as Windows does when it loads the hive. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulated/volume/HiveRecords.h"

namespace simulated {

struct HiveRecovery {
  /** The header's sequence numbers differ, or its checksum is wrong. A clean hive is read as it is. */
  bool isDirty = false;
  /** The header is none of a hive. If `image` is empty then, the hive cannot be read. */
  bool isHeaderBroken = false;
  /** Log entries that were applied. A log of Windows 7 and earlier counts as one. */
  std::size_t entries = 0;
  /** What the answer may lack all the same; empty if nothing. */
  std::string loss;
  /** The whole recovered file; empty if no log was applied. */
  std::vector<std::uint8_t> image;
};

/** @param logs  the files NAME.LOG1, NAME.LOG2 and NAME.LOG that exist, in any order; each may hold any bytes
 */
HiveRecovery RecoverHive(HiveBytes primary, const std::vector<HiveBytes>& logs);

/** Whether the file begins with a hive's header whose checksum is right. */
bool HasHiveHeader(HiveBytes file);

}  // namespace simulated
