/** Paths of files on a simulated machine. */
#pragma once

#include <string>
#include <string_view>

namespace simulated {

class Machine;

/** Returns the path with its drive. A relative path is below the host's current directory. */
std::u16string WholePath(const Machine& machine, std::u16string_view path);

}  // namespace simulated
