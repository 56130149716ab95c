/** Decodes one image of an icon, as executables and .ico files store it. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "simulated/pictures/Picture.h"

namespace simulated {

/** Pixels of a side. A larger image is refused before memory is allocated for it. */
inline constexpr std::uint32_t kLargestIconSide = 1024;

struct IconImage {
  Picture picture;
  /** Whether alpha comes from the one-bit mask. Then hidden pixels still have their colour. */
  bool isMasked = false;
};

/**
 * Decodes a PNG file, or a bitmap of 1, 4, 8, 16, 24 or 32 bits per pixel and the mask behind it. A 32-bit
 * bitmap needs no mask, unless all its alpha values are 0.
 * @return nothing if the image is damaged
 */
std::optional<IconImage> DecodeIconImage(std::span<const std::uint8_t> bytes);

}  // namespace simulated
