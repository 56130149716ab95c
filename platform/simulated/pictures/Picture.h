/** A picture in memory: what icons, bitmaps and PNG files are turned into. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace simulated {

/** Pixels from the top row down, each 0xAARRGGBB; alpha is not multiplied into the colours. */
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

/** Pixels wherever they lie in memory, in the order and form of a picture's. */
struct PixelRows {
  std::uint32_t width;
  std::uint32_t height;
  /** The first pixel of the top row, which need not be aligned. */
  const std::uint8_t* top;
  /** From a row to the next; negative where the top row lies last. */
  std::ptrdiff_t strideBytes;
};

/** A picture's own pixels, as long as it lives. */
inline PixelRows RowsOf(const Picture& picture) {
  return {picture.width, picture.height, reinterpret_cast<const std::uint8_t*>(picture.argb.data()),
          static_cast<std::ptrdiff_t>(picture.width) * 4};
}

/** A square picture that shows the whole of `picture`, which is not empty: averaged where it shrinks. */
Picture Scaled(const Picture& picture, std::uint32_t sidePixels);

/** A square picture with `picture` unscaled in its top left corner, and transparent elsewhere. */
Picture InTopLeftCorner(Picture picture, std::uint32_t sidePixels);

/** What stands for a program that brings no icon of its own: a window. */
Picture DrawWindow(std::uint32_t sidePixels);

/** What stands for a folder. */
Picture DrawFolder(std::uint32_t sidePixels);

}  // namespace simulated
