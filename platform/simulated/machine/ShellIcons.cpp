#include "simulated/machine/ShellIcons.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include "simulated/pictures/DefaultIcons.h"
#include "simulated/pictures/IconFiles.h"
#include "simulated/pictures/IconImage.h"

namespace simulated {
namespace {

constexpr std::u16string_view kIconFileEnding = u".ICO";

std::uint32_t Distance(std::uint32_t a, std::uint32_t b) { return a > b ? a - b : b - a; }

const IconEntry& Closest(const IconEntries& entries, std::uint32_t side) {
  const auto rank = [side](const IconEntry& entry) {
    return std::tuple(Distance(entry.width, side) + Distance(entry.height, side), ~entry.bits);
  };
  return *std::min_element(entries.begin(), entries.end(),
                           [&](const IconEntry& a, const IconEntry& b) { return rank(a) < rank(b); });
}

/** Clears the colours of pixels that a mask hides, so that scaling does not mix them into others. */
std::optional<Picture> Draw(const std::vector<std::uint8_t>& bytes) {
  std::optional<IconImage> image = DecodeIconImage(bytes);
  if (!image) return std::nullopt;
  if (image->isMasked) {
    for (std::uint32_t& argb : image->picture.argb) argb = argb >> 24 == 0 ? 0 : argb;
  }
  return std::move(image->picture);
}

bool Fits(const Picture& picture, std::uint32_t side) {
  return picture.width <= side && picture.height <= side;
}

}  // namespace

int ShellIcons::Remember(std::u16string name, Source source) {
  const std::lock_guard guard(lock_);
  const auto [entry, isNew] = indices_.try_emplace(std::move(name), static_cast<int>(sources_.size()));
  if (isNew) {
    sources_.push_back(std::move(source));
  } else {
    sources_[static_cast<std::size_t>(entry->second)] = std::move(source);
  }
  return entry->second;
}

std::optional<ShellIcon> ShellIcons::Look(const Drives& drives, std::u16string_view path) {
  if (!drives.Exists(path)) return std::nullopt;
  if (drives.IsFolder(path)) {
    return ShellIcon{Remember(u"folder", {Kind::Folder, {}}), DrawFolder(kCommonIconSide)};
  }
  const std::u16string name = Drives::Normal(path);
  // A file made in code is empty.
  const FileSource file(drives.OpenFile(path));
  try {
    const IconEntries entries =
        name.ends_with(kIconFileEnding) ? FindIconFileIcon(file) : FindExecutableIcon(file);
    if (entries.empty()) {
      return ShellIcon{Remember(u"window", {Kind::Window, {}}), DrawWindow(kCommonIconSide)};
    }
    const auto common = Draw(ReadIconImage(file, Closest(entries, kCommonIconSide)));
    if (!common) return std::nullopt;
    Source source{Kind::Image, ReadIconImage(file, Closest(entries, kJumboIconSide))};
    return ShellIcon{Remember(name, std::move(source)), Scaled(*common, kCommonIconSide)};
  } catch (const DamagedIcon&) {
    return std::nullopt;
  }
}

std::optional<Picture> ShellIcons::Jumbo(int index) const {
  Source source;
  {
    const std::lock_guard guard(lock_);
    if (index < 0 || static_cast<std::size_t>(index) >= sources_.size()) return std::nullopt;
    source = sources_[static_cast<std::size_t>(index)];
  }
  if (source.kind == Kind::Window) return DrawWindow(kJumboIconSide);
  if (source.kind == Kind::Folder) return DrawFolder(kJumboIconSide);
  auto picture = Draw(source.image);
  if (!picture) return std::nullopt;
  return Fits(*picture, kJumboIconSide) ? InTopLeftCorner(std::move(*picture), kJumboIconSide)
                                        : Scaled(*picture, kJumboIconSide);
}

}  // namespace simulated
