/** Owns a GDI+ bitmap. */
#pragma once

#include <cstdint>
#include <memory>

#include "platform/Pictures.h"

namespace kestrelbay {

/**
 * Owns a GDI+ bitmap and the status of its last operation. Allocated by GDI+, so the factories return null if
 * GDI+ has no memory. The native image is null if its creation failed; operations on it then fail.
 */
class GdiPlusBitmap {
 public:
  static std::unique_ptr<GdiPlusBitmap> FromIcon(platform::HICON icon);
  /** The bitmap has no alpha, but its pixels keep the bytes of the alpha of the source. */
  static std::unique_ptr<GdiPlusBitmap> FromBitmap(platform::HBITMAP source);
  /** @param locked  pixels to read as ARGB; borrowed, so they must outlive the bitmap */
  static std::unique_ptr<GdiPlusBitmap> OverPixels(const platform::BitmapData& locked);

  ~GdiPlusBitmap();
  GdiPlusBitmap(const GdiPlusBitmap&) = delete;
  GdiPlusBitmap& operator=(const GdiPlusBitmap&) = delete;

  static void* operator new(std::size_t bytes) noexcept { return platform::GdipAlloc(bytes); }
  static void operator delete(void* memory) noexcept { platform::GdipFree(memory); }

  platform::GpBitmap* Bitmap() const { return native_; }
  platform::GpImage* Image() const { return reinterpret_cast<platform::GpImage*>(native_); }

  platform::GpStatus lastStatus = 0;

 private:
  GdiPlusBitmap() = default;

  platform::GpBitmap* native_ = nullptr;
};

}  // namespace kestrelbay
