/** Several operations whose changes last together. */
#pragma once

#include <functional>

#include "platform/Types.h"

namespace simulated {

class Machine;

/**
 * Keeps all registry changes that `action` makes as one: either all of them last or none does. They are in
 * memory at once. An operation that also changes files is kept by itself.
 * @return 0, or the keeper's error: then nothing lasts, although the memory has it
 */
platform::LSTATUS ChangeAsOne(Machine& machine, const std::function<void()>& action);

}  // namespace simulated
