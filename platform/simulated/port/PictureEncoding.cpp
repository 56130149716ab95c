// Saving of GDI+ images. PNG is the only encoder.
#include <cstring>

#include "simulated/base/ComObject.h"
#include "simulated/pictures/PngFile.h"
#include "simulated/port/GdiPlus.h"

namespace simulated {
namespace {

using platform::GpStatus;
using platform::GUID;

constexpr GUID kPngEncoder = {0x557CF406, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
constexpr GUID kPngFormat = {0xB96B3CAF, 0x0728, 0x11D3, {0x9D, 0x7B, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};

std::vector<std::uint8_t> Encode(const GdiPlusImage& image) {
  if (image.format != kRgb) return EncodePng({image.width, image.height, image.pixels, image.stride});
  Picture opaque(image.width, image.height);
  for (std::uint32_t y = 0; y < image.height; ++y) {
    for (std::uint32_t x = 0; x < image.width; ++x) opaque.At(x, y) = PixelOf(image, x, y);
  }
  return EncodePng(opaque);
}

platform::ImageCodecInfo DescribePngEncoder() {
  static constexpr platform::BYTE kPattern[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  static constexpr platform::BYTE kMask[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  constexpr platform::DWORD kEncodesDecodesBitmapsBuiltIn = 0x10007;
  return {kPngEncoder, kPngFormat, u"Built-in PNG Codec", nullptr,
          u"PNG",      u"*.PNG",   u"image/png",          kEncodesDecodesBitmapsBuiltIn,
          1,           1,          sizeof kPattern,       kPattern,
          kMask};
}

GpStatus ListEncoders(platform::UINT count, platform::UINT bytes, platform::ImageCodecInfo* encoders) {
  if (count != 1 || bytes != sizeof *encoders || !encoders) return kGenericError;
  *encoders = DescribePngEncoder();
  return kOk;
}

GpStatus Save(Machine& machine, platform::GpImage* handle, IStream* streamHandle, const GUID* encoder) {
  if (!IsStarted(machine)) return kNotInitialized;
  const auto image = machine.pictures.images.Find(handle);
  const auto stream = machine.pictures.streams.Find(streamHandle);
  if (!image || !stream || !encoder) return kBadParameter;
  if (!IsSame(*encoder, kPngEncoder)) return kUnknownImageFormat;
  const std::vector<std::uint8_t> png = Encode(*image);
  stream->bytes.insert(stream->bytes.end(), png.begin(), png.end());
  return png.empty() ? kWin32Error : kOk;
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::Machine;
using simulated::PerformGdiPlus;

GpStatus GdipGetImageEncodersSize(UINT* count, UINT* bytes) {
  return PerformGdiPlus(
      "GdipGetImageEncodersSize", [](Arguments&) {},
      [&](Machine&) {
        *count = 1;
        *bytes = sizeof(ImageCodecInfo);
        return simulated::kOk;
      });
}

GpStatus GdipGetImageEncoders(UINT count, UINT bytes, ImageCodecInfo* encoders) {
  return PerformGdiPlus(
      "GdipGetImageEncoders", [&](Arguments& arguments) { arguments.Number(count).Number(bytes); },
      [&](Machine&) { return simulated::ListEncoders(count, bytes, encoders); });
}

GpStatus GdipSaveImageToStream(GpImage* image, IStream* stream, const GUID* encoder, const void* parameters) {
  return PerformGdiPlus(
      "GdipSaveImageToStream",
      [&](Arguments& arguments) { arguments.Handle(image).Handle(stream).Handle(parameters); },
      [&](Machine& machine) { return simulated::Save(machine, image, stream, encoder); });
}

}  // namespace platform
