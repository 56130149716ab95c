#include "Drawings.h"

#include <algorithm>
#include <cmath>

namespace samples {
namespace {

constexpr std::uint32_t kOpaque = 0xFF000000;
constexpr std::uint32_t kWhite = 0xFFFFFF;
constexpr int kSamples = 4;  // per side of a pixel, for soft edges

/** A point on the badge: each coordinate is from 0 to 1. */
struct Point {
  double x;
  double y;
};

bool IsInBadge(Point at) {
  constexpr double kCorner = 0.2;
  const double x = std::max(std::abs(at.x - 0.5) - (0.47 - kCorner), 0.0);
  const double y = std::max(std::abs(at.y - 0.5) - (0.47 - kCorner), 0.0);
  return std::hypot(x, y) <= kCorner;
}

bool IsInShape(Shape shape, Point at) {
  const double x = at.x - 0.5;
  const double y = at.y - 0.5;
  const double radius = std::hypot(x, y);
  switch (shape) {
    case Shape::Disc:
      return radius < 0.24;
    case Shape::Ring:
      return radius < 0.28 && radius > 0.16;
    case Shape::Bars:
      return std::abs(x) < 0.28 && std::abs(y) < 0.28 &&
             static_cast<int>(std::floor((y + 0.28) / 0.08)) % 2 == 0;
    case Shape::Page:
      return std::abs(x) < 0.2 && std::abs(y) < 0.28 && !(x > 0.06 && y < -0.14 && x - y > 0.34);
    case Shape::Triangle:
      return x > -0.18 && std::abs(y) < 0.28 * (0.28 - x) / 0.46;
    default:
      return std::min(std::abs(x), std::abs(y)) < 0.08 && std::max(std::abs(x), std::abs(y)) < 0.28;
  }
}

/** Makes a colour darker towards the bottom. */
std::uint32_t Shaded(std::uint32_t colour, double y) {
  std::uint32_t shaded = 0;
  for (int shift = 0; shift < 24; shift += 8) {
    const double part = static_cast<double>(colour >> shift & 0xFF) * (1.12 - 0.34 * y);
    shaded |= static_cast<std::uint32_t>(std::clamp(part, 0.0, 255.0)) << shift;
  }
  return shaded;
}

/** The number of a pixel's points that are in the badge, and in its shape. */
struct Cover {
  int badge = 0;
  int shape = 0;
};

Cover CoverOf(const Badge& badge, std::uint32_t side, std::uint32_t x, std::uint32_t y) {
  Cover cover;
  for (int point = 0; point < kSamples * kSamples; ++point) {
    const double across = (point % kSamples + 0.5) / kSamples;
    const double down = (point / kSamples + 0.5) / kSamples;
    const Point at{(x + across) / side, (y + down) / side};
    if (!IsInBadge(at)) continue;
    ++cover.badge;
    if (IsInShape(badge.shape, at)) ++cover.shape;
  }
  return cover;
}

std::uint32_t Mixed(std::uint32_t colour, int shape, int badge) {
  std::uint32_t mixed = 0;
  for (int shift = 0; shift < 24; shift += 8) {
    const auto part = static_cast<int>(colour >> shift & 0xFF);
    mixed |= static_cast<std::uint32_t>((part * (badge - shape) + 255 * shape) / badge) << shift;
  }
  return mixed;
}

}  // namespace

Drawing DrawSmooth(const Badge& badge, std::uint32_t sidePixels) {
  Drawing drawing(sidePixels, sidePixels);
  for (std::uint32_t y = 0; y < sidePixels; ++y) {
    const std::uint32_t colour = Shaded(badge.colour, (y + 0.5) / sidePixels);
    for (std::uint32_t x = 0; x < sidePixels; ++x) {
      const Cover cover = CoverOf(badge, sidePixels, x, y);
      if (cover.badge == 0) continue;
      const auto alpha = static_cast<std::uint32_t>(cover.badge * 255 / (kSamples * kSamples));
      drawing.At(x, y) = alpha << 24 | Mixed(colour, cover.shape, cover.badge);
    }
  }
  return drawing;
}

Drawing DrawFlat(const Badge& badge, std::uint32_t sidePixels) {
  Drawing drawing(sidePixels, sidePixels);
  for (std::uint32_t y = 0; y < sidePixels; ++y) {
    for (std::uint32_t x = 0; x < sidePixels; ++x) {
      const Point at{(x + 0.5) / sidePixels, (y + 0.5) / sidePixels};
      if (!IsInBadge(at)) continue;
      drawing.At(x, y) = kOpaque | (IsInShape(badge.shape, at) ? kWhite : badge.colour);
    }
  }
  return drawing;
}

Drawing DrawBlackAndWhite(const Badge& badge, std::uint32_t sidePixels) {
  return DrawFlat({0, badge.shape}, sidePixels);
}

}  // namespace samples
