/**
 * Machines read from the file system: a machine directory, or an offline Windows volume.
 */
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "simulated/Machine.h"
#include "simulated/MachineError.h"

namespace simulated {

/** Whether what is changed on the machine is kept in its directory. */
enum class Changes { Lasting, Discarded };

/** What a person is told of a load that takes its time. Called on the loading thread. */
struct LoadObserver {
  /** A share of the load is done: bytes read so far, and bytes in all. */
  std::function<void(std::uint64_t doneBytes, std::uint64_t allBytes)> progress;
  /**
   * One line on something that is left out while the rest loads, such as a damaged user hive. A volume's keys
   * are read when they are first looked at: for damage found then, it is called later and on another thread.
   */
  std::function<void(const std::string& line)> warning;
};

/**
 * Reads the machine at `directory`; a machine directory is locked to this process as long as the machine
 * lives. Nothing on disk is changed by reading, but that many kept changes may become one file.
 * @throws MachineError with nothing half loaded
 */
std::unique_ptr<Machine> OpenMachine(const std::filesystem::path& directory, Changes changes,
                                     const LoadObserver& observer = {});

}  // namespace simulated
