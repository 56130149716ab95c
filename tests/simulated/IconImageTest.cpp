#include "simulated/pictures/IconImage.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <ctime>

#include "Drawings.h"
#include "Files.h"
#include "simulated/pictures/PngFile.h"

namespace simulated {
namespace {

using samples::MakeBitmap;
using samples::MakePng;

constexpr samples::Badge kBadge{0x3366CC, samples::Shape::Page};

std::optional<IconImage> Decode(const std::string& bytes) { return DecodeIconImage(BytesOf(bytes)); }

TEST(IconImage, PngKeepsItsAlphaAndTheColoursBehindIt) {
  const samples::Drawing drawing = Pattern(13, 7, true);
  const auto image = Decode(MakePng(drawing).bytes);
  ASSERT_TRUE(image);
  EXPECT_FALSE(image->isMasked);
  EXPECT_EQ(image->picture, PictureOf(drawing));
}

TEST(IconImage, BitmapOf32BitsKeepsItsAlpha) {
  const samples::Drawing drawing = Pattern(13, 7, true);
  const auto image = Decode(MakeBitmap(drawing, 32).bytes);
  ASSERT_TRUE(image);
  EXPECT_FALSE(image->isMasked);
  EXPECT_EQ(image->picture, PictureOf(drawing));
}

TEST(IconImage, BitmapOf32BitsWithoutAlphaUsesItsMask) {
  const samples::Drawing drawing = Pattern(13, 7, false);
  std::string bytes = MakeBitmap(drawing, 32).bytes;
  for (std::size_t at = 43; at < 40 + 13 * 7 * 4; at += 4) bytes[at] = 0;
  const auto image = Decode(bytes);
  ASSERT_TRUE(image);
  EXPECT_TRUE(image->isMasked);
  EXPECT_EQ(image->picture, PictureOf(drawing));
}

TEST(IconImage, BitmapOf24BitsUsesItsMask) {
  const samples::Drawing drawing = Pattern(13, 7, false);
  const auto image = Decode(MakeBitmap(drawing, 24).bytes);
  ASSERT_TRUE(image);
  EXPECT_TRUE(image->isMasked);
  EXPECT_EQ(image->picture, PictureOf(drawing));
}

TEST(IconImage, BitmapsOfFewColoursUsePaletteAndMask) {
  for (const std::uint32_t bits : {1U, 4U, 8U}) {
    for (const std::uint32_t side : {1U, 7U, 8U, 31U, 48U}) {
      const samples::Drawing drawing =
          bits == 1 ? samples::DrawBlackAndWhite(kBadge, side) : samples::DrawFlat(kBadge, side);
      const auto image = Decode(MakeBitmap(drawing, bits).bytes);
      ASSERT_TRUE(image) << bits << " bits, side " << side;
      EXPECT_EQ(image->picture, PictureOf(drawing)) << bits << " bits, side " << side;
    }
  }
}

TEST(IconImage, BitmapMayBeTopDown) {
  std::string bytes = MakeBitmap(Pattern(4, 4, true), 32).bytes;
  Set32(bytes, 8, static_cast<std::uint32_t>(-8));
  const auto image = Decode(bytes);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->picture.At(2, 0), Pattern(4, 4, true).At(2, 3));
}

TEST(IconImage, ColourBeyondThePaletteIsBlack) {
  samples::Drawing drawing(8, 1, 0xFFABCDEF);
  std::string bytes = MakeBitmap(drawing, 8).bytes;
  ASSERT_EQ(Decode(bytes)->picture.At(0, 0), 0xFFABCDEFU);
  bytes.erase(40 + 4, 255 * 4);
  Set32(bytes, 32, 1);
  EXPECT_EQ(Decode(bytes)->picture.At(0, 0), 0xFF000000U);
}

TEST(IconImage, CutBitmapIsDamaged) {
  for (const std::uint32_t bits : {1U, 4U, 8U, 24U}) {
    const std::string bytes = MakeBitmap(samples::DrawBlackAndWhite(kBadge, 9), bits).bytes;
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      EXPECT_FALSE(Decode(bytes.substr(0, length))) << bits << " bits, " << length << " bytes";
    }
  }
}

