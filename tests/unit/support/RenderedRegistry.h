/** Plain registries on a simulated machine. */
#pragma once

#include "PlainRegistry.h"
#include "simulated/machine/Machine.h"

namespace kestrelbay {

/** @return a new machine, now the one in use, whose registry holds this */
simulated::Machine& UseMachineWith(const PlainRegistry& registry);

}  // namespace kestrelbay
