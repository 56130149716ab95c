/** PNG files in memory. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "simulated/pictures/Picture.h"

namespace simulated {

/** Whether the bytes begin with the signature of PNG files. */
bool IsPng(std::span<const std::uint8_t> bytes);

/**
 * Reads a file of any colour type and depth. Gamma is ignored.
 * @param largestSide  in pixels; a larger picture is refused before memory is allocated for it
 * @return nothing if the file is damaged or too large
 */
std::optional<Picture> DecodePng(std::span<const std::uint8_t> bytes, std::uint32_t largestSide);

/** Writes a file of eight bits per colour, with alpha. @return empty for a picture without pixels */
std::vector<std::uint8_t> EncodePng(const PixelRows& rows);
inline std::vector<std::uint8_t> EncodePng(const Picture& picture) { return EncodePng(RowsOf(picture)); }

}  // namespace simulated
