/** Recovers a hive in memory from its transaction logs, as Windows does when it loads the hive. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "simulated/volume/HiveRecords.h"

namespace simulated {

struct HiveRecovery {
  /** Whether the header's sequence numbers differ or its checksum is wrong. A clean hive is not recovered. */
  bool isDirty = false;
  /** Whether the file has no valid hive header. If `image` is empty as well, the hive cannot be read. */
  bool isHeaderBroken = false;
  /** Number of log entries that were applied. A log of Windows 7 or earlier counts as one. */
  std::size_t entries = 0;
  /** Why later changes may be missing; empty if none are. */
  std::string loss;
  /** The recovered header and bins; empty if no log was applied. */
  std::vector<std::uint8_t> image;
};

/**
 * Applies the logs of a dirty hive to a copy of it.
 * @param logs  those of NAME.LOG1, NAME.LOG2 and NAME.LOG that exist, in any order; each may hold any bytes
 * @param fileName  name of the hive's file; tells its logs from others if the header is broken
 */
HiveRecovery RecoverHive(HiveBytes primary, const std::vector<HiveBytes>& logs, std::u16string_view fileName);

/** Whether the file begins with a hive's header whose checksum is right. */
bool HasHiveHeader(HiveBytes file);

}  // namespace simulated
