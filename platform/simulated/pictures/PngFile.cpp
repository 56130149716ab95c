#include "simulated/pictures/PngFile.h"

#include <png.h>

#include <vector>

namespace simulated {
namespace {

/** Ends reading. Thrown through frames of libpng: code for x86-64 has unwind tables. */
struct PngFailure {};

[[noreturn]] void Fail(png_structp, png_const_charp) { throw PngFailure(); }

void Ignore(png_structp, png_const_charp) {}

struct Reader {
  Reader() : png(png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, Fail, Ignore)) {
    info = png_create_info_struct(png);
  }
  ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  png_structp png;
  png_infop info;
};

/** Makes libpng convert every colour type to blue, green, red, alpha: the bytes of a pixel in memory. */
void AskForBgra(png_structp png) {
  png_set_expand(png);
  png_set_strip_16(png);
  png_set_gray_to_rgb(png);
  png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
  png_set_bgr(png);
  png_set_interlace_handling(png);
}

/** A picture while it is decoded. */
struct Decoding {
  Picture picture;
  bool isWhole = false;
};

Decoding& DecodingOf(png_structp png) { return *static_cast<Decoding*>(png_get_progressive_ptr(png)); }

void BeginPicture(png_structp png, png_infop info) {
  AskForBgra(png);
  png_read_update_info(png, info);
  Picture picture(png_get_image_width(png, info), png_get_image_height(png, info));
  if (png_get_rowbytes(png, info) != std::size_t{picture.width} * 4) throw PngFailure();
  DecodingOf(png).picture = std::move(picture);
}

void TakeRow(png_structp png, png_bytep row, png_uint_32 y, int) {
  if (row)
    png_progressive_combine_row(png, reinterpret_cast<png_bytep>(&DecodingOf(png).picture.At(0, y)), row);
}

void EndPicture(png_structp png, png_infop info) {
  constexpr int kInterlacePasses = 7;
  const bool isInterlaced = png_get_interlace_type(png, info) != PNG_INTERLACE_NONE;
  Decoding& decoding = DecodingOf(png);
  decoding.isWhole = isInterlaced ? png_get_current_pass_number(png) >= kInterlacePasses
                                  : png_get_current_row_number(png) >= decoding.picture.height;
}

}  // namespace

bool IsPng(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 8 && png_sig_cmp(bytes.data(), 0, 8) == 0;
}

std::optional<Picture> DecodePng(std::span<const std::uint8_t> bytes, std::uint32_t largestSide) try {
  Reader reader;
  png_set_user_limits(reader.png, largestSide, largestSide);
  // Texts and profiles are not needed, and a small hostile file can inflate them to hundreds of megabytes.
  png_set_keep_unknown_chunks(reader.png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
  // The progressive reader stops at the last row. The other one inflates all data behind it, which a small
  // file may have a gigabyte of.
  Decoding decoding;
  png_set_progressive_read_fn(reader.png, &decoding, BeginPicture, TakeRow, EndPicture);
  std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
  png_process_data(reader.png, reader.info, copy.data(), copy.size());
  return decoding.isWhole ? std::optional(std::move(decoding.picture)) : std::nullopt;
} catch (const PngFailure&) {
  return std::nullopt;
}

std::vector<std::uint8_t> EncodePng(const PixelRows& rows) {
  if (rows.width == 0 || rows.height == 0) return {};
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = rows.width;
  image.height = rows.height;
  image.format = PNG_FORMAT_BGRA;
  // Fast means no row filters and a lower level: compression is most of the time of an extraction.
  image.flags = PNG_IMAGE_FLAG_FAST;
  // libpng starts at the lowest address, and a negative stride tells it that the bottom row is there.
  const std::ptrdiff_t toLast = rows.strideBytes * static_cast<std::ptrdiff_t>(rows.height - 1);
  const std::uint8_t* const lowest = rows.top + (rows.strideBytes < 0 ? toLast : 0);
  std::vector<std::uint8_t> file(PNG_IMAGE_PNG_SIZE_MAX(image));
  png_alloc_size_t size = file.size();
  if (!png_image_write_to_memory(&image, file.data(), &size, 0, lowest,
                                 static_cast<png_int_32>(rows.strideBytes), nullptr))
    return {};
  file.resize(size);
  return file;
}

}  // namespace simulated
