/** A GDI+ bitmap that frees itself. */
#pragma once

#include <cstdint>
#include <memory>

#include "platform/Pictures.h"

namespace kestrelbay {

/**
 * Lives in memory of GDI+'s own, so making one can fail with null, and holds the status of its last
 * operation. The native image is null where it could not be made; what is asked of it then fails.
 */
class GdiPlusBitmap {
 public:
  static std::unique_ptr<GdiPlusBitmap> FromIcon(platform::HICON icon);
  /** The source's alpha is not taken over, but stays in its pixels. */
  static std::unique_ptr<GdiPlusBitmap> FromBitmap(platform::HBITMAP source);
  /** @param locked pixels to read as ARGB; they must outlive the result */
  static std::unique_ptr<GdiPlusBitmap> OverPixels(const platform::BitmapData& locked);

  ~GdiPlusBitmap();
  GdiPlusBitmap(const GdiPlusBitmap&) = delete;
  GdiPlusBitmap& operator=(const GdiPlusBitmap&) = delete;

  static void* operator new(std::size_t bytes) noexcept { return platform::GdipAlloc(bytes); }
  static void operator delete(void* memory) noexcept { platform::GdipFree(memory); }

  platform::GpBitmap* Bitmap() const { return native; }
  platform::GpImage* Image() const { return reinterpret_cast<platform::GpImage*>(native); }

  platform::GpStatus lastStatus = 0;

 private:
  GdiPlusBitmap() = default;

  platform::GpBitmap* native = nullptr;
};

}  // namespace kestrelbay
