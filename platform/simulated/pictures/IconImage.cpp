#include "simulated/pictures/IconImage.h"

#include <algorithm>

#include "simulated/base/LittleEndian.h"
#include "simulated/pictures/PngFile.h"

namespace simulated {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint32_t kOpaque = 0xFF000000;
constexpr std::uint32_t kCoreHeaderBytes = 12;
constexpr std::uint32_t kInfoHeaderBytes = 40;
constexpr std::uint32_t kHasFieldMasks = 3;  // BI_BITFIELDS

/** The header of a bitmap. Rows of pixels and of the mask are padded to 32 bits. */
struct Layout {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool isTopDown = false;
  std::uint32_t bits = 0;
  std::uint32_t paletteBytes = 0;
  std::uint32_t paletteEntryBytes = 4;
  std::uint32_t paletteAt = 0;
  std::size_t pixelsAt = 0;

  std::size_t RowBytes(std::uint32_t bitsAPixel) const {
    return (std::size_t{width} * bitsAPixel + 31) / 32 * 4;
  }
  std::size_t MaskAt() const { return pixelsAt + RowBytes(bits) * height; }
  /** Index among the stored rows of a row that is counted from the top. */
  std::size_t StoredRow(std::uint32_t y) const { return isTopDown ? y : height - 1 - y; }
};

/** Field masks of 16-bit pixels are not supported: these always have five bits per colour. */
bool ReadInfoHeader(Bytes bytes, Layout& layout) {
  const auto height = static_cast<std::int32_t>(Read32(bytes, 8));
  const std::uint32_t compression = Read32(bytes, 16);
  layout.width = Read32(bytes, 4);
  layout.isTopDown = height < 0;
  // The stored height includes the mask, which is as high as the picture.
  layout.height = (layout.isTopDown ? 0u - Read32(bytes, 8) : Read32(bytes, 8)) / 2;
  layout.bits = Read16(bytes, 14);
  const bool hasMasks = compression == kHasFieldMasks && layout.bits == 32;
  if (compression != 0 && !hasMasks) return false;
  const std::uint32_t headerBytes = Read32(bytes, 0);
  layout.paletteAt = headerBytes + (hasMasks && headerBytes == kInfoHeaderBytes ? 12 : 0);
  const std::uint32_t most = layout.bits <= 8 ? 1u << layout.bits : 0;
  const std::uint32_t colours = Read32(bytes, 32);
  if (most == 0) return true;
  if (colours > most) return false;
  layout.paletteBytes = (colours != 0 ? colours : most) * 4;
  return true;
}

bool ReadCoreHeader(Bytes bytes, Layout& layout) {
  layout.width = Read16(bytes, 4);
  layout.height = Read16(bytes, 6) / 2u;
  layout.bits = Read16(bytes, 10);
  layout.paletteEntryBytes = 3;
  layout.paletteAt = kCoreHeaderBytes;
  layout.paletteBytes = layout.bits <= 8 ? (1u << layout.bits) * 3 : 0;
  return true;
}

std::optional<Layout> ReadLayout(Bytes bytes) {
  if (bytes.size() < kCoreHeaderBytes) return std::nullopt;
  const std::uint32_t headerBytes = Read32(bytes, 0);
  const bool isCore = headerBytes == kCoreHeaderBytes;
  if (headerBytes > bytes.size() || (!isCore && headerBytes < kInfoHeaderBytes)) return std::nullopt;
  Layout layout;
  if (!(isCore ? ReadCoreHeader(bytes, layout) : ReadInfoHeader(bytes, layout))) return std::nullopt;
  constexpr std::uint32_t kDepths[] = {1, 4, 8, 16, 24, 32};
  const bool isKnown = std::find(std::begin(kDepths), std::end(kDepths), layout.bits) != std::end(kDepths);
  if (!isKnown || layout.width == 0 || layout.height == 0) return std::nullopt;
  if (layout.width > kLargestIconSide || layout.height > kLargestIconSide) return std::nullopt;
  layout.pixelsAt = std::size_t{layout.paletteAt} + layout.paletteBytes;
  if (layout.MaskAt() > bytes.size()) return std::nullopt;
  return layout;
}

/** Returns a colour of the palette. An index beyond the palette is black, as on Windows. */
std::uint32_t PaletteColour(Bytes bytes, const Layout& layout, std::uint32_t index) {
  if (index * layout.paletteEntryBytes >= layout.paletteBytes) return kOpaque;
  const std::size_t at = layout.paletteAt + index * layout.paletteEntryBytes;
  return kOpaque | Read16(bytes, at) | std::uint32_t{bytes[at + 2]} << 16;
}

/** Reads a pixel of a packed row. The first pixel is in the highest bits of a byte. */
std::uint32_t PackedBits(Bytes row, std::uint32_t x, std::uint32_t bits) {
  const std::uint32_t shift = 8 - bits - x * bits % 8;
  const std::uint32_t packed = row[x * bits / 8];
  return packed >> shift & ((1u << bits) - 1);
}

/** Scales a value of five bits to eight bits. */
std::uint32_t FromFiveBits(std::uint32_t five) { return five << 3 | five >> 2; }

std::uint32_t PixelColour(Bytes bytes, const Layout& layout, Bytes row, std::uint32_t x) {
  const std::size_t at = std::size_t{x} * layout.bits / 8;
  switch (layout.bits) {
    case 32:
      return Read32(row, at);
    case 24:
      return kOpaque | Read16(row, at) | std::uint32_t{row[at + 2]} << 16;
    case 16: {
      const std::uint32_t pixel = Read16(row, at);
      return kOpaque | FromFiveBits(pixel >> 10 & 31) << 16 | FromFiveBits(pixel >> 5 & 31) << 8 |
             FromFiveBits(pixel & 31);
    }
    default:
      return PaletteColour(bytes, layout, PackedBits(row, x, layout.bits));
  }
}

Picture ReadPixels(Bytes bytes, const Layout& layout) {
  Picture picture(layout.width, layout.height);
  const std::size_t rowBytes = layout.RowBytes(layout.bits);
  for (std::uint32_t y = 0; y < layout.height; ++y) {
    const Bytes row = bytes.subspan(layout.pixelsAt + layout.StoredRow(y) * rowBytes, rowBytes);
    for (std::uint32_t x = 0; x < layout.width; ++x) picture.At(x, y) = PixelColour(bytes, layout, row, x);
  }
  return picture;
}

/** Makes masked pixels transparent and all others opaque. @return false if the mask is incomplete */
bool ApplyMask(Bytes bytes, const Layout& layout, Picture& picture) {
  const std::size_t rowBytes = layout.RowBytes(1);
  if (layout.MaskAt() + rowBytes * layout.height > bytes.size()) return false;
  for (std::uint32_t y = 0; y < layout.height; ++y) {
    const Bytes row = bytes.subspan(layout.MaskAt() + layout.StoredRow(y) * rowBytes, rowBytes);
    for (std::uint32_t x = 0; x < layout.width; ++x) {
      const bool isHidden = PackedBits(row, x, 1) != 0;
      picture.At(x, y) = (picture.At(x, y) & ~kOpaque) | (isHidden ? 0 : kOpaque);
    }
  }
  return true;
}

}  // namespace

std::optional<IconImage> DecodeIconImage(Bytes bytes) {
  if (IsPng(bytes)) {
    // Icons of 256 pixels are usually stored as whole PNG files.
    std::optional<Picture> picture = DecodePng(bytes, kLargestIconSide);
    if (!picture) return std::nullopt;
    return IconImage{std::move(*picture), false};
  }
  const std::optional<Layout> layout = ReadLayout(bytes);
  if (!layout) return std::nullopt;
  IconImage image{ReadPixels(bytes, *layout), false};
  const auto hasAlpha = [](std::uint32_t argb) { return (argb & kOpaque) != 0; };
  image.isMasked =
      layout->bits != 32 || std::none_of(image.picture.argb.begin(), image.picture.argb.end(), hasAlpha);
  if (image.isMasked && !ApplyMask(bytes, *layout, image.picture)) return std::nullopt;
  return image;
}

}  // namespace simulated
