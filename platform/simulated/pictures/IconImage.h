/** One image of an icon, from the bytes that stand for it in an executable or an .ico file. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "simulated/pictures/Picture.h"

namespace simulated {

/** Pixels to a side, at most; one that claims more is refused before anything is allocated for it. */
inline constexpr std::uint32_t kLargestIconSide = 1024;

struct IconImage {
  Picture picture;
  /** The alpha comes of the one-bit mask, not of the pixels: what is hidden keeps its colour. */
  bool isMasked = false;
};

/**
 * Reads a PNG file, or a bitmap of 1, 4, 8, 16, 24 or 32 bits a pixel that is followed by its mask. Of 32-bit
 * bitmaps those without any alpha go by their mask; the others need none.
 * @return nothing for what is damaged
 */
std::optional<IconImage> DecodeIconImage(std::span<const std::uint8_t> bytes);

}  // namespace simulated
