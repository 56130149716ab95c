/** Keeps the changes of several operations of one program together. */
#pragma once

#include <functional>

#include "platform/Types.h"

namespace simulated {

class Machine;

/**
 * Keeps all registry changes that `action` makes as one: either all of them last or none does. In memory each
 * change is made immediately. An operation that also changes files is kept separately.
 * @return 0, or the keeper's error: then no change lasts, although all are made in memory
 */
platform::LSTATUS GroupChanges(Machine& machine, const std::function<void()>& action);

}  // namespace simulated
