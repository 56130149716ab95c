/** Captures the facts of a machine that are not in its registry. */
#pragma once

#include "CapturedMachine.h"

namespace capture {

/**
 * Adds the graphics adapters, the disks from C on, the apps folder, and the path of the running program.
 * Initialises COM on the calling thread.
 */
void CaptureFacts(CapturedMachine& machine);

/**
 * Adds the variables that Windows sets and those that captured texts name. Other variables are not captured,
 * because they may be secret. REQUIRES: the registry is captured.
 */
void CaptureEnvironment(CapturedMachine& machine);

/** Whether Windows sets this variable on every machine. @param upper  the name in capitals */
bool IsWindowsVariable(std::u16string_view upper);

}  // namespace capture
