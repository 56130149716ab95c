/** Makes Windows executables that contain only icons, for the sample machine and for tests. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace samples {

/** Pixels from the top row down, each 0xAARRGGBB. */
struct Drawing {
  Drawing(std::uint32_t widthPixels, std::uint32_t heightPixels, std::uint32_t argb = 0)
      : width(widthPixels), height(heightPixels), pixels(std::size_t{widthPixels} * heightPixels, argb) {}

  std::uint32_t& At(std::uint32_t x, std::uint32_t y) { return pixels[std::size_t{y} * width + x]; }
  std::uint32_t At(std::uint32_t x, std::uint32_t y) const { return pixels[std::size_t{y} * width + x]; }

  std::uint32_t width;
  std::uint32_t height;
  std::vector<std::uint32_t> pixels;
};

/** One image of an icon. */
struct IconBytes {
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t bits;  ///< of a pixel
  std::string bytes;
};

/**
 * Makes a bitmap with its mask. The mask hides pixels whose alpha is 0.
 * @param bits  1, 4 or 8, for a drawing of at most so many colours, or 24 or 32, which keeps the alpha
 * @throws std::invalid_argument for another depth, or for too many colours
 */
IconBytes MakeBitmap(const Drawing& drawing, std::uint32_t bits);

/** Makes a PNG file with alpha. It is not compressed, so no library is needed. */
IconBytes MakePng(const Drawing& drawing);

/** An icon of an executable. */
struct IconGroup {
  std::u16string name;  ///< in capitals; empty if the group has a number
  std::uint16_t number;
  std::vector<IconBytes> images;
};

enum class Machine { I386, Amd64 };

/** @param groups  in the order that resources must have: names sorted, then numbers */
std::string MakeExecutable(const std::vector<IconGroup>& groups, Machine machine = Machine::Amd64);

/** Makes an .ico file. */
std::string MakeIconFile(const std::vector<IconBytes>& images);

}  // namespace samples
