/**
 * Offline Windows volumes: the registry of an installed Windows, read in place from its hives.
 *
 * Hives are recovered from their logs in memory, as Windows does at its next start. No volume is written.
 */
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "simulated/base/LoadObserver.h"
#include "simulated/machine/Machine.h"
#include "simulated/volume/Hive.h"

namespace simulated {

struct VolumeOptions {
  Recovery recovery = Recovery::Applied;
  /** The user of HKEY_CURRENT_USER: a SID, or the name of the profile's folder in any case. */
  std::optional<std::string> user;
};

/** Finds the folder of a volume's hives; names match in any case. Nothing if `folder` is not a volume. */
std::optional<std::filesystem::path> FindHives(const std::filesystem::path& folder);

/**
 * Puts a volume's hives into the machine's registry, and takes the machine's environment, users, views, maker
 * and model from them. DEFAULT becomes HKEY_USERS\.DEFAULT and HKEY_USERS\S-1-5-18. A user's hive becomes
 * HKEY_USERS\<SID>, by the SID of its folder in the volume's ProfileList; without one, by the folder's name.
 * Mounts the volume as the drive of its SystemRoot. Any other hive that cannot be read is left out and
 * reported. REQUIRES: all other drives are mounted.
 * @param folder  the result of FindHives
 * @throws MachineError if SOFTWARE cannot be read, the volume has no user `options.user`, or its drive is
 * mounted already
 */
void LoadVolume(const std::filesystem::path& volume, const std::filesystem::path& folder,
                const VolumeOptions& options, Machine& machine, const LoadObserver& observer);

}  // namespace simulated
