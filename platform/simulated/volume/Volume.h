/**
 * Offline Windows volumes: the registry of an installed Windows, read from its hives where they lie.
 *
 * Keys are read when they are first looked at. Nothing is ever written, transaction logs are not replayed.
 */
#pragma once

#include <filesystem>
#include <optional>

#include "simulated/base/LoadObserver.h"
#include "simulated/machine/Machine.h"

namespace simulated {

/** The folder of a volume's hives, in whatever case; nothing where `folder` is no such volume. */
std::optional<std::filesystem::path> FindHives(const std::filesystem::path& folder);

/**
 * Puts a volume's hives into the machine's registry: SOFTWARE and SYSTEM, DEFAULT as HKEY_USERS\.DEFAULT, and
 * each user's under the SID that the volume's own ProfileList has for the user's folder, or under the
 * folder's name where it has none. The first person among them is the machine's user. The volume is drive C.
 * @param folder  what FindHives answered
 * @throws MachineError where SOFTWARE cannot be read; any other hive is left out with a warning
 */
void LoadVolume(const std::filesystem::path& volume, const std::filesystem::path& folder, Machine& machine,
                const LoadObserver& observer);

}  // namespace simulated
