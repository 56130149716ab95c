#include "HostileFiles.h"

#include <zlib.h>

#include <stdexcept>

#include "Files.h"

namespace simulated {
namespace {

using samples::IconBytes;
using samples::MakeBitmap;
using samples::MakeExecutable;
using samples::MakePng;

constexpr std::uint32_t kInk = 0xFF3366CC;

/** Offsets in a file of MakeExecutable with one image, or with two; then the description is 40 bytes later.
 */
constexpr std::size_t kSection = 64 + 24 + 240;
constexpr std::size_t kTypes = 0x200;
constexpr std::size_t kNames = kTypes + 32;
constexpr std::size_t kDescription = kNames + 24 + 24 + 24;

std::string BigEndian(std::uint32_t number) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

std::string Compressed(const std::string& bytes) {
  uLongf length = compressBound(bytes.size());
  std::string compressed(length, '\0');
  if (compress2(reinterpret_cast<Bytef*>(compressed.data()), &length, BytesOf(bytes).data(), bytes.size(),
                9) != Z_OK) {
    throw std::runtime_error("zlib does not compress");
  }
  compressed.resize(length);
  return compressed;
}

std::string Chunk(const std::string& type, const std::string& data) {
  const std::string both = type + data;
  const auto checkSum = crc32(0, BytesOf(both).data(), static_cast<uInt>(both.size()));
  return BigEndian(static_cast<std::uint32_t>(data.size())) + both +
         BigEndian(static_cast<std::uint32_t>(checkSum));
}

/** @return a PNG file whose header has a square; `rows` are its compressed data */
std::string Png(std::uint32_t side, const std::string& rows, const std::string& chunks = "") {
  return "\x89PNG\r\n\x1a\n" +
         Chunk("IHDR", BigEndian(side) + BigEndian(side) + std::string("\x08\x06\0\0\0", 5)) + chunks +
         Chunk("IDAT", Compressed(rows)) + Chunk("IEND", "");
}

std::string Rows(std::size_t side) { return std::string(side * (1 + 4 * side), '\0'); }

/** Nine hundred texts of a kilobyte. Each decompresses to a megabyte. */
std::string Texts(const std::string& type, const std::string& head) {
  const std::string text = Chunk(type, head + Compressed(std::string(1000000, 'a')));
  std::string texts;
  for (int i = 0; i < 900; ++i) texts += text;
  return texts;
}

std::string Program(const std::string& image, std::uint32_t side = 256) {
  return MakeExecutable({{u"", 1, {IconBytes{side, side, 32, image}}}});
}

std::string Bitmap(std::size_t at, std::uint32_t number) {
  std::string image = MakeBitmap(samples::Drawing(16, 16, kInk), 32).bytes;
  Set32(image, at, number);
  return Program(image, 16);
}

/** A correct executable in which one number is replaced. */
std::string Program(std::size_t at, std::uint32_t number) {
  std::string file = Program(MakePng(samples::Drawing(256, 256, kInk)).bytes);
  Set32(file, at, number);
  return file;
}

std::string Cut(std::size_t eighths) {
  const std::string whole = Program(MakePng(samples::Drawing(256, 256, kInk)).bytes);
  return whole.substr(0, whole.size() * eighths / 8);
}

/** The larger image begins inside the smaller one. */
std::string Overlapping() {
  std::string file = MakeExecutable(
      {{u"",
        1,
        {MakeBitmap(samples::Drawing(8, 8, kInk), 32), MakeBitmap(samples::Drawing(16, 16, kInk), 32)}}});
  const std::size_t first = kDescription + 8;  // the table of images has one more entry
  const auto place = static_cast<std::uint32_t>(static_cast<unsigned char>(file[first]) |
                                                static_cast<unsigned char>(file[first + 1]) << 8);
  Set32(file, first + 40, place + 4);
  return file;
}

/** Section and image have the largest sizes that fit into their fields. */
std::string ImageOf4GiB() {
  std::string file = Program(kDescription + 4, 0x7FFFFFFF);
  Set32(file, kSection + 16, 0xFFFFFFFF);
  return file;
}

std::string Cyclic() {
  std::string file = Program(kTypes + 16 + 4, 0x80000000);
  Set32(file, kTypes + 24 + 4, 0x80000000);
  return file;
}

}  // namespace

std::vector<HostileFile> HostileFiles() {
  const std::string png = MakePng(samples::Drawing(256, 256, kInk)).bytes;
  return {
      {"cut to a half", Cut(4), false},
      {"cut to an eighth", Cut(1), false},
      {"cut to seven eighths", Cut(7), false},
      {"table that refers to itself", Cyclic(), false},
      {"images that overlap", Overlapping(), false},
      {"table with too high a count", Program(kTypes + 12, 0xFFFFFFFF), false},
      {"resource in place of a table", Program(kTypes + 24 + 4, 0), false},
      {"address outside of all sections", Program(kDescription, 0xFFFFFFF0), false},
      {"section beyond the end of the file", Program(kSection + 20, 0xFFFFFE00), false},
      {"image of two gigabytes", ImageOf4GiB(), false},
      {"cut PNG", Program(png.substr(0, png.size() / 2)), false},
      {"cut bitmap", Program(MakeBitmap(samples::Drawing(256, 256, kInk), 32).bytes.substr(0, 9000)), false},
      {"bitmap of two thousand million columns", Bitmap(4, 0x7FFFFFFF), false},
      {"bitmap of two thousand million rows", Bitmap(8, 0x7FFFFFFE), false},
      {"bitmap of 65536 by 65536 pixels",
       Program(std::string(MakeBitmap(samples::Drawing(1, 1), 32).bytes)
                   .replace(4, 8, std::string("\0\0\1\0\0\0\2\0", 8))),
       false},
      {"PNG of two thousand million pixels a side", Program(Png(0x7FFFFFFF, "")), false},
      {"PNG of 1025 pixels a side", Program(Png(1025, Rows(1025))), false},
      {"PNG with less than its rows", Program(Png(256, Rows(16))), false},
      {"PNG of the largest size", Program(Png(1024, Rows(1024))), true},
      {"PNG with much more than its rows", Program(Png(256, Rows(256) + std::string(100 << 20, '\0'))), true},
      {"PNG with texts that decompress to much more",
       Program(Png(256, Rows(256), Texts("zTXt", std::string("k\0\0", 3)))), true},
      {"PNG with other texts that decompress to much more",
       Program(Png(256, Rows(256), Texts("iTXt", std::string("k\0\1\0\0\0", 6)))), true}};
}

}  // namespace simulated
