/** The files that icons are drawn from. */
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "CapturedMachine.h"

namespace capture {

/**
 * Adds the files that the display icons name, as far as they are on the machine, in order and each once. What
 * would make them more than `mostBytes` together is left out and noted.
 * @param displayIcons  as they are registered
 * @param told          called before each file
 */
void CaptureIconFiles(std::span<const std::u16string> displayIcons, std::uint64_t mostBytes,
                      CapturedMachine& machine, const std::function<void()>& told);

}  // namespace capture
