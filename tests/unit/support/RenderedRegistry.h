/** Plain registries on a simulated machine. */
#pragma once

#include "PlainRegistry.h"
#include "simulated/machine/Machine.h"

namespace kestrelbay {

/** @return a new current machine with this registry */
simulated::Machine& UseMachineWith(const PlainRegistry& registry);

}  // namespace kestrelbay
