#include "simulated/pictures/PngFile.h"

#include <png.h>

#include <cstring>

namespace simulated {
namespace {

/** Ends reading. Thrown through the library, whose frames are built to be left so. */
struct PngFailure {};

[[noreturn]] void Fail(png_structp, png_const_charp) { throw PngFailure(); }

void Ignore(png_structp, png_const_charp) {}

void ReadBytes(png_structp png, png_bytep data, std::size_t length) {
  auto& rest = *static_cast<std::span<const std::uint8_t>*>(png_get_io_ptr(png));
  if (length > rest.size()) png_error(png, "ends early");
  std::memcpy(data, rest.data(), length);
  rest = rest.subspan(length);
}

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

std::vector<png_bytep> RowPointers(Picture& picture) {
  std::vector<png_bytep> rows;
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    rows.push_back(reinterpret_cast<png_bytep>(&picture.At(0, y)));
  }
  return rows;
}

/** Has every kind of file come out as blue, green, red, alpha: a pixel's bytes in memory. */
void AskForBgra(png_structp png) {
  png_set_expand(png);
  png_set_strip_16(png);
  png_set_gray_to_rgb(png);
  png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
  png_set_bgr(png);
  png_set_interlace_handling(png);
}

}  // namespace

bool IsPng(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 8 && png_sig_cmp(bytes.data(), 0, 8) == 0;
}

std::optional<Picture> DecodePng(std::span<const std::uint8_t> bytes, std::uint32_t largestSide) try {
  Reader reader;
  png_set_user_limits(reader.png, largestSide, largestSide);
  // Nobody looks at texts and profiles, and a few bytes of them may unfold to a megabyte, hundreds of times.
  png_set_keep_unknown_chunks(reader.png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
  png_set_read_fn(reader.png, &bytes, ReadBytes);
  png_read_info(reader.png, reader.info);
  AskForBgra(reader.png);
  png_read_update_info(reader.png, reader.info);
  Picture picture(png_get_image_width(reader.png, reader.info),
                  png_get_image_height(reader.png, reader.info));
  if (png_get_rowbytes(reader.png, reader.info) != std::size_t{picture.width} * 4) return std::nullopt;
  png_read_image(reader.png, RowPointers(picture).data());
  png_read_end(reader.png, nullptr);
  return picture;
} catch (const PngFailure&) {
  return std::nullopt;
}

}  // namespace simulated
