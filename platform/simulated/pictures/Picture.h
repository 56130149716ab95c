/** A picture in memory: the common form of icons, bitmaps and PNG files. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace simulated {

/** Pixels from the top row down, each 0xAARRGGBB, not premultiplied. */
struct Picture {
  Picture() = default;
  /** A transparent picture. */
  Picture(std::uint32_t widthPixels, std::uint32_t heightPixels)
      : width(widthPixels), height(heightPixels), argb(std::size_t{widthPixels} * heightPixels) {}

  std::uint32_t& At(std::uint32_t x, std::uint32_t y) { return argb[std::size_t{y} * width + x]; }
  std::uint32_t At(std::uint32_t x, std::uint32_t y) const { return argb[std::size_t{y} * width + x]; }

  bool operator==(const Picture&) const = default;

  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint32_t> argb;
};

/** Borrowed pixels in memory, in the format of a Picture. */
struct PixelRows {
  std::uint32_t width;
  std::uint32_t height;
  /** The first pixel of the top row. It need not be aligned. */
  const std::uint8_t* top;
  /** Distance from a row to the next one. Negative if the top row is the last one in memory. */
  std::ptrdiff_t strideBytes;
};

/** Borrows the pixels of a picture. */
inline PixelRows RowsOf(const Picture& picture) {
  return {picture.width, picture.height, reinterpret_cast<const std::uint8_t*>(picture.argb.data()),
          static_cast<std::ptrdiff_t>(picture.width) * 4};
}

/** Scales `picture` to a square. Pixels are averaged. REQUIRES: `picture` is not empty. */
Picture Scaled(const Picture& picture, std::uint32_t sidePixels);

/** Puts `picture` unscaled into the top left corner of a transparent square. */
Picture InTopLeftCorner(Picture picture, std::uint32_t sidePixels);

}  // namespace simulated
