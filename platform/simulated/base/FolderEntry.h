/** Folders of the host, looked into as Windows does: without regard to case. */
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace simulated {

/** The entry of a folder that bears the name in some case, the exact one where there are several. */
std::optional<std::filesystem::path> FindEntry(const std::filesystem::path& folder, std::u16string_view name);

}  // namespace simulated
