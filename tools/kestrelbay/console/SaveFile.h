/** Files that a person names to the host. Paths are UTF-8. */
#pragma once

#include <string>
#include <string_view>

namespace cli {

/**
 * Writes a file whole: whoever looks at `path` sees what was there before or all of `bytes`. What is no
 * regular file, such as a device, is written to directly.
 * @throws Failure with nothing left behind
 */
void SaveFile(const std::string& path, std::string_view bytes);

/** @return all its bytes @throws Failure */
std::string ReadWholeFile(const std::string& path);

bool IsDirectory(const std::string& path);

}  // namespace cli
