/** The objects behind the handles of icons, bitmaps, GDI+ images and memory streams. */
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

/** A GDI bitmap. The mask of an icon shares the icon's picture, because its alpha contains the mask. */
struct GdiBitmap {
  std::shared_ptr<const Picture> picture;
  std::uint32_t bits;
};

/** A bitmap of GDI+. Its pixels belong to the machine, which never changes them, or to the caller. */
struct GdiPlusImage {
  std::uint32_t width;
  std::uint32_t height;
  int format;
  /** Owns the pixels. Null if the caller owns them. */
  std::shared_ptr<const Picture> picture;
  const std::uint8_t* pixels;
  std::ptrdiff_t stride;
  std::atomic<bool> isLocked = false;
};

/** A stream in memory. Its bytes are also a memory block with a handle. */
struct MemoryStream {
  std::vector<std::uint8_t> bytes;
  platform::HANDLE memory = nullptr;
  std::atomic<int> locks = 0;
};

/** The tables count what is open. `allocations` counts the blocks of GdipAlloc. */
struct PictureObjects {
  ObjectTable<platform::HICON, Icon> icons;
  ObjectTable<platform::HANDLE, GdiBitmap> bitmaps;
  ObjectTable<platform::GpImage*, GdiPlusImage> images;
  ObjectTable<IStream*, MemoryStream> streams;
  ObjectTable<platform::HANDLE, MemoryStream> memory;
  std::atomic<int> allocations = 0;
  /** Starts minus shutdowns. GDI+ works while this is above 0. */
  std::atomic<int> gdiPlusStarts = 0;
  /**
   * Colour depth of the screen, which the bitmaps of icons have: 32, or 24 for a screen without alpha. Set it
   * before the first icon is created.
   */
  std::uint32_t displayBits = 32;
};

}  // namespace simulated
