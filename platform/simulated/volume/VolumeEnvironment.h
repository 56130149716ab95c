/** The facts and the environment of the Windows that is on a volume, as its programs see them. */
#pragma once

#include <string_view>

#include "simulated/machine/Machine.h"

namespace simulated {

/**
 * Replaces the default variables by those that SOFTWARE and SYSTEM, which are loaded, have for all users.
 * A variable that neither tells keeps its usual value.
 */
void SetSystemEnvironment(Machine& machine);

/** Adds the variables of the machine's user. @param profile  the user's folder, as a path of the machine */
void SetUserEnvironment(Machine& machine, std::u16string_view profile);

/** Name and version of the volume's Windows, and whether it is a 32-bit one. */
VolumeFacts ReadWindowsFacts(Machine& machine);

/** HARDWARE is not on a disk. Maker and model are those that SYSTEM noted at the last start, if it did. */
void SetHardware(Machine& machine);

}  // namespace simulated
