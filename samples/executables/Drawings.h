/** Icons of the sample machine's applications, drawn at any size. */
#pragma once

#include <cstdint>

#include "ExecutableFile.h"

namespace samples {

enum class Shape { Disc, Ring, Bars, Page, Triangle, Cross };

/** A badge: a rounded square with a white shape on it. */
struct Badge {
  std::uint32_t colour;  ///< 0xRRGGBB
  Shape shape;
};

/** Draws soft edges, a shade from top to bottom and many colours: for images with alpha. */
Drawing DrawSmooth(const Badge& badge, std::uint32_t sidePixels);

/** Draws hard edges and at most three colours: for images with a mask. */
Drawing DrawFlat(const Badge& badge, std::uint32_t sidePixels);

/** The same in black and white. The surroundings are transparent. */
Drawing DrawBlackAndWhite(const Badge& badge, std::uint32_t sidePixels);

}  // namespace samples
