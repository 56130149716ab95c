/**
 * The machine that port operations act on. There is one at a time.
 *
 * Thread-safe, except that no port operation may run while UseMachine replaces the machine.
 */
#pragma once

#include <memory>

#include "simulated/machine/Machine.h"

namespace simulated {

/**
 * Returns the current machine. The first call without one opens the directory that the environment variable
 * KESTRELBAY_MACHINE names, or makes an empty machine if the variable is empty. A directory that cannot be
 * opened ends the process with one line on standard error and exit status 1.
 */
Machine& CurrentMachine();

/** Returns the current machine, or null if nothing has asked for a machine yet. */
Machine* CurrentMachineOrNull();

/**
 * Replaces the current machine and closes its open registry keys. Events and processes stay open, because
 * they belong to the host's process: a library creates events at load, before any machine is chosen.
 * @return the new machine
 */
Machine& UseMachine(std::unique_ptr<Machine> machine);

}  // namespace simulated
