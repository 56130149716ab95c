/** What a machine is beside its registry: the other facts that the library tells, and what it leans on. */
#pragma once

#include "CapturedMachine.h"

namespace capture {

/**
 * Adds the graphics adapters, the disks from C on, the apps folder, and where the host runs. COM is
 * initialised on the calling thread.
 */
void CaptureFacts(CapturedMachine& machine);

/**
 * Adds the variables that Windows itself sets and those that a captured text names; all others stay on the
 * machine, where they may hold secrets. To be called when the registry is captured.
 */
void CaptureEnvironment(CapturedMachine& machine);

/** Whether Windows itself sets the variable, whose name is given in capitals, on every machine. */
bool IsWindowsVariable(std::u16string_view upper);

}  // namespace capture
