/** PNG files in memory. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "simulated/pictures/Picture.h"

namespace simulated {

/** Whether the bytes begin as each PNG file does. */
bool IsPng(std::span<const std::uint8_t> bytes);

/**
 * Reads a file of any colour type and depth. Colours are taken as they stand, without regard to gamma.
 * @param largestSide  pixels; a file that claims more is refused before anything of that size is allocated
 * @return nothing for what is damaged or too large
 */
std::optional<Picture> DecodePng(std::span<const std::uint8_t> bytes, std::uint32_t largestSide);

/** @return a file of eight bits a colour, with alpha; empty for a picture without pixels */
std::vector<std::uint8_t> EncodePng(const PixelRows& rows);
inline std::vector<std::uint8_t> EncodePng(const Picture& picture) { return EncodePng(RowsOf(picture)); }

}  // namespace simulated