TEST(IconImage, BitmapWithAlphaNeedsNoMask) {
  const std::string bytes = MakeBitmap(Pattern(9, 9, true), 32).bytes;
  EXPECT_TRUE(Decode(bytes.substr(0, 40 + 9 * 9 * 4)));
  EXPECT_FALSE(Decode(bytes.substr(0, 40 + 9 * 9 * 4 - 1)));
}

TEST(IconImage, CutPngIsDamaged) {
  const std::string bytes = MakePng(Pattern(9, 9, true)).bytes;
  for (std::size_t length = 0; length < bytes.size(); ++length) EXPECT_FALSE(Decode(bytes.substr(0, length)));
}

TEST(IconImage, PngWithAWrongCheckSumIsDamaged) {
  std::string bytes = MakePng(Pattern(9, 9, true)).bytes;
  bytes[60] = static_cast<char>(bytes[60] ^ 1);
  EXPECT_FALSE(Decode(bytes));
}

TEST(IconImage, ImpossibleSidesAreRefused) {
  for (const std::uint32_t side : {0U, 1025U, 0x10000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    std::string wide = MakeBitmap(Pattern(8, 8, true), 32).bytes;
    Set32(wide, 4, side);
    EXPECT_FALSE(Decode(wide)) << side;
  }
  for (const std::uint32_t heightWithMask : {0U, 1U, 2050U, 0x20000U, 0x7FFFFFFFU, 0x80000000U}) {
    std::string high = MakeBitmap(Pattern(8, 8, true), 32).bytes;
    Set32(high, 8, heightWithMask);
    EXPECT_FALSE(Decode(high)) << heightWithMask;
  }
}

TEST(IconImage, WrongHeaderIsRefused) {
  const std::string good = MakeBitmap(Pattern(8, 8, false), 24).bytes;
  for (const std::uint32_t headerBytes : {0U, 11U, 39U, 400000U, 0xFFFFFFFFU}) {
    std::string bytes = good;
    Set32(bytes, 0, headerBytes);
    EXPECT_FALSE(Decode(bytes)) << headerBytes;
  }
  for (const std::uint32_t bits : {0U, 2U, 7U, 64U, 0xFFFFU}) {
    std::string bytes = good;
    Set32(bytes, 12, 1 | bits << 16);
    EXPECT_FALSE(Decode(bytes)) << bits;
  }
  std::string compressed = good;
  Set32(compressed, 16, 1);
  EXPECT_FALSE(Decode(compressed));
  std::string colours = MakeBitmap(samples::DrawFlat(kBadge, 8), 8).bytes;
  Set32(colours, 32, 0x40000000);
  EXPECT_FALSE(Decode(colours));
}

/** A deflate stream: these bytes, and then that many blocks of a mebibyte of zeros. */
std::string Deflated(const std::string& bytes, int zeroBlocks) {
  z_stream stream{};
  EXPECT_EQ(deflateInit(&stream, 9), Z_OK);
  const auto take = [&stream](const std::string& input) {
    std::string output(input.size() / 100 + 1000, '\0');
    std::string copy = input;
    stream.next_in = reinterpret_cast<Bytef*>(copy.data());
    stream.avail_in = static_cast<uInt>(copy.size());
    stream.next_out = reinterpret_cast<Bytef*>(output.data());
    stream.avail_out = static_cast<uInt>(output.size());
    EXPECT_EQ(deflate(&stream, Z_FULL_FLUSH), Z_OK);
    output.resize(output.size() - stream.avail_out);
    return output;
  };
  std::string deflated = take(bytes);
  // Each block begins anew, so equal blocks have equal bytes.
  const std::string block = take(std::string(1 << 20, '\0'));
  deflateEnd(&stream);
  for (int i = 0; i < zeroBlocks; ++i) deflated += block;
  return deflated;
}

std::string Chunk(const std::string& type, const std::string& data) {
  const auto bigEndian = [](std::uint32_t number) {
    std::string bytes;
    for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(number >> shift & 0xFF);
    return bytes;
  };
  const std::string both = type + data;
  const auto checkSum = crc32(0, reinterpret_cast<const Bytef*>(both.data()), static_cast<uInt>(both.size()));
  return bigEndian(static_cast<std::uint32_t>(data.size())) + both +
         bigEndian(static_cast<std::uint32_t>(checkSum));
}

TEST(PngFile, InflatingStopsAtThePicturesEnd) {
  const std::string header = std::string("\0\0\1\0\0\0\1\0\x08\x06\0\0\0", 13);
  const std::string file = "\x89PNG\r\n\x1a\n" + Chunk("IHDR", header) +
                           Chunk("IDAT", Deflated(std::string(256 * (1 + 4 * 256), '\0'), 2048)) +
                           Chunk("IEND", "");
  const std::clock_t before = std::clock();
  const auto picture = DecodePng({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()}, 256);
  const auto milliseconds = (std::clock() - before) * 1000 / CLOCKS_PER_SEC;
  ASSERT_TRUE(picture);
  EXPECT_EQ(*picture, Picture(256, 256));
  // Two gigabytes take seconds, and the picture takes some milliseconds.
  EXPECT_LT(milliseconds, 500);
}

TEST(PngFile, WhatWasSavedIsReadBack) {
  const Picture picture = PictureOf(Pattern(33, 17, true));
  const auto png = EncodePng(picture);
  EXPECT_TRUE(IsPng(png));
  EXPECT_EQ(DecodePng(png, 33), picture);
  EXPECT_FALSE(DecodePng(png, 32));
}

TEST(PngFile, RowsMayBeBottomUpAndUnaligned) {
  const Picture picture = PictureOf(Pattern(5, 3, true));
  const PixelRows rows = RowsOf(picture);
  std::vector<std::uint8_t> upsideDown(1);  // no address of a pixel is a multiple of its size
  for (std::uint32_t y = picture.height; y-- > 0;) {
    const std::uint8_t* const row = rows.top + static_cast<std::ptrdiff_t>(y) * rows.strideBytes;
    upsideDown.insert(upsideDown.end(), row, row + rows.strideBytes);
  }
  const std::uint8_t* const top = upsideDown.data() + upsideDown.size() - rows.strideBytes;
  EXPECT_EQ(DecodePng(EncodePng({rows.width, rows.height, top, -rows.strideBytes}), 5), picture);
}

TEST(PngFile, PictureWithoutPixelsCannotBeSaved) { EXPECT_TRUE(EncodePng(Picture()).empty()); }

TEST(Picture, TransparentPixelsAddNoColourWhenScaled) {
  Picture picture(2, 2);
  picture.argb = {0xFF204060, 0x00FFFFFF, 0x00FFFFFF, 0xFF204060};
  EXPECT_EQ(Scaled(picture, 1).At(0, 0), 0x80204060U);
  EXPECT_EQ(Scaled(picture, 4).At(1, 1), 0xFF204060U);
}

TEST(Picture, OfTheWantedSizeStaysAsItIs) {
  Picture picture(2, 2);
  picture.argb = {0xFF204060, 0x00FFFFFF, 0x00FFFFFF, 0xFF204060};
  EXPECT_EQ(Scaled(picture, 2), picture);
}

TEST(Picture, CornerIsTheTopLeftOne) {
  Picture picture(1, 1);
  picture.argb = {0xFF010203};
  const Picture canvas = InTopLeftCorner(picture, 3);
  EXPECT_EQ(canvas.At(0, 0), 0xFF010203U);
  EXPECT_EQ(std::count(canvas.argb.begin(), canvas.argb.end(), 0U), 8);
}

}  // namespace
}  // namespace simulated
