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

/** Whether what is changed on the machine is kept in its directory. */
enum class Changes { Lasting, Discarded };

/**
 * Reads the machine at `directory`; a machine directory is locked to this process as long as the machine
 * lives. Nothing on disk is changed by reading, but that many kept changes may become one file.
 * @param options  for a volume; a machine directory has one user, and refuses to choose another
 * @throws MachineError with nothing half loaded
 */
std::unique_ptr<Machine> OpenMachine(const std::filesystem::path& directory, Changes changes,
                                     const LoadObserver& observer = {}, const VolumeOptions& options = {});

}  // namespace simulated
