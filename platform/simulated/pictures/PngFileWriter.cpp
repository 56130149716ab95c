// Writing of PNG files: one form alone, compressed in one piece.
#include <libdeflate.h>

#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "simulated/pictures/PngFile.h"

namespace simulated {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
// Of a whole extraction most goes into compressing. Higher levels take twice the time for a tenth less.
constexpr int kCompressionLevel = 1;
constexpr std::size_t kChunkFrameBytes = 12;
/** A row begins with the number of its filter: none, which suits what is drawn better than any other. */
constexpr std::size_t kFilterBytes = 1;
constexpr std::size_t kPixelBytes = 4;

std::array<std::uint8_t, 4> HighestFirst(std::uint32_t number) {
  return {static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
          static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
}

void AppendNumber(std::uint32_t number, Bytes& bytes) {
  const auto digits = HighestFirst(number);
  bytes.insert(bytes.end(), digits.begin(), digits.end());
}

void AppendChunk(std::string_view type, std::span<const std::uint8_t> data, Bytes& bytes) {
  AppendNumber(static_cast<std::uint32_t>(data.size()), bytes);
  const std::size_t checked = bytes.size();
  bytes.insert(bytes.end(), type.begin(), type.end());
  bytes.insert(bytes.end(), data.begin(), data.end());
  AppendNumber(libdeflate_crc32(0, &bytes[checked], bytes.size() - checked), bytes);
}

Bytes Header(const PixelRows& rows) {
  Bytes header;
  AppendNumber(rows.width, header);
  AppendNumber(rows.height, header);
  header.insert(header.end(), {8, 6, 0, 0, 0});  // eight bits; colours and alpha; the only methods there are
  return header;
}

/** The pixels as the file has them: red, green, blue, alpha. */
Bytes Scanlines(const PixelRows& rows) {
  Bytes lines((kFilterBytes + rows.width * kPixelBytes) * rows.height);
  std::uint8_t* out = lines.data();
  for (std::uint32_t y = 0; y < rows.height; ++y) {
    const std::uint8_t* const row = rows.top + static_cast<std::ptrdiff_t>(y) * rows.strideBytes;
    out += kFilterBytes;
    for (std::uint32_t x = 0; x < rows.width; ++x, out += kPixelBytes) {
      std::uint32_t argb = 0;
      std::memcpy(&argb, row + std::size_t{x} * kPixelBytes, sizeof argb);
      const auto rgba = HighestFirst(argb << 8 | argb >> 24);
      std::memcpy(out, rgba.data(), kPixelBytes);
    }
  }
  return lines;
}

struct FreeCompressor {
  void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};

}  // namespace

std::vector<std::uint8_t> EncodePng(const PixelRows& rows) {
  const std::unique_ptr<libdeflate_compressor, FreeCompressor> compressor(
      libdeflate_alloc_compressor(kCompressionLevel));
  if (!compressor || rows.width == 0 || rows.height == 0) return {};
  const Bytes lines = Scanlines(rows);
  const std::size_t room = libdeflate_zlib_compress_bound(compressor.get(), lines.size());
  const auto packed = std::make_unique_for_overwrite<std::uint8_t[]>(room);
  const std::size_t packedBytes =
      libdeflate_zlib_compress(compressor.get(), lines.data(), lines.size(), packed.get(), room);
  if (packedBytes == 0) return {};
  Bytes file(std::begin(kSignature), std::end(kSignature));
  const Bytes header = Header(rows);
  file.reserve(file.size() + header.size() + packedBytes + 3 * kChunkFrameBytes);
  AppendChunk("IHDR", header, file);
  AppendChunk("IDAT", {packed.get(), packedBytes}, file);
  AppendChunk("IEND", {}, file);
  return file;
}

}  // namespace simulated
