/** Files in memory, for the icon readers. */
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "ExecutableFile.h"
#include "simulated/pictures/IconFiles.h"
#include "simulated/pictures/Picture.h"

namespace simulated {

inline std::span<const std::uint8_t> BytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/** Overwrites the bytes at `at` with a number, lowest byte first. */
inline void Set32(std::string& file, std::size_t at, std::uint32_t number) {
  for (std::size_t i = 0; i < 4; ++i) file[at + i] = static_cast<char>(number >> (8 * i) & 0xFF);
}

/** A drawing in which neighbouring pixels differ. Some are transparent; with `soft`, some are half
 * transparent. */
inline samples::Drawing Pattern(std::uint32_t width, std::uint32_t height, bool soft) {
  samples::Drawing drawing(width, height);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::uint32_t alpha = (x + y) % 5 == 0 ? 0 : soft && x % 3 == 1 ? 0x80 : 0xFF;
      drawing.At(x, y) = alpha << 24 | (x * 37 & 0xFF) << 16 | (y * 59 & 0xFF) << 8 | ((x ^ y) & 0xFF);
    }
  }
  return drawing;
}

/** The drawing as a Picture. */
inline Picture PictureOf(const samples::Drawing& drawing) {
  Picture picture(drawing.width, drawing.height);
  picture.argb = drawing.pixels;
  return picture;
}

}  // namespace simulated
