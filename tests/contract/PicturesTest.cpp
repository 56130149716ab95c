// Bitmaps of GDI+, and streams in memory.
#include "platform/Pictures.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "TestMachine.h"
#include "platform/Constants.h"
#include "platform/RuntimeText.h"

namespace platform {
namespace {

constexpr GpStatus kGpOk = 0;
constexpr GpStatus kGpGenericError = 1;
constexpr GpStatus kGpInvalidParameter = 2;
constexpr GpStatus kGpWrongState = 8;
constexpr GpStatus kGpUnsupportedVersion = 17;

class Pictures : public testing::Test {
 protected:
  Pictures() {
    const GdiplusStartupInput input{1, nullptr, false, false};
    started = GdiplusStartup(&token, &input, nullptr);
    GdipCreateBitmapFromScan0(4, 3, 16, PixelFormat32bppARGB, reinterpret_cast<BYTE*>(pixels.data()),
                              &bitmap);
  }
  ~Pictures() override {
    GdipDisposeImage(Image());
    GdiplusShutdown(token);
  }

  GpImage* Image() const { return reinterpret_cast<GpImage*>(bitmap); }

  static GUID PngEncoder() {
    UINT count = 0;
    UINT bytes = 0;
    GdipGetImageEncodersSize(&count, &bytes);
    std::vector<ImageCodecInfo> encoders(bytes / sizeof(ImageCodecInfo) + 1);
    EXPECT_EQ(GdipGetImageEncoders(count, bytes, encoders.data()), kGpOk);
    for (UINT at = 0; at < count; ++at) {
      if (_wcsicmp(encoders[at].MimeType, u"IMAGE/PNG") == 0) return encoders[at].Clsid;
    }
    ADD_FAILURE() << "no encoder of PNG among " << count;
    return {};
  }

