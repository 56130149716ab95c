/** Progress and warnings of a load that takes its time. */
#pragma once

#include <cstdint>
#include <functional>

#include "simulated/base/MachineError.h"

namespace simulated {

/** Callbacks of a load. Each may be empty. Called on the loading thread, except as `warning` says. */
struct LoadObserver {
  /** Reports the bytes read so far, and the bytes in all. */
  std::function<void(std::uint64_t doneBytes, std::uint64_t allBytes)> progress;
  /**
   * Reports an omitted item while all else loads, such as a key whose name Windows does not allow. The keys
   * of a volume are read when they are first used. What is found then is reported later, here and to
   * `damage`, and on the thread that uses the key.
   */
  Warning warning;
  /** Reports damage of a hive: from now on any answer of the machine may lack what was there. */
  Warning damage;
};

}  // namespace simulated
