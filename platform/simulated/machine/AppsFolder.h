/** The shell's apps folder of a simulated machine. */
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace simulated {

struct AppsFolderItem {
  /** The display name; empty if the shell fails to return it. */
  std::optional<std::u16string> name;
  /** The parsing name, which starts the app; empty if the shell fails to return it. */
  std::optional<std::u16string> id;
};

struct AppsFolder {
  /** False for a shell that does not know the folder. */
  bool isThere = true;
  /** In the shell's order. The enumerator fails at an item without a value. */
  std::vector<std::optional<AppsFolderItem>> items;
};

}  // namespace simulated