  tests::TestMachine machine;
  std::uintptr_t token = 0;
  GpStatus started = -1;
  std::array<std::uint32_t, 12> pixels{0xFF000001, 0x80000002, 0x00000003, 0xFF000004};
  GpBitmap* bitmap = nullptr;
};

TEST_F(Pictures, GdiPlusStarts) {
  EXPECT_EQ(started, kGpOk);
  EXPECT_NE(token, 0U);
}

TEST_F(Pictures, UnknownVersionIsRefused) {
  const GdiplusStartupInput input{9, nullptr, false, false};
  std::uintptr_t other = 0;
  EXPECT_EQ(GdiplusStartup(&other, &input, nullptr), kGpUnsupportedVersion);
}

TEST_F(Pictures, BitmapOverPixelsHasItsSizeAndFormat) {
  ASSERT_NE(bitmap, nullptr);
  UINT width = 0;
  UINT height = 0;
  int format = 0;
  EXPECT_EQ(GdipGetImageWidth(Image(), &width), kGpOk);
  EXPECT_EQ(GdipGetImageHeight(Image(), &height), kGpOk);
  EXPECT_EQ(GdipGetImagePixelFormat(Image(), &format), kGpOk);
  EXPECT_EQ(width, 4U);
  EXPECT_EQ(height, 3U);
  EXPECT_EQ(format, PixelFormat32bppARGB);
}

TEST_F(Pictures, BitmapOverPixelsUsesThePixelsOfTheCaller) {
  std::uint32_t argb = 0;
  EXPECT_EQ(GdipBitmapGetPixel(bitmap, 1, 0, &argb), kGpOk);
  EXPECT_EQ(argb, 0x80000002U);
  pixels[1] = 0xFF123456;
  EXPECT_EQ(GdipBitmapGetPixel(bitmap, 1, 0, &argb), kGpOk);
  EXPECT_EQ(argb, 0xFF123456U);
}

TEST_F(Pictures, PixelOutsideCannotBeRead) {
  constexpr std::pair<int, int> kOutside[] = {{4, 0}, {0, 3}, {-1, 0}, {0, -1}, {49, 49}};
  for (const auto& [x, y] : kOutside) {
    std::uint32_t argb = 0x12345678;
    EXPECT_EQ(GdipBitmapGetPixel(bitmap, x, y, &argb), kGpInvalidParameter);
    EXPECT_EQ(argb, 0x12345678U);
  }
}

TEST_F(Pictures, PixelOfABitmapWithoutAlphaIsOpaque) {
  constexpr int kPixelFormat32bppRGB = 0x00022009;
  GpBitmap* opaque = nullptr;
  ASSERT_EQ(GdipCreateBitmapFromScan0(4, 3, 16, kPixelFormat32bppRGB, reinterpret_cast<BYTE*>(pixels.data()),
                                      &opaque),
            kGpOk);
  std::uint32_t argb = 0;
  EXPECT_EQ(GdipBitmapGetPixel(opaque, 2, 0, &argb), kGpOk);
  EXPECT_EQ(argb, 0xFF000003U);
  EXPECT_EQ(GdipDisposeImage(reinterpret_cast<GpImage*>(opaque)), kGpOk);
}

TEST_F(Pictures, LockedRectangleHasItsPixels) {
  const GpRect rectangle{1, 0, 2, 3};
  BitmapData data{};
  ASSERT_EQ(GdipBitmapLockBits(bitmap, &rectangle, ImageLockModeRead, PixelFormat32bppARGB, &data), kGpOk);
  EXPECT_EQ(data.Width, 2U);
  EXPECT_EQ(data.Height, 3U);
  std::uint32_t first = 0;
  std::memcpy(&first, data.Scan0, sizeof first);
  EXPECT_EQ(first, 0x80000002U);
  EXPECT_EQ(GdipBitmapUnlockBits(bitmap, &data), kGpOk);
}

TEST_F(Pictures, RectangleBeyondTheBitmapIsNotLocked) {
  for (const GpRect& rectangle : {GpRect{0, 0, 48, 48}, GpRect{0, 0, 5, 3}, GpRect{0, 0, 4, 4},
                                  GpRect{1, 0, 4, 3}, GpRect{-1, 0, 2, 2}}) {
    BitmapData data{};
    EXPECT_EQ(GdipBitmapLockBits(bitmap, &rectangle, ImageLockModeRead, PixelFormat32bppARGB, &data),
              kGpInvalidParameter);
    EXPECT_EQ(data.Scan0, nullptr);
    EXPECT_EQ(data.Width, 0U);
  }
}

TEST_F(Pictures, BitmapIsLockedOnceAtATime) {
  const GpRect rectangle{0, 0, 4, 3};
  BitmapData data{};
  BitmapData second{};
  ASSERT_EQ(GdipBitmapLockBits(bitmap, &rectangle, ImageLockModeRead, PixelFormat32bppARGB, &data), kGpOk);
  EXPECT_EQ(GdipBitmapLockBits(bitmap, &rectangle, ImageLockModeRead, PixelFormat32bppARGB, &second),
            kGpWrongState);
  EXPECT_EQ(GdipBitmapUnlockBits(bitmap, &data), kGpOk);
  EXPECT_EQ(GdipBitmapUnlockBits(bitmap, &data), kGpWrongState);
}

TEST_F(Pictures, BitmapOfBadSizeIsRefused) {
  constexpr int kBadSizes[][3] = {{0, 0, 0}, {0, 3, 16}, {4, 0, 16}, {4, 3, 3}};
  for (const auto& [width, height, stride] : kBadSizes) {
    GpBitmap* made = bitmap;
    EXPECT_NE(GdipCreateBitmapFromScan0(width, height, stride, PixelFormat32bppARGB,
                                        reinterpret_cast<BYTE*>(pixels.data()), &made),
              kGpOk);
    EXPECT_EQ(made, nullptr);
  }
}

TEST_F(Pictures, BitmapOfNullIsRefused) {
  GpBitmap* made = nullptr;
  EXPECT_EQ(GdipCreateBitmapFromHBITMAP(nullptr, nullptr, &made), kGpInvalidParameter);
  EXPECT_EQ(GdipCreateBitmapFromHICON(nullptr, &made), kGpInvalidParameter);
  EXPECT_EQ(made, nullptr);
}

TEST_F(Pictures, NullImageIsRefused) {
  UINT side = 0;
  std::uint32_t argb = 0;
  EXPECT_EQ(GdipGetImageWidth(nullptr, &side), kGpInvalidParameter);
  EXPECT_EQ(GdipBitmapGetPixel(nullptr, 0, 0, &argb), kGpInvalidParameter);
  EXPECT_EQ(GdipDisposeImage(nullptr), kGpInvalidParameter);
}

TEST_F(Pictures, EncodersAreReturnedForTheirExactSizeOnly) {
  UINT count = 0;
  UINT bytes = 0;
  ASSERT_EQ(GdipGetImageEncodersSize(&count, &bytes), kGpOk);
  std::vector<ImageCodecInfo> encoders(bytes / sizeof(ImageCodecInfo) + 2);
  EXPECT_EQ(GdipGetImageEncoders(count, bytes - 1, encoders.data()), kGpGenericError);
  EXPECT_EQ(GdipGetImageEncoders(count, bytes + 1, encoders.data()), kGpGenericError);
  EXPECT_EQ(GdipGetImageEncoders(count, bytes, encoders.data()), kGpOk);
}

TEST_F(Pictures, ImageIsSavedIntoAStreamAsPng) {
  const GUID encoder = PngEncoder();
  IStream* stream = nullptr;
  ASSERT_GE(CreateStreamOnHGlobal(nullptr, true, &stream), 0);
  ASSERT_EQ(GdipSaveImageToStream(Image(), stream, &encoder, nullptr), kGpOk);
  HANDLE memory = nullptr;
  ASSERT_GE(GetHGlobalFromStream(stream, &memory), 0);
  const std::size_t bytes = GlobalSize(memory);
  ASSERT_GT(bytes, 57U);  // the signature and the chunks of every file
  const auto* png = static_cast<const char*>(GlobalLock(memory));
  ASSERT_NE(png, nullptr);
  EXPECT_EQ(std::string(png, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(std::string(png + 16, 8), std::string("\0\0\0\4\0\0\0\3", 8));
  EXPECT_EQ(std::string(png + 24, 2), "\x08\x06");  // eight bits, with alpha
  EXPECT_EQ(std::string(png + bytes - 8, 4), "IEND");
  EXPECT_EQ(GlobalUnlock(memory), 0);
  EXPECT_EQ(IStream_Release(stream), 0U);
}

TEST_F(Pictures, ImageIsNotSavedWithoutAnEncoder) {
  IStream* stream = nullptr;
  ASSERT_GE(CreateStreamOnHGlobal(nullptr, true, &stream), 0);
  const GUID none{};
  EXPECT_NE(GdipSaveImageToStream(Image(), stream, &none, nullptr), kGpOk);
  const GUID encoder = PngEncoder();
  EXPECT_EQ(GdipSaveImageToStream(nullptr, stream, &encoder, nullptr), kGpInvalidParameter);
  EXPECT_EQ(IStream_Release(stream), 0U);
}

TEST_F(Pictures, ImageIsNotSavedWithoutAStream) {
  const GUID encoder = PngEncoder();
  EXPECT_EQ(GdipSaveImageToStream(Image(), nullptr, &encoder, nullptr), kGpInvalidParameter);
}

TEST_F(Pictures, MemoryOfGdiPlusIsUsable) {
  void* memory = GdipAlloc(24);
  ASSERT_NE(memory, nullptr);
  std::memset(memory, 7, 24);
  GdipFree(memory);
}

}  // namespace
}  // namespace platform
