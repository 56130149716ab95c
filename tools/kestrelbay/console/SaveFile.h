/** Files that the command line names. Paths are UTF-8. */
#pragma once

#include <string>
#include <string_view>

namespace cli {

/**
 * Writes a file: afterwards `path` has either its old content or all of `bytes`. A file that exists keeps its
 * mode, and a link keeps pointing to the file. A device or pipe is written directly.
 * @throws Failure
 */
void SaveFile(const std::string& path, std::string_view bytes);

/** Returns all bytes of a file. @throws Failure, also for a file of more than 128 MiB */
std::string ReadWholeFile(const std::string& path);

bool IsDirectory(const std::string& path);

}  // namespace cli
