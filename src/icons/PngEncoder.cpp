#include "icons/PngEncoder.h"

#include <algorithm>

#include "icons/GdiPlusBitmap.h"
#include "platform/Pictures.h"
#include "platform/RuntimeText.h"

namespace kestrelbay {
namespace {

// Returns the zero id if there is no such encoder. The save is tried all the same, and fails.
platform::GUID FindPngEncoder() {
  platform::UINT count = 0;
  platform::UINT bytes = 0;
  platform::GdipGetImageEncodersSize(&count, &bytes);
  // The encoders' texts follow the records in the same block.
  std::vector<platform::ImageCodecInfo> encoders(bytes / sizeof(platform::ImageCodecInfo) + 1);
  if (platform::GdipGetImageEncoders(count, bytes, encoders.data()) != 0) return {};
  for (platform::UINT at = 0; at < count; ++at) {
    if (platform::_wcsicmp(encoders[at].MimeType, u"image/png") == 0) return encoders[at].Clsid;
  }
  return {};
}

}  // namespace

bool SaveBitmapAsPng(GdiPlusBitmap& bitmap, std::vector<std::uint8_t>& png) {
  IStream* stream = nullptr;
  platform::CreateStreamOnHGlobal(nullptr, true, &stream);
  const platform::GUID encoder = FindPngEncoder();
  const platform::GpStatus status =
      platform::GdipSaveImageToStream(bitmap.Image(), stream, &encoder, nullptr);
  if (status != 0) {
    bitmap.lastStatus = status;
    return false;  // by design the stream is not released
  }
  platform::HANDLE memory = nullptr;
  platform::GetHGlobalFromStream(stream, &memory);
  // By design the size is narrowed to 32 bits.
  png.resize(static_cast<std::size_t>(static_cast<std::int32_t>(platform::GlobalSize(memory))));
  const auto* const bytes = static_cast<const std::uint8_t*>(platform::GlobalLock(memory));
  if (bytes) std::copy_n(bytes, png.size(), png.begin());
  platform::GlobalUnlock(memory);
  platform::IStream_Release(stream);
  return bytes != nullptr;
}

}  // namespace kestrelbay
