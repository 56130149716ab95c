/**
 * Machines read from the file system: a machine directory, or an offline Windows volume.
 */
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "simulated/base/LoadObserver.h"
#include "simulated/machine/Machine.h"
#include "simulated/volume/Volume.h"

namespace simulated {

/** Whether changes to the machine are kept in its directory. */
enum class Changes { Lasting, Discarded };

/**
 * Reads the machine at `directory`, and locks a machine directory to this process for the life of the
 * machine. No path and no link of it leads out of the directory. Reading for lasting changes finishes
 * operations that an ended process left pending, and makes many kept changes one file; it changes nothing
 * else.
 * @param options  for a volume; a machine directory has one user, and refuses to choose another
 * @throws MachineError with nothing half loaded
 */
std::unique_ptr<Machine> OpenMachine(const std::filesystem::path& directory, Changes changes,
                                     const LoadObserver& observer = {}, const VolumeOptions& options = {});

}  // namespace simulated
