#include "BareIcon.h"

#include <cstdlib>
#include <memory>

#include "platform/Constants.h"
#include "platform/Icons.h"
#include "platform/Pictures.h"
#include "platform/Protection.h"
#include "platform/RuntimeText.h"

namespace bench {
namespace {

using namespace platform;

GpImage* AsImage(GpBitmap* bitmap) { return reinterpret_cast<GpImage*>(bitmap); }

HIMAGELIST JumboList() {
  static void* list = [] {
    GUID id{};
    IIDFromString(u"{46EB5926-582E-4017-9FDF-E8998DAA0950}", &id);
    void* fetched = nullptr;
    SHGetImageList(SHIL_JUMBO, id, &fetched);
    return fetched;
  }();
  return static_cast<HIMAGELIST>(list);
}

HICON Icon(const char16_t* path) {
  SHFILEINFOW info{};
  SHGetFileInfoW(path, FILE_ATTRIBUTE_DIRECTORY, &info, sizeof info, SHGFI_ICON | SHGFI_DISPLAYNAME);
  const HICON icon = ImageList_GetIcon(JumboList(), info.iIcon, ILD_NORMAL);
  DestroyIcon(info.hIcon);
  return icon;
}

GUID PngEncoder() {
  UINT count = 0;
  UINT bytes = 0;
  GdipGetImageEncodersSize(&count, &bytes);
  const std::unique_ptr<ImageCodecInfo[]> encoders(new ImageCodecInfo[bytes / sizeof(ImageCodecInfo) + 1]);
  GdipGetImageEncoders(count, bytes, encoders.get());
  UINT at = 0;
  while (at < count && _wcsicmp(encoders[at].MimeType, u"image/png") != 0) ++at;
  return encoders[at % count].Clsid;
}

std::size_t Save(GpBitmap* bitmap) {
  IStream* stream = nullptr;
  CreateStreamOnHGlobal(nullptr, true, &stream);
  const GUID encoder = PngEncoder();
  GdipSaveImageToStream(AsImage(bitmap), stream, &encoder, nullptr);
  HANDLE memory = nullptr;
  GetHGlobalFromStream(stream, &memory);
  const auto bytes = static_cast<DWORD>(GlobalSize(memory));
  const auto* png = static_cast<const BYTE*>(GlobalLock(memory));
  DWORD chars = 0;
  CryptBinaryToStringA(png, bytes, CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF, nullptr, &chars);
  const std::unique_ptr<char[]> text(new char[chars]);
  CryptBinaryToStringA(png, bytes, CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF, text.get(), &chars);
  GlobalUnlock(memory);
  IStream_Release(stream);
  return chars;
}

std::size_t SaveWithAlpha(GpBitmap* source) {
  UINT width = 0;
  UINT height = 0;
  GdipGetImageWidth(AsImage(source), &width);
  GdipGetImageHeight(AsImage(source), &height);
  std::uint32_t argb = 0xFF000000;
  for (int y = 49; y < 256 && argb == 0xFF000000; ++y) GdipBitmapGetPixel(source, 49, y, &argb);
  int format = 0;
  GdipGetImagePixelFormat(AsImage(source), &format);
  const GpRect all{0, 0, static_cast<int>(width), static_cast<int>(height)};
  BitmapData data{};
  GdipBitmapLockBits(source, &all, ImageLockModeRead, format, &data);
  GpBitmap* target = nullptr;
  GdipCreateBitmapFromScan0(static_cast<int>(data.Width), static_cast<int>(data.Height), data.Stride,
                            PixelFormat32bppARGB, static_cast<BYTE*>(data.Scan0), &target);
  GdipBitmapUnlockBits(source, &data);
  const std::size_t chars = Save(target);
  GdipDisposeImage(AsImage(target));
  return chars;
}

}  // namespace

std::size_t BareIcon(const char16_t* path) {
  const HICON icon = Icon(path);
  if (!icon) return 0;
  const GdiplusStartupInput input{1, nullptr, false, false};
  std::uintptr_t token = 0;
  GdiplusStartup(&token, &input, nullptr);
  ICONINFO bitmaps{};
  GetIconInfo(icon, &bitmaps);
  BITMAP description{};
  GetObjectW(bitmaps.hbmColor, sizeof description, &description);
  GpBitmap* source = nullptr;
  GdipCreateBitmapFromHBITMAP(bitmaps.hbmColor, nullptr, &source);
  const std::size_t chars = SaveWithAlpha(source);
  GdipDisposeImage(AsImage(source));
  DeleteObject(bitmaps.hbmColor);
  DeleteObject(bitmaps.hbmMask);
  GdiplusShutdown(token);
  DestroyIcon(icon);
  return chars;
}

}  // namespace bench
