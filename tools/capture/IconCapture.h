/** Captures the files of icons. */
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "CapturedMachine.h"

namespace capture {

/**
 * Adds the files that the display icons name, in order and each once. A file that would exceed `mostBytes` in
 * all is left out, with a note. Files that do not exist are ignored.
 * @param displayIcons  as registered
 * @param poll          called before each file; an exception that it throws ends the capture
 */
void CaptureIconFiles(std::span<const std::u16string> displayIcons, std::uint64_t mostBytes,
                      CapturedMachine& machine, const std::function<void()>& poll);

}  // namespace capture
