#include <algorithm>
#include <array>
#include <stdexcept>

#include "ExecutableFile.h"
#include "LittleEndianText.h"

namespace samples {
namespace {

constexpr std::uint32_t kColour = 0xFFFFFF;

bool IsHidden(std::uint32_t argb) { return argb >> 24 == 0; }

/** Returns the colours of a drawing, each once. A hidden pixel is black. */
std::vector<std::uint32_t> PaletteOf(const Drawing& drawing, std::uint32_t bits) {
  std::vector<std::uint32_t> palette{0};
  for (const std::uint32_t argb : drawing.pixels) {
    const std::uint32_t colour = IsHidden(argb) ? 0 : argb & kColour;
    if (std::find(palette.begin(), palette.end(), colour) == palette.end()) palette.push_back(colour);
  }
  if (palette.size() > std::size_t{1} << bits) throw std::invalid_argument("too many colours for the depth");
  palette.resize(std::size_t{1} << bits);
  return palette;
}

/** Adds a row of numbers of `bits` bits, the first in the highest bits, padded to 32 bits. */
void PutPacked(std::string& text, const std::vector<std::uint32_t>& numbers, std::uint32_t bits) {
  std::string row;
  std::uint32_t byte = 0;
  std::uint32_t filled = 0;
  for (const std::uint32_t number : numbers) {
    byte = byte << bits | number;
    filled += bits;
    if (filled < 8) continue;
    Put8(row, byte);
    byte = filled = 0;
  }
  if (filled != 0) Put8(row, byte << (8 - filled));
  Align(row, 4);
  text += row;
}

void PutRow(std::string& text, const Drawing& drawing, std::uint32_t y, std::uint32_t bits,
            const std::vector<std::uint32_t>& palette) {
  if (bits <= 8) {
    std::vector<std::uint32_t> indices;
    for (std::uint32_t x = 0; x < drawing.width; ++x) {
      const std::uint32_t argb = drawing.At(x, y);
      const auto found = std::find(palette.begin(), palette.end(), IsHidden(argb) ? 0 : argb & kColour);
      indices.push_back(static_cast<std::uint32_t>(found - palette.begin()));
    }
    return PutPacked(text, indices, bits);
  }
  std::string row;
  for (std::uint32_t x = 0; x < drawing.width; ++x) Put(row, drawing.At(x, y), static_cast<int>(bits / 8));
  Align(row, 4);
  text += row;
}

void PutMaskRow(std::string& text, const Drawing& drawing, std::uint32_t y) {
  std::vector<std::uint32_t> hidden;
  for (std::uint32_t x = 0; x < drawing.width; ++x) hidden.push_back(IsHidden(drawing.At(x, y)) ? 1 : 0);
  PutPacked(text, hidden, 1);
}

std::uint32_t CheckSum(const std::string& bytes) {
  std::uint32_t sum = 0xFFFFFFFF;
  for (const char byte : bytes) {
    sum ^= static_cast<std::uint8_t>(byte);
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320 : 0);
  }
  return ~sum;
}

/** A number of a PNG file or a zlib stream: the highest byte comes first. */
std::string BigEndian32(std::uint32_t number) {
  std::string text;
  Put32(text, number);
  return {text.rbegin(), text.rend()};
}

void PutChunk(std::string& png, const std::string& typeAndData) {
  png += BigEndian32(static_cast<std::uint32_t>(typeAndData.size() - 4));
  png += typeAndData + BigEndian32(CheckSum(typeAndData));
}

/** Makes a zlib stream of blocks that are not compressed. */
std::string Stored(const std::string& bytes) {
  constexpr std::size_t kBlock = 0xFFFF;
  std::string stream("\x78\x01");
  std::uint32_t a = 1;
  std::uint32_t b = 0;
  for (std::size_t at = 0; at < bytes.size(); at += kBlock) {
    const std::string block = bytes.substr(at, kBlock);
    Put8(stream, at + kBlock >= bytes.size() ? 1 : 0);
    Put16(stream, block.size());
    Put16(stream, ~block.size());
    stream += block;
    for (const char byte : block) {
      a = (a + static_cast<std::uint8_t>(byte)) % 65521;
      b = (b + a) % 65521;
    }
  }
  return stream + BigEndian32(b << 16 | a);
}

}  // namespace

IconBytes MakeBitmap(const Drawing& drawing, std::uint32_t bits) {
  constexpr std::array<std::uint32_t, 5> kDepths{1, 4, 8, 24, 32};
  if (std::find(kDepths.begin(), kDepths.end(), bits) == kDepths.end()) {
    throw std::invalid_argument("no depth of a bitmap");
  }
  const auto palette = bits <= 8 ? PaletteOf(drawing, bits) : std::vector<std::uint32_t>();
  std::string bytes;
  Put32(bytes, 40);
  Put32(bytes, drawing.width);
  Put32(bytes, drawing.height * 2);  // with the mask
  Put16(bytes, 1);
  Put16(bytes, bits);
  bytes.resize(40);
  for (const std::uint32_t colour : palette) Put32(bytes, colour);
  for (std::uint32_t y = drawing.height; y-- > 0;) PutRow(bytes, drawing, y, bits, palette);
  for (std::uint32_t y = drawing.height; y-- > 0;) PutMaskRow(bytes, drawing, y);
  return {drawing.width, drawing.height, bits, bytes};
}

IconBytes MakePng(const Drawing& drawing) {
  std::string rows;
  for (std::uint32_t y = 0; y < drawing.height; ++y) {
    Put8(rows, 0);
    for (std::uint32_t x = 0; x < drawing.width; ++x) {
      const std::uint32_t argb = drawing.At(x, y);
      rows += BigEndian32(argb << 8 | argb >> 24);
    }
  }
  std::string png("\x89PNG\r\n\x1a\n");
  PutChunk(png, "IHDR" + BigEndian32(drawing.width) + BigEndian32(drawing.height) +
                    std::string("\x08\x06\0\0\0", 5));
  PutChunk(png, "IDAT" + Stored(rows));
  PutChunk(png, "IEND");
  return {drawing.width, drawing.height, 32, png};
}

}  // namespace samples
