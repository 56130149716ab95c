/**
 * GDI+ by its flat interface, and streams in memory. A status of 0 is success. Images are opaque pointers
 * that GdipDisposeImage frees. GDI+ must be started on some thread while any of it is used.
 */
#pragma once

#include "platform/Icons.h"
#include "platform/Types.h"

struct IStream;

namespace platform {

class GpImage;
class GpBitmap;
using GpStatus = int;

/** The options of GDI+; with the layout of Windows. */
struct GdiplusStartupInput {
  std::uint32_t GdiplusVersion;
  void* DebugEventCallback;
  BOOL SuppressBackgroundThread;
  BOOL SuppressExternalCodecs;
};
static_assert(sizeof(GdiplusStartupInput) == 24);

struct GpRect {
  int X;
  int Y;
  int Width;
  int Height;
};
static_assert(sizeof(GpRect) == 16);

/** The pixels of a locked rectangle, valid until the unlock; with the layout of Windows. */
struct BitmapData {
  UINT Width;
  UINT Height;
  int Stride;
  int PixelFormat;
  void* Scan0;
  std::uintptr_t Reserved;
};
static_assert(sizeof(BitmapData) == 32);

/** An encoder; with the layout of Windows. */
struct ImageCodecInfo {
  GUID Clsid;
  GUID FormatID;
  const char16_t* CodecName;
  const char16_t* DllName;
  const char16_t* FormatDescription;
  const char16_t* FilenameExtension;
  const char16_t* MimeType;
  DWORD Flags;
  DWORD Version;
  DWORD SigCount;
  DWORD SigSize;
  const BYTE* SigPattern;
  const BYTE* SigMask;
};
static_assert(sizeof(ImageCodecInfo) == 104);

/** @param token out: the parameter of GdiplusShutdown @param output null */
GpStatus GdiplusStartup(std::uintptr_t* token, const GdiplusStartupInput* input, void* output);
void GdiplusShutdown(std::uintptr_t token);

/** Allocates memory for GDI+ objects. @return null on failure */
void* GdipAlloc(std::size_t bytes);
void GdipFree(void* memory);

GpStatus GdipCreateBitmapFromHICON(HICON icon, GpBitmap** bitmap);
/**
 * @param source   on the simulated machine, of 32 bits per pixel
 * @param palette  null
 * @param bitmap   out: a bitmap without alpha, whose pixels read as opaque; their fourth bytes are those of
 * the source
 */
GpStatus GdipCreateBitmapFromHBITMAP(HBITMAP source, HANDLE palette, GpBitmap** bitmap);
/** @param pixels  borrowed; they must outlive the bitmap */
GpStatus GdipCreateBitmapFromScan0(int width, int height, int stride, int pixelFormat, BYTE* pixels,
                                   GpBitmap** bitmap);
GpStatus GdipDisposeImage(GpImage* image);

GpStatus GdipGetImageWidth(GpImage* image, UINT* width);
GpStatus GdipGetImageHeight(GpImage* image, UINT* height);
GpStatus GdipGetImagePixelFormat(GpImage* image, int* pixelFormat);
/** @param argb receives alpha, red, green, blue from the highest byte down; untouched on failure */
GpStatus GdipBitmapGetPixel(GpBitmap* bitmap, int x, int y, std::uint32_t* argb);

/**
 * Gives access to a rectangle's pixels.
 * @param rectangle  one that reaches beyond the bitmap is refused with InvalidParameter (2), `data` untouched
 * @param flags      ImageLockModeRead
 * @param data       out: the pixels in `pixelFormat`, which on the simulated machine must be that of the
 * bitmap
 */
GpStatus GdipBitmapLockBits(GpBitmap* bitmap, const GpRect* rectangle, UINT flags, int pixelFormat,
                            BitmapData* data);
GpStatus GdipBitmapUnlockBits(GpBitmap* bitmap, BitmapData* data);

/** @param bytes receives the size of the list with its texts */
GpStatus GdipGetImageEncodersSize(UINT* count, UINT* bytes);
GpStatus GdipGetImageEncoders(UINT count, UINT bytes, ImageCodecInfo* encoders);
/** @param parameters null */
GpStatus GdipSaveImageToStream(GpImage* image, IStream* stream, const GUID* encoder, const void* parameters);

/** @param memory  null allocates it @param stream  out: the stream, which IStream_Release frees */
HRESULT CreateStreamOnHGlobal(HANDLE memory, BOOL deleteOnRelease, IStream** stream);
HRESULT GetHGlobalFromStream(IStream* stream, HANDLE* memory);
DWORD IStream_Release(IStream* stream);
std::size_t GlobalSize(HANDLE memory);
/** @return the bytes, valid until GlobalUnlock; null on failure */
void* GlobalLock(HANDLE memory);
BOOL GlobalUnlock(HANDLE memory);

}  // namespace platform
