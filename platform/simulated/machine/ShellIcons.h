/**
 * The shell's icons of files, and the indices by which its image list knows them.
 *
 * A file has a common picture of 32 by 32 pixels and a jumbo picture of 256 by 256. Each is made of the image
 * that is closest in size, and of several such images of the one with the most colours. In a jumbo picture a
 * smaller image is in the top left corner, unscaled. Windows does so up to 48 pixels; for sizes between 48
 * and 256 its behaviour is not known. Larger images are scaled down. Thread-safe.
 */
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulated/machine/Drives.h"
#include "simulated/pictures/Picture.h"

namespace simulated {

inline constexpr std::uint32_t kCommonIconSide = 32;
inline constexpr std::uint32_t kJumboIconSide = 256;

/** The icon of one file. */
struct ShellIcon {
  int index;
  Picture common;
};

class ShellIcons {
 public:
  /**
   * Reads the icon of a file, also of a known file, because it may have changed. A file without an icon gets
   * the picture of a window, a folder that of a folder.
   * @param path  a whole path
   * @return nothing if there is no such file, or if its icon is damaged
   */
  std::optional<ShellIcon> Look(const Drives& drives, std::u16string_view path);

  /** Returns the jumbo picture of an index; nothing if Look never returned it, or if the image is damaged. */
  std::optional<Picture> Jumbo(int index) const;

 private:
  enum class Kind { Window, Folder, Image };

  /** The stored image of a jumbo picture, which is much smaller than its pixels. */
  struct Source {
    Kind kind;
    std::vector<std::uint8_t> image;
  };

  int Remember(std::u16string name, Source source);

  mutable std::mutex lock_;
  std::map<std::u16string, int> indices_;
  std::vector<Source> sources_;
};

}  // namespace simulated
