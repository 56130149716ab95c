#include "icons/IconPicture.h"

#include <memory>

#include "icons/GdiPlusBitmap.h"
#include "icons/PngEncoder.h"
#include "platform/Constants.h"
#include "platform/Pictures.h"
#include "platform/Protection.h"

namespace kestrelbay {
namespace {

// The interface IImageList. The pointer that the shell returns for it is the handle of the list itself.
constexpr char16_t kImageListId[] = u"{46EB5926-582E-4017-9FDF-E8998DAA0950}";
constexpr platform::DWORD kBase64OnOneLine = platform::CRYPT_STRING_BASE64 | platform::CRYPT_STRING_NOCRLF;
constexpr std::uint32_t kOpaqueBlack = 0xFF000000;
constexpr int kSmallIconPixels = 48;
constexpr int kJumboPixels = 256;

// Fetched once and kept for the life of the process. Data race by design: a thread that extracts while
// another one fetches the list uses the common icon.
struct JumboImageList {
  platform::HIMAGELIST list = nullptr;
  bool tried = false;
} jumboImageList;

platform::HIMAGELIST FetchJumboImageList() {
  // A failed fetch is not repeated, by design. The process then shows small icons until it ends.
  if (!jumboImageList.tried && !jumboImageList.list) {
    jumboImageList.tried = true;
    platform::GUID id{};
    platform::IIDFromString(kImageListId, &id);
    void* list = nullptr;
    platform::SHGetImageList(platform::SHIL_JUMBO, id, &list);
    jumboImageList.list = static_cast<platform::HIMAGELIST>(list);
  }
  return jumboImageList.list;
}

// Returns the largest icon of a file; without the jumbo list, the common one.
platform::HICON LoadLargestIcon(const std::u16string& path) {
  const platform::HIMAGELIST list = FetchJumboImageList();
  platform::SHFILEINFOW info{};
  // The attribute has no effect without SHGFI_USEFILEATTRIBUTES, and nobody reads the name. Both are
  // prescribed.
  if (!platform::SHGetFileInfoW(path.c_str(), platform::FILE_ATTRIBUTE_DIRECTORY, &info, sizeof info,
                                platform::SHGFI_ICON | platform::SHGFI_DISPLAYNAME)) {
    return nullptr;
  }
  const platform::HICON large =
      list ? platform::ImageList_GetIcon(list, info.iIcon, platform::ILD_NORMAL) : nullptr;
  if (!large) return info.hIcon;
  platform::DestroyIcon(info.hIcon);  // the caller owns both icons, and one is returned
  return large;
}

// Windows puts an icon of at most 48 pixels unscaled into the corner of the 256-pixel bitmap. Column 49 below
// row 48 is empty then. The bitmap has no alpha, so an empty pixel reads as black. A pixel that cannot be
// read counts as empty.
bool IsSmallIconInCorner(const GdiPlusBitmap& source) {
  for (int y = kSmallIconPixels + 1; y < kJumboPixels; ++y) {
    std::uint32_t argb = kOpaqueBlack;
    const bool isRead = platform::GdipBitmapGetPixel(source.Bitmap(), kSmallIconPixels + 1, y, &argb) == 0;
    if (isRead && argb != kOpaqueBlack) return false;
  }
  return true;
}

platform::GpRect PictureOf(const GdiPlusBitmap& source) {
  platform::UINT width = 0;
  platform::UINT height = 0;
  platform::GdipGetImageWidth(source.Image(), &width);
  platform::GdipGetImageHeight(source.Image(), &height);
  if (IsSmallIconInCorner(source)) return {0, 0, kSmallIconPixels, kSmallIconPixels};
  return {0, 0, static_cast<int>(width), static_cast<int>(height)};
}

// Reads the same bytes as ARGB: GDI+ ignores the alpha of a colour bitmap, but keeps its bytes.
std::unique_ptr<GdiPlusBitmap> WithAlpha(const GdiPlusBitmap& source) {
  const platform::GpRect picture = PictureOf(source);
  int pixelFormat = 0;
  platform::GdipGetImagePixelFormat(source.Image(), &pixelFormat);
  platform::BitmapData locked{};
  // Locked in the bitmap's own format, so GDI+ copies and converts nothing.
  platform::GdipBitmapLockBits(source.Bitmap(), &picture, platform::ImageLockModeRead, pixelFormat, &locked);
  auto target = GdiPlusBitmap::OverPixels(locked);
  platform::GdipBitmapUnlockBits(source.Bitmap(), &locked);  // the pixels stay while the source lives
  return target;
}

bool SaveColorBitmapAsPng(platform::HICON icon, platform::HBITMAP color, std::vector<std::uint8_t>& png) {
  platform::BITMAP description{};
  platform::GetObjectW(color, sizeof description, &description);
  // With fewer bits there is no alpha to keep, and the mask of the icon is the transparency.
  if (description.bmBitsPixel != 32) {
    const auto target = GdiPlusBitmap::FromIcon(icon);
    return target && SaveBitmapAsPng(*target, png);
  }
  const auto source = GdiPlusBitmap::FromBitmap(color);
  if (!source) return false;
  const auto target = WithAlpha(*source);
  return target && SaveBitmapAsPng(*target, png);
}

// The text keeps the size that the first call returned, including the NUL.
bool EncodeBase64(const std::vector<std::uint8_t>& bytes, std::string& base64) {
  const auto byteCount = static_cast<platform::DWORD>(bytes.size());
  platform::DWORD chars = 0;
  if (!platform::CryptBinaryToStringA(bytes.data(), byteCount, kBase64OnOneLine, nullptr, &chars))
    return false;
  base64.resize(chars);
  const bool isEncoded =
      platform::CryptBinaryToStringA(bytes.data(), byteCount, kBase64OnOneLine, base64.data(), &chars) != 0;
  if (!isEncoded) base64.clear();
  return isEncoded;
}

}  // namespace

bool IconToPng(platform::HICON icon, std::vector<std::uint8_t>& png) {
  platform::ICONINFO bitmaps{};
  if (!icon || !platform::GetIconInfo(icon, &bitmaps)) return false;
  const bool isSaved = SaveColorBitmapAsPng(icon, bitmaps.hbmColor, png);
  platform::DeleteObject(bitmaps.hbmColor);
  platform::DeleteObject(bitmaps.hbmMask);
  return isSaved;
}

bool IconToPngBase64(const std::u16string& path, std::string& base64) {
  const platform::HICON icon = LoadLargestIcon(path);
  if (!icon) return false;
  // Started and stopped for each extraction, so nothing of GDI+ remains between two calls.
  const platform::GdiplusStartupInput input{1, nullptr, false, false};
  std::uintptr_t token = 0;
  platform::GdiplusStartup(&token, &input, nullptr);
  std::vector<std::uint8_t> png;
  const bool isDrawn = IconToPng(icon, png);
  platform::GdiplusShutdown(token);
  platform::DestroyIcon(icon);
  return isDrawn && !png.empty() && EncodeBase64(png, base64);
}

}  // namespace kestrelbay
