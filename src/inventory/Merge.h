/** The rule that decides whether two records of one name become one. */
#pragma once

#include <bitset>
#include <cstdint>
#include <optional>

#include "inventory/AppRecords.h"

namespace kestrelbay {

/** The fields of a record that a scan fills. */
enum class AppField : std::uint8_t {
  DisplayName,
  InstallLocation,
  DisplayVersion,
  UninstallString,
  RegistryKey,  ///< root and path
  Architecture,
  DisplayIcon,
  InstallDate,
  LastWriteTime,
};
inline constexpr std::size_t kAppFieldCount = 9;

/** The result of comparing a record with the first record of its name. */
struct Agreement {
  /** The first field in which the two differ, so that both stay. Empty if they become one record. */
  std::optional<AppField> disagreement;
  /** The gaps of the new record that were filled from the earlier one, by AppField. */
  std::bitset<kAppFieldCount> filled;
};

/**
 * Compares a new record with the first record of its name, and fills the gaps of the new record.
 *
 * They agree if view, icon, location and version are equal where both have them, and if at most one has an
 * uninstall command. A command of the new record that equals the version of the earlier one agrees too.
 * @param record  takes each missing field from `earlier`, up to the first disagreement, and keeps these
 */
Agreement CompareAndFill(InstalledAppInfo& record, const AppRecord& earlier);

}  // namespace kestrelbay
