/**
 * Machines read from the file system: a machine directory, or an offline Windows volume.
 */
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "simulated/base/MachineError.h"
#include "simulated/machine/Machine.h"

namespace simulated {

/** Whether what is changed on the machine is kept in its directory. */
enum class Changes { Lasting, Discarded };

/** What a person is told of a load that takes its time. Called on the loading thread. */
struct LoadObserver {
  /** A share of the load is done: bytes read so far, and bytes in all. */
  std::function<void(std::uint64_t doneBytes, std::uint64_t allBytes)> progress;
  /**
   * Something is left out and all else loads, such as a key with a name that Windows does not allow. A
   * volume's keys are read when they are first looked at: of what is found then, this and `damage` are told
   * later and on another thread.
   */
  Warning warning;
  /** The same of a damaged hive: whatever the machine answers from now on may lack what stood there. */
  Warning damage;
};

/**
 * Reads the machine at `directory`; a machine directory is locked to this process as long as the machine
 * lives. Nothing on disk is changed by reading, but that many kept changes may become one file.
 * @throws MachineError with nothing half loaded
 */
std::unique_ptr<Machine> OpenMachine(const std::filesystem::path& directory, Changes changes,
                                     const LoadObserver& observer = {});

}  // namespace simulated
