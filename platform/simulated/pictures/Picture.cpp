#include "simulated/pictures/Picture.h"

#include <algorithm>
#include <array>

namespace simulated {
namespace {

/** Averages pixels. Alpha is the weight, so a transparent pixel adds no colour. */
class Average {
 public:
  void Add(std::uint32_t argb) {
    const std::uint64_t alpha = argb >> 24;
    ++pixels_;
    alpha_ += alpha;
    for (std::size_t i = 0; i < colours_.size(); ++i) colours_[i] += (argb >> (8 * i) & 0xFF) * alpha;
  }

  std::uint32_t Argb() const {
    std::uint64_t argb = (alpha_ + pixels_ / 2) / pixels_ << 24;
    for (std::size_t i = 0; alpha_ != 0 && i < colours_.size(); ++i) {
      argb |= (colours_[i] + alpha_ / 2) / alpha_ << (8 * i);
    }
    return static_cast<std::uint32_t>(argb);
  }

 private:
  std::uint64_t pixels_ = 0;
  std::uint64_t alpha_ = 0;
  std::array<std::uint64_t, 3> colours_{};
};

struct Span {
  std::uint32_t begin;
  std::uint32_t end;
};

/** The pixels of a row of `source` pixels that make pixel `at` of a row of `target` pixels: at least one. */
Span SourceOf(std::uint32_t at, std::uint32_t target, std::uint32_t source) {
  const auto begin = static_cast<std::uint32_t>(std::uint64_t{at} * source / target);
  const auto end = static_cast<std::uint32_t>((std::uint64_t{at} + 1) * source / target);
  return {begin, std::max(end, begin + 1)};
}

}  // namespace

Picture Scaled(const Picture& picture, std::uint32_t sidePixels) {
  if (picture.width == sidePixels && picture.height == sidePixels) return picture;
  Picture scaled(sidePixels, sidePixels);
  for (std::uint32_t y = 0; y < sidePixels; ++y) {
    const Span rows = SourceOf(y, sidePixels, picture.height);
    for (std::uint32_t x = 0; x < sidePixels; ++x) {
      const Span columns = SourceOf(x, sidePixels, picture.width);
      Average average;
      for (std::uint32_t row = rows.begin; row < rows.end; ++row) {
        for (std::uint32_t column = columns.begin; column < columns.end; ++column) {
          average.Add(picture.At(column, row));
        }
      }
      scaled.At(x, y) = average.Argb();
    }
  }
  return scaled;
}

Picture InTopLeftCorner(Picture picture, std::uint32_t sidePixels) {
  if (picture.width == sidePixels && picture.height == sidePixels) return picture;
  Picture canvas(sidePixels, sidePixels);
  for (std::uint32_t y = 0; y < std::min(picture.height, sidePixels); ++y) {
    for (std::uint32_t x = 0; x < std::min(picture.width, sidePixels); ++x) {
      canvas.At(x, y) = picture.At(x, y);
    }
  }
  return canvas;
}

}  // namespace simulated
