/** Facts and environment variables of the Windows on a volume, as its programs see them. */
#pragma once

#include <string_view>

#include "simulated/machine/Machine.h"

namespace simulated {

/**
 * Replaces the default variables by those that SOFTWARE and SYSTEM have for all users. A variable that
 * neither of them has keeps its default. Call it after both hives are loaded.
 * @return the letter of the drive of SOFTWARE's SystemRoot; C without one
 */
char16_t SetSystemEnvironment(Machine& machine, const Warning& damage);

/** Adds the variables of the machine's user. @param profile  the user's folder, as a path of the machine */
void SetUserEnvironment(Machine& machine, std::u16string_view profile, const Warning& damage);

/** Name and version of the volume's Windows, and whether it is a 32-bit one. */
void SetWindowsFacts(Machine& machine);

/** Sets maker and model, which Windows noted in SYSTEM at its last start. HARDWARE is not on the disk. */
void SetHardware(Machine& machine);

}  // namespace simulated
