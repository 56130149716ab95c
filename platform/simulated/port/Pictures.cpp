// Bitmaps of GDI+.
#include <cstdlib>
#include <cstring>

#include "platform/Constants.h"
#include "simulated/port/GdiPlus.h"

namespace simulated {

std::uint32_t PixelOf(const GdiPlusImage& image, std::uint32_t x, std::uint32_t y) {
  std::uint32_t pixel = 0;
  std::memcpy(&pixel, image.pixels + static_cast<std::ptrdiff_t>(y) * image.stride + std::size_t{x} * 4,
              sizeof pixel);
  return image.format == kRgb ? pixel | 0xFF000000 : pixel;
}

namespace {

using platform::BitmapData;
using platform::GpBitmap;
using platform::GpImage;
using platform::GpStatus;

using ImagePointer = std::shared_ptr<GdiPlusImage>;

GpImage* AsImage(GpBitmap* bitmap) { return reinterpret_cast<GpImage*>(bitmap); }

ImagePointer Find(Machine& machine, GpBitmap* bitmap) {
  return machine.pictures.images.Find(AsImage(bitmap));
}

GpStatus Open(Machine& machine, ImagePointer image, GpBitmap** bitmap) {
  *bitmap = reinterpret_cast<GpBitmap*>(machine.pictures.images.Open(std::move(image)));
  return kOk;
}

// The product locks images for reading only, so an image may share the pixels of an icon.
ImagePointer ImageOf(std::shared_ptr<const Picture> picture, int format) {
  const PixelRows rows = RowsOf(*picture);
  auto image = std::make_shared<GdiPlusImage>();
  image->width = rows.width;
  image->height = rows.height;
  image->format = format;
  image->picture = std::move(picture);
  image->pixels = rows.top;
  image->stride = rows.strideBytes;
  return image;
}

GpStatus CreateFromIcon(Machine& machine, platform::HICON handle, GpBitmap** bitmap) {
  if (!IsStarted(machine)) return kNotInitialized;
  const auto icon = machine.pictures.icons.Find(handle);
  if (!icon) return kBadParameter;
  return Open(machine, ImageOf(icon->picture, platform::PixelFormat32bppARGB), bitmap);
}

GpStatus CreateFromBitmap(Machine& machine, platform::HBITMAP handle, GpBitmap** bitmap) {
  if (!IsStarted(machine)) return kNotInitialized;
  const auto source = machine.pictures.bitmaps.Find(handle);
  if (!source) return kBadParameter;
  if (source->bits != 32) return kNotImplemented;
  return Open(machine, ImageOf(source->picture, kRgb), bitmap);
}

struct Pixels {
  int width;
  int height;
  int stride;
  int format;
  platform::BYTE* bytes;
};

GpStatus CreateOverPixels(Machine& machine, const Pixels& pixels, GpBitmap** bitmap) {
  if (!IsStarted(machine)) return kNotInitialized;
  *bitmap = nullptr;
  if (pixels.width <= 0 || pixels.height <= 0 || !pixels.bytes || pixels.stride % 4 != 0)
    return kBadParameter;
  // A stride is a multiple of four and may be negative, for rows from the bottom up.
  if (std::abs(pixels.stride) / 4 < pixels.width) return kBadParameter;
  if (pixels.format != platform::PixelFormat32bppARGB && pixels.format != kRgb) return kNotImplemented;
  auto image = std::make_shared<GdiPlusImage>();
  image->width = static_cast<std::uint32_t>(pixels.width);
  image->height = static_cast<std::uint32_t>(pixels.height);
  image->format = pixels.format;
  image->pixels = pixels.bytes;
  image->stride = pixels.stride;
  return Open(machine, std::move(image), bitmap);
}

/** Returns a property of an image in `value`. */
template <class Value, class Answer>
GpStatus Ask(Machine& machine, GpImage* handle, Value* value, Answer answer) {
  const ImagePointer image = machine.pictures.images.Find(handle);
  if (!image || !value) return kBadParameter;
  *value = answer(*image);
  return kOk;
}

GpStatus GetPixel(Machine& machine, GpBitmap* bitmap, int x, int y, std::uint32_t* argb) {
  const ImagePointer image = Find(machine, bitmap);
  if (!image || !argb || x < 0 || y < 0) return kBadParameter;
  const auto column = static_cast<std::uint32_t>(x);
  const auto row = static_cast<std::uint32_t>(y);
  if (column >= image->width || row >= image->height) return kBadParameter;
  *argb = PixelOf(*image, column, row);
  return kOk;
}

/** Whether a side of a rectangle is inside the bitmap and not empty. */
bool IsWithin(int begin, int length, std::uint32_t bound) {
  return begin >= 0 && length > 0 && std::int64_t{begin} + length <= std::int64_t{bound};
}

GpStatus Lock(Machine& machine, GpBitmap* bitmap, const platform::GpRect* rectangle, int format,
              BitmapData* data) {
  const ImagePointer image = Find(machine, bitmap);
  if (!image || !rectangle || !data) return kBadParameter;
  if (!IsWithin(rectangle->X, rectangle->Width, image->width)) return kBadParameter;
  if (!IsWithin(rectangle->Y, rectangle->Height, image->height)) return kBadParameter;
  if (format != image->format) return kNotImplemented;
  if (image->isLocked.exchange(true)) return kWrongState;
  data->Width = static_cast<platform::UINT>(rectangle->Width);
  data->Height = static_cast<platform::UINT>(rectangle->Height);
  data->Stride = static_cast<int>(image->stride);
  data->PixelFormat = format;
  const platform::BYTE* const first =
      image->pixels + rectangle->Y * image->stride + std::ptrdiff_t{rectangle->X} * 4;
  data->Scan0 = const_cast<platform::BYTE*>(first);  // Windows declares it writable, also for reading
  data->Reserved = 0;
  return kOk;
}

GpStatus Unlock(Machine& machine, GpBitmap* bitmap, const BitmapData* data) {
  const ImagePointer image = Find(machine, bitmap);
  if (!image || !data) return kBadParameter;
  return image->isLocked.exchange(false) ? kOk : kWrongState;
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;
using simulated::PerformGdiPlus;

GpStatus GdipCreateBitmapFromHICON(HICON icon, GpBitmap** bitmap) {
  return PerformGdiPlus(
      "GdipCreateBitmapFromHICON", [&](Arguments& arguments) { arguments.Handle(icon); },
      [&](Machine& machine) { return simulated::CreateFromIcon(machine, icon, bitmap); });
}

GpStatus GdipCreateBitmapFromHBITMAP(HBITMAP source, HANDLE palette, GpBitmap** bitmap) {
  return PerformGdiPlus(
      "GdipCreateBitmapFromHBITMAP", [&](Arguments& arguments) { arguments.Handle(source).Handle(palette); },
      [&](Machine& machine) { return simulated::CreateFromBitmap(machine, source, bitmap); });
}

GpStatus GdipCreateBitmapFromScan0(int width, int height, int stride, int pixelFormat, BYTE* pixels,
                                   GpBitmap** bitmap) {
  return PerformGdiPlus(
      "GdipCreateBitmapFromScan0",
      [&](Arguments& arguments) {
        arguments.Number(width).Number(height).Number(stride);
        arguments.Hex(static_cast<std::uint32_t>(pixelFormat));
      },
      [&](Machine& machine) {
        return simulated::CreateOverPixels(machine, {width, height, stride, pixelFormat, pixels}, bitmap);
      });
}

GpStatus GdipDisposeImage(GpImage* image) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "GdipDisposeImage", Failure<GpStatus>{simulated::kGenericError, 0, true},
      [&](Arguments& arguments) { arguments.Handle(image); },
      [&] { return machine.pictures.images.Close(image) ? simulated::kOk : simulated::kBadParameter; });
}

GpStatus GdipGetImageWidth(GpImage* image, UINT* width) {
  return PerformGdiPlus(
      "GdipGetImageWidth", [&](Arguments& arguments) { arguments.Handle(image); },
      [&](Machine& machine) {
        return simulated::Ask(machine, image, width, [](const auto& asked) { return asked.width; });
      });
}

GpStatus GdipGetImageHeight(GpImage* image, UINT* height) {
  return PerformGdiPlus(
      "GdipGetImageHeight", [&](Arguments& arguments) { arguments.Handle(image); },
      [&](Machine& machine) {
        return simulated::Ask(machine, image, height, [](const auto& asked) { return asked.height; });
      });
}

GpStatus GdipGetImagePixelFormat(GpImage* image, int* pixelFormat) {
  return PerformGdiPlus(
      "GdipGetImagePixelFormat", [&](Arguments& arguments) { arguments.Handle(image); },
      [&](Machine& machine) {
        return simulated::Ask(machine, image, pixelFormat, [](const auto& asked) { return asked.format; });
      });
}

GpStatus GdipBitmapGetPixel(GpBitmap* bitmap, int x, int y, std::uint32_t* argb) {
  return PerformGdiPlus(
      "GdipBitmapGetPixel", [&](Arguments& arguments) { arguments.Handle(bitmap).Number(x).Number(y); },
      [&](Machine& machine) { return simulated::GetPixel(machine, bitmap, x, y, argb); });
}

GpStatus GdipBitmapLockBits(GpBitmap* bitmap, const GpRect* rectangle, UINT flags, int pixelFormat,
                            BitmapData* data) {
  return PerformGdiPlus(
      "GdipBitmapLockBits",
      [&](Arguments& arguments) {
        arguments.Handle(bitmap).Number(rectangle->X).Number(rectangle->Y);
        arguments.Number(rectangle->Width).Number(rectangle->Height);
        arguments.Number(flags).Hex(static_cast<std::uint32_t>(pixelFormat));
      },
      [&](Machine& machine) { return simulated::Lock(machine, bitmap, rectangle, pixelFormat, data); });
}

GpStatus GdipBitmapUnlockBits(GpBitmap* bitmap, BitmapData* data) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "GdipBitmapUnlockBits", Failure<GpStatus>{simulated::kGenericError, 0, true},
      [&](Arguments& arguments) { arguments.Handle(bitmap); },
      [&] { return simulated::Unlock(machine, bitmap, data); });
}

}  // namespace platform
