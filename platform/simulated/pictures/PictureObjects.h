/** What the handles and pointers of icons, bitmaps, GDI+ images and memory streams refer to on a machine. */
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/Pictures.h"
#include "simulated/base/ObjectTable.h"
#include "simulated/pictures/Picture.h"

namespace simulated {

struct Icon {
  std::shared_ptr<const Picture> picture;
};

/** A GDI bitmap. An icon's mask has no pixels of its own: they are where its picture has no alpha. */
struct GdiBitmap {
  std::shared_ptr<const Picture> picture;
  std::uint32_t bits;
};

/** A bitmap of GDI+, over pixels of the machine's, which are not written to, or over the caller's. */
struct GdiPlusImage {
  std::uint32_t width;
  std::uint32_t height;
  int format;
  /** Keeps the machine's pixels; null over the caller's. */
  std::shared_ptr<const Picture> picture;
  const std::uint8_t* pixels;
  std::ptrdiff_t stride;
  std::atomic<bool> isLocked = false;
};

/** A stream's bytes, which are also a block of memory with a handle. */
struct MemoryStream {
  std::vector<std::uint8_t> bytes;
  platform::HANDLE memory = nullptr;
  std::atomic<int> locks = 0;
};

/** What is open is counted by each table. Allocations are those of GdipAlloc. */
struct PictureObjects {
  ObjectTable<platform::HICON, Icon> icons;
  ObjectTable<platform::HANDLE, GdiBitmap> bitmaps;
  ObjectTable<platform::GpImage*, GdiPlusImage> images;
  ObjectTable<IStream*, MemoryStream> streams;
  ObjectTable<platform::HANDLE, MemoryStream> memory;
  std::atomic<int> allocations = 0;
  /** GDI+ works while more starts than shutdowns were made. */
  std::atomic<int> gdiPlusStarts = 0;
  /**
   * Colour depth of the screen, which is that of an icon's bitmap: 32, or 24 for a screen without alpha. Set
   * it before any icon is made.
   */
  std::uint32_t displayBits = 32;
};

}  // namespace simulated
