#include "icons/GdiPlusBitmap.h"

#include "platform/Constants.h"

namespace kestrelbay {

// Without memory, operator new of this class returns null. The constructor does not run then.

std::unique_ptr<GdiPlusBitmap> GdiPlusBitmap::FromIcon(platform::HICON icon) {
  std::unique_ptr<GdiPlusBitmap> bitmap(new GdiPlusBitmap);
  if (bitmap) bitmap->lastStatus = platform::GdipCreateBitmapFromHICON(icon, &bitmap->native_);
  return bitmap;
}

std::unique_ptr<GdiPlusBitmap> GdiPlusBitmap::FromBitmap(platform::HBITMAP source) {
  std::unique_ptr<GdiPlusBitmap> bitmap(new GdiPlusBitmap);
  if (bitmap) bitmap->lastStatus = platform::GdipCreateBitmapFromHBITMAP(source, nullptr, &bitmap->native_);
  return bitmap;
}

std::unique_ptr<GdiPlusBitmap> GdiPlusBitmap::OverPixels(const platform::BitmapData& locked) {
  std::unique_ptr<GdiPlusBitmap> bitmap(new GdiPlusBitmap);
  if (bitmap) {
    bitmap->lastStatus = platform::GdipCreateBitmapFromScan0(
        static_cast<int>(locked.Width), static_cast<int>(locked.Height), locked.Stride,
        platform::PixelFormat32bppARGB, static_cast<platform::BYTE*>(locked.Scan0), &bitmap->native_);
  }
  return bitmap;
}

GdiPlusBitmap::~GdiPlusBitmap() { platform::GdipDisposeImage(Image()); }

}  // namespace kestrelbay
