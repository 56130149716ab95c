/**
 * The icons of files as a machine's shell has them: found once, and from then on known by a number.
 *
 * A file's icon comes as the common picture of 32 by 32 pixels, and as one of 256 by 256. Each is made of the
 * image that comes closest in size, of several the one with the most colours. In the large one an image of
 * less than 256 pixels is not scaled, but stands in the top left corner: so Windows draws it up to 48 pixels,
 * and what it does with those in between is not known here. Larger images are scaled down.
 *
 * Safe for any number of threads.
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

/** What the shell says of a file. */
struct ShellIcon {
  int index;
  Picture common;
};

class ShellIcons {
 public:
  /**
   * Looks at a file, even if it is known: it may have changed. One without an icon has that of a window.
   * @param path  whole
   * @return nothing for a file that is not there, or whose icon is damaged
   */
  std::optional<ShellIcon> Look(const Drives& drives, std::u16string_view path);

  /** The large picture that goes with an index. @return nothing for one that Look never gave, or damage */
  std::optional<Picture> Jumbo(int index) const;

 private:
  enum class Kind { Window, Folder, Image };

  /** What the large picture is made of: the image as it is stored, which is much smaller than its pixels. */
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
