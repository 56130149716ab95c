// Answers that Windows may give and the simulated machine does not. This file replaces the functions of the
// port that give them.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "KestrelbayGeneralSDK.h"
#include "base/CommonFunc.h"
#include "facts/SystemInfo.h"
#include "icons/GdiPlusBitmap.h"
#include "icons/PngEncoder.h"
#include "platform/Constants.h"
#include "platform/Files.h"
#include "platform/Pictures.h"
#include "simulated/directory/CurrentMachine.h"

namespace {

/** The bytes of the only encoder and of its texts. */
constexpr platform::UINT kEncoderBytes = sizeof(platform::ImageCodecInfo) + 40;
bool hadRoomForTheEncoder = false;

}  // namespace

namespace platform {

BOOL GetDiskFreeSpaceExW(const char16_t*, std::uint64_t* freeToCaller, std::uint64_t* total,
                         std::uint64_t* totalFree) {
  *freeToCaller = 3U << 20;
  *total = 9U << 20;
  *totalFree = 5U << 20;
  return 1;
}

DWORD GetModuleFileNameA(HANDLE, char* buffer, DWORD bufferBytes) {
  std::fill_n(buffer, bufferBytes, 'x');
  return bufferBytes;
}

GpStatus GdipGetImageEncodersSize(UINT* count, UINT* bytes) {
  *count = 1;
  *bytes = kEncoderBytes;
  return 0;
}

GpStatus GdipGetImageEncoders(UINT, UINT bytes, ImageCodecInfo* encoders) {
  hadRoomForTheEncoder = malloc_usable_size(encoders) >= bytes;
  *encoders = {};
  encoders->MimeType = u"image/bmp";
  return 0;
}

}  // namespace platform

namespace kestrelbay {
namespace {

class UnusualAnswers : public testing::Test {
 protected:
  UnusualAnswers() {
    simulated::UseMachine(std::make_unique<simulated::Machine>());
    InitDllLogger([](const char*, std::int32_t, const char*) {});
  }
};

TEST_F(UnusualAnswers, SpaceIsThatOfTheCallerAndNotOfTheDrive) {
  EXPECT_EQ(SystemInfo::GetInstance().GetDiskAvailableSpace("C"), 3);
}

TEST_F(UnusualAnswers, PathOfTheHostWithoutANulEndsBeforeTheLastByte) {
  EXPECT_EQ(GetRootDir(2), std::string(259, 'x'));
}

TEST_F(UnusualAnswers, PngEncoderIsSearchedOnlyInTheListedEncoders) {
  std::uint32_t pixel = 0xFF3366CC;
  const platform::GdiplusStartupInput input{1, nullptr, false, false};
  std::uintptr_t token = 0;
  platform::GdiplusStartup(&token, &input, nullptr);
  const auto bitmap = GdiPlusBitmap::OverPixels({1, 1, 4, platform::PixelFormat32bppARGB, &pixel, 0});
  std::vector<std::uint8_t> png;
  EXPECT_FALSE(SaveBitmapAsPng(*bitmap, png));
  EXPECT_TRUE(hadRoomForTheEncoder);
  platform::GdiplusShutdown(token);
}

}  // namespace
}  // namespace kestrelbay
