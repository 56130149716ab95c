#include "simulated/base/FolderEntry.h"

#include "simulated/base/UpperCase.h"
#include "simulated/base/WideText.h"

namespace simulated {

namespace fs = std::filesystem;

std::optional<fs::path> FindEntry(const Folder& root, const fs::path& below, std::u16string_view name) {
  fs::path exact = below / ToUtf8(name);
  if (root.Look(exact) != Folder::Entry::None) return exact;
  for (const std::string& entry : root.Names(below))
    if (SameName(FromUtf8(entry), name)) return below / entry;
  return std::nullopt;
}

std::optional<fs::path> FindEntry(const fs::path& folder, std::u16string_view name) {
  std::error_code error;
  const fs::path exact = folder / ToUtf8(name);
  if (fs::exists(exact, error)) return exact;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (SameName(FromUtf8(entry->path().filename().string()), name)) return entry->path();
  }
  return std::nullopt;
}

fs::path RealPath(const fs::path& path) {
  std::error_code failure;
  fs::path real = fs::weakly_canonical(path, failure);
  return failure ? path : real;
}

}  // namespace simulated
