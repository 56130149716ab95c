/**
 * Offline Windows volumes: the registry of an installed Windows, read from its hives where they are.
 *
 * Hives are recovered from their logs in memory, as Windows does at its next start. Nothing is ever written.
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
  /** Whose hive is HKEY_CURRENT_USER: the SID, or the name of the profile's folder in any case. */
  std::optional<std::string> user;
};

/** The folder of a volume's hives, in any case; nothing if `folder` is no volume. */
std::optional<std::filesystem::path> FindHives(const std::filesystem::path& folder);

/**
 * Puts a volume's hives into the machine's registry and makes the machine the one that the volume was: its
 * environment, users, views, maker and model. DEFAULT is HKEY_USERS\.DEFAULT and HKEY_USERS\S-1-5-18. A
 * user's hive has the SID that the volume's ProfileList has for its folder, or the folder's name. The volume
 * is the drive that its Windows names. Other drives must be mounted before.
 * @param folder  the result of FindHives
 * @throws MachineError if SOFTWARE cannot be read or no user is the one in `options`; another hive that
 * cannot be read is left out and reported
 */
void LoadVolume(const std::filesystem::path& volume, const std::filesystem::path& folder,
                const VolumeOptions& options, Machine& machine, const LoadObserver& observer);

}  // namespace simulated
