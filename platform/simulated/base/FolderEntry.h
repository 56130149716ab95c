/** Finds entries of the host's folders as Windows does: without regard to case. */
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "simulated/base/Folder.h"

namespace simulated {

/**
 * Finds the entry of that name in any case. If there are several, prefers the one in exactly this case.
 * @param below  the folder to look in, below `root`
 * @return the entry's path below `root`
 */
std::optional<std::filesystem::path> FindEntry(const Folder& root, const std::filesystem::path& below,
                                               std::u16string_view name);

/** The same in a folder of the host, which is given by its path. */
std::optional<std::filesystem::path> FindEntry(const std::filesystem::path& folder, std::u16string_view name);

/** Returns the path without links, or as it is if it cannot be followed. */
std::filesystem::path RealPath(const std::filesystem::path& path);

}  // namespace simulated
