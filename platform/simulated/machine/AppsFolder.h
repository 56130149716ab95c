/** The shell's apps folder of a simulated machine. */
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace simulated {

struct AppsFolderItem {
  /** As a person sees it; nothing where the shell fails to tell it. */
  std::optional<std::u16string> name;
  /** What the shell starts it by; nothing where the shell fails to tell it. */
  std::optional<std::u16string> id;
};

struct AppsFolder {
  /** False for a shell that does not know the folder. */
  bool isThere = true;
  /** In the shell's order; where one is nothing, the enumerator fails. */
  std::vector<std::optional<AppsFolderItem>> items;
};

}  // namespace simulated
