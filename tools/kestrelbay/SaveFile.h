/** Files that the host writes for a person. */
#pragma once

#include <string>
#include <string_view>

namespace host {

/**
 * Writes a file whole: whoever looks at `path` sees what was there before or all of `bytes`. What is no
 * regular file, such as a device, is written to directly.
 * @throws Failure with nothing left behind
 */
void SaveFile(const std::string& path, std::string_view bytes);

}  // namespace host
