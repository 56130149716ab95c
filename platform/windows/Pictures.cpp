#include "platform/Pictures.h"

#include <windows.h>

#include <objidl.h>

// GDI+ asks for types of a later header, and for two macros that this project switches off.
#include <algorithm>
using std::max;
using std::min;

#include <gdiplus.h>

#include "Casts.h"
#include "Records.h"

namespace platform {
namespace {

namespace native = Gdiplus::DllExports;

CHECK_RECORD(GdiplusStartupInput, Gdiplus::GdiplusStartupInput)
CHECK_RECORD(GpRect, Gdiplus::GpRect)
CHECK_RECORD(BitmapData, Gdiplus::BitmapData)
CHECK_FIELD(BitmapData, Gdiplus::BitmapData, Stride)
CHECK_FIELD(BitmapData, Gdiplus::BitmapData, Scan0)
CHECK_RECORD(ImageCodecInfo, Gdiplus::ImageCodecInfo)
CHECK_FIELD(ImageCodecInfo, Gdiplus::ImageCodecInfo, Clsid)
CHECK_FIELD(ImageCodecInfo, Gdiplus::ImageCodecInfo, MimeType)

Gdiplus::GpImage* Windows(GpImage* image) { return reinterpret_cast<Gdiplus::GpImage*>(image); }
Gdiplus::GpBitmap* Windows(GpBitmap* bitmap) { return reinterpret_cast<Gdiplus::GpBitmap*>(bitmap); }
Gdiplus::GpBitmap** Windows(GpBitmap** bitmap) { return reinterpret_cast<Gdiplus::GpBitmap**>(bitmap); }
Gdiplus::BitmapData* Windows(BitmapData* data) { return reinterpret_cast<Gdiplus::BitmapData*>(data); }

}  // namespace

GpStatus GdiplusStartup(std::uintptr_t* token, const GdiplusStartupInput* input, void* output) {
  return Gdiplus::GdiplusStartup(reinterpret_cast<ULONG_PTR*>(token),
                                 reinterpret_cast<const Gdiplus::GdiplusStartupInput*>(input),
                                 static_cast<Gdiplus::GdiplusStartupOutput*>(output));
}

void GdiplusShutdown(std::uintptr_t token) { Gdiplus::GdiplusShutdown(token); }

void* GdipAlloc(std::size_t bytes) { return native::GdipAlloc(bytes); }

void GdipFree(void* memory) { native::GdipFree(memory); }

GpStatus GdipCreateBitmapFromHICON(HICON icon, GpBitmap** bitmap) {
  return native::GdipCreateBitmapFromHICON(icon, Windows(bitmap));
}

GpStatus GdipCreateBitmapFromHBITMAP(HBITMAP source, HANDLE palette, GpBitmap** bitmap) {
  return native::GdipCreateBitmapFromHBITMAP(source, static_cast<HPALETTE>(palette), Windows(bitmap));
}

GpStatus GdipCreateBitmapFromScan0(int width, int height, int stride, int pixelFormat, BYTE* pixels,
                                   GpBitmap** bitmap) {
  return native::GdipCreateBitmapFromScan0(width, height, stride, pixelFormat, pixels, Windows(bitmap));
}

GpStatus GdipDisposeImage(GpImage* image) { return native::GdipDisposeImage(Windows(image)); }

GpStatus GdipGetImageWidth(GpImage* image, UINT* width) {
  return native::GdipGetImageWidth(Windows(image), width);
}

GpStatus GdipGetImageHeight(GpImage* image, UINT* height) {
  return native::GdipGetImageHeight(Windows(image), height);
}

GpStatus GdipGetImagePixelFormat(GpImage* image, int* pixelFormat) {
  return native::GdipGetImagePixelFormat(Windows(image), pixelFormat);
}

GpStatus GdipBitmapGetPixel(GpBitmap* bitmap, int x, int y, std::uint32_t* argb) {
  return native::GdipBitmapGetPixel(Windows(bitmap), x, y, reinterpret_cast<Gdiplus::ARGB*>(argb));
}

GpStatus GdipBitmapLockBits(GpBitmap* bitmap, const GpRect* rectangle, UINT flags, int pixelFormat,
                            BitmapData* data) {
  return native::GdipBitmapLockBits(Windows(bitmap), reinterpret_cast<const Gdiplus::GpRect*>(rectangle),
                                    flags, pixelFormat, Windows(data));
}

GpStatus GdipBitmapUnlockBits(GpBitmap* bitmap, BitmapData* data) {
  return native::GdipBitmapUnlockBits(Windows(bitmap), Windows(data));
}

GpStatus GdipGetImageEncodersSize(UINT* count, UINT* bytes) {
  return native::GdipGetImageEncodersSize(count, bytes);
}

GpStatus GdipGetImageEncoders(UINT count, UINT bytes, ImageCodecInfo* encoders) {
  return native::GdipGetImageEncoders(count, bytes, reinterpret_cast<Gdiplus::ImageCodecInfo*>(encoders));
}

GpStatus GdipSaveImageToStream(GpImage* image, IStream* stream, const GUID* encoder, const void* parameters) {
  return native::GdipSaveImageToStream(Windows(image), stream, reinterpret_cast<const CLSID*>(encoder),
                                       static_cast<const Gdiplus::EncoderParameters*>(parameters));
}

HRESULT CreateStreamOnHGlobal(HANDLE memory, BOOL deleteOnRelease, IStream** stream) {
  return ::CreateStreamOnHGlobal(memory, deleteOnRelease, stream);
}

HRESULT GetHGlobalFromStream(IStream* stream, HANDLE* memory) {
  return ::GetHGlobalFromStream(stream, memory);
}

DWORD IStream_Release(IStream* stream) { return stream->Release(); }

std::size_t GlobalSize(HANDLE memory) { return ::GlobalSize(memory); }

void* GlobalLock(HANDLE memory) { return ::GlobalLock(memory); }

BOOL GlobalUnlock(HANDLE memory) { return ::GlobalUnlock(memory); }

}  // namespace platform
