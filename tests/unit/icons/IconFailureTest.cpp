// Calls of an extraction that fail: the resources it leaves, and how it continues.
#include <gmock/gmock.h>

#include "ExtractionTest.h"
#include "Files.h"
#include "icons/GdiPlusBitmap.h"
#include "icons/IconPicture.h"
#include "icons/PngEncoder.h"
#include "platform/Constants.h"
#include "simulated/pictures/PngFile.h"

namespace kestrelbay {
namespace {

using samples::MakePng;
using simulated::Faults;
using simulated::Pattern;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

class IconFailure : public Extraction {
 protected:
  IconFailure() {
    MakeProgram({MakePng(Pattern(256, 256, true))});
    Draw();  // fetches the list
  }

  /** Makes the n-th call of one operation fail; the extraction must fail. @return the names of its calls */
  std::vector<std::string> NamesWhere(const char* name, std::size_t n = 1) {
    machine.faults.FailNth(n, Faults::Extent::Once, name);
    auto names = NamesOf(CallsOf([] { EXPECT_EQ(Draw().width, 0U); }));
    EXPECT_TRUE(machine.faults.Fired());
    machine.faults.Clear();
    return names;
  }
};

TEST_F(IconFailure, FailedBase64IsAFailure) {
  for (const std::size_t n : {1U, 2U}) {
    machine.faults.FailNth(n, Faults::Extent::Once, "CryptBinaryToStringA");
    std::string base64 = "before";
    EXPECT_FALSE(IconToPngBase64(kPath, base64));
    EXPECT_EQ(base64, n == 1 ? "before" : "");
    ExpectClosed();
  }
}

TEST_F(IconFailure, NullIconIsAFailure) {
  std::vector<std::uint8_t> png;
  EXPECT_TRUE(CallsOf([&] { EXPECT_FALSE(IconToPng(nullptr, png)); }).empty());
}

TEST_F(IconFailure, IconWithoutBitmapsIsOnlyDestroyed) {
  EXPECT_THAT(NamesWhere("GetIconInfo"),
              ElementsAre("SHGetFileInfoW", "ImageList_GetIcon", "DestroyIcon", "GdiplusStartup",
                          "GetIconInfo", "GdiplusShutdown", "DestroyIcon"));
  ExpectClosed();
}

TEST_F(IconFailure, SourceThatCannotBeAllocatedLeavesOnlyTheBitmapsToDelete) {
  const auto names = NamesWhere("GdipAlloc");
  const auto failed = std::find(names.begin(), names.end(), "GdipAlloc");
  EXPECT_THAT(std::vector(failed, names.end()),
              ElementsAre("GdipAlloc", "DeleteObject", "GdiplusShutdown", "DestroyIcon"));
  ExpectClosed();
}

TEST_F(IconFailure, TargetThatCannotBeAllocatedLeavesTheSourceUnlockedAndFreed) {
  const auto names = NamesWhere("GdipAlloc", 2);
  EXPECT_THAT(names, Contains("GdipBitmapUnlockBits"));
  EXPECT_THAT(names, Not(Contains("GdipSaveImageToStream")));
  ExpectClosed();
}

TEST_F(IconFailure, GdiPlusIsUsedAndShutDownEvenIfItsStartFailed) {
  const auto names = NamesWhere("GdiplusStartup");
  EXPECT_THAT(names, Contains("GdipSaveImageToStream"));
  EXPECT_THAT(names, Contains("GdiplusShutdown"));
  ExpectClosed(1);
}

TEST_F(IconFailure, StreamStaysAfterAFailedSave) {
  EXPECT_THAT(NamesWhere("GdipSaveImageToStream"), Not(Contains("IStream_Release")));
  ExpectClosed(1);
}

/** A bitmap of four pixels, and GDI+ for its life. */
class IconSave : public IconFailure {
 protected:
  IconSave() {
    const platform::GdiplusStartupInput input{1, nullptr, false, false};
    platform::GdiplusStartup(&token, &input, nullptr);
    const platform::BitmapData locked{2, 2, 8, platform::PixelFormat32bppARGB, pixels.data(), 0};
    bitmap = GdiPlusBitmap::OverPixels(locked);
  }
  ~IconSave() override {
    bitmap.reset();
    platform::GdiplusShutdown(token);
  }

  std::uintptr_t token = 0;
  std::vector<std::uint32_t> pixels = std::vector<std::uint32_t>(4, 0xFF3366CC);
  std::unique_ptr<GdiPlusBitmap> bitmap;
  std::vector<std::uint8_t> png = {7};
};

TEST_F(IconSave, ReturnsTrueAndTheBytes) {
  EXPECT_TRUE(SaveBitmapAsPng(*bitmap, png));
  EXPECT_GT(png.size(), 8U);
  EXPECT_EQ(bitmap->lastStatus, 0);
}

TEST_F(IconSave, KeepsWidthAndHeight) {
  std::vector<std::uint32_t> six = {0xFF000001, 0xFF000002, 0xFF000003, 0xFF000004, 0xFF000005, 0xFF000006};
  const platform::BitmapData locked{3, 2, 12, platform::PixelFormat32bppARGB, six.data(), 0};
  bitmap = GdiPlusBitmap::OverPixels(locked);
  ASSERT_TRUE(SaveBitmapAsPng(*bitmap, png));
  const auto picture = simulated::DecodePng(png, 3);
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->width, 3U);
  EXPECT_EQ(picture->height, 2U);
  EXPECT_EQ(picture->At(2, 1), 0xFF000006);
}

TEST_F(IconSave, OfAnIconKeepsItsWidthAndHeight) {
  simulated::Picture wide(300, 260);
  wide.At(49, 49) = 0xFF123456;  // so the icon is none of 48 pixels
  const auto icon = machine.pictures.icons.Open(
      std::make_shared<simulated::Icon>(simulated::Icon{std::make_shared<const simulated::Picture>(wide)}));
  ASSERT_TRUE(IconToPng(icon, png));
  const auto picture = simulated::DecodePng(png, 300);
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->width, 300U);
  EXPECT_EQ(picture->height, 260U);
  machine.pictures.icons.Close(icon);
}

TEST_F(IconSave, ThatFailsReturnsFalseKeepsTheBytesAndSetsTheStatus) {
  machine.faults.FailNth(1, Faults::Extent::Once, "GdipSaveImageToStream");
  EXPECT_FALSE(SaveBitmapAsPng(*bitmap, png));
  EXPECT_THAT(png, ElementsAre(7));
  EXPECT_NE(bitmap->lastStatus, 0);
}

TEST_F(IconSave, WithoutItsMemoryReturnsFalse) {
  machine.faults.FailNth(1, Faults::Extent::Once, "GlobalLock");
  EXPECT_FALSE(SaveBitmapAsPng(*bitmap, png));
}

TEST_F(IconFailure, PictureWithoutBytesIsAFailure) {
  machine.faults.FailNth(1, Faults::Extent::Once, "GlobalSize");
  std::string base64 = "before";
  EXPECT_FALSE(IconToPngBase64(kPath, base64));
  EXPECT_TRUE(machine.faults.Fired());
  EXPECT_EQ(base64, "before");
}

TEST_F(IconFailure, IconOfFewColoursThatCannotBeAllocatedIsAFailure) {
  machine.pictures.displayBits = 24;
  EXPECT_THAT(NamesWhere("GdipAlloc"), Not(Contains("GdipSaveImageToStream")));
  ExpectClosed();
}

TEST_F(IconFailure, SaveIsTriedWithoutAStream) {
  EXPECT_THAT(NamesWhere("CreateStreamOnHGlobal"), Contains("GdipSaveImageToStream"));
  ExpectClosed();
}

TEST_F(IconFailure, WithoutEncodersTheSaveIsTriedAndFails) {
  for (const char* name : {"GdipGetImageEncodersSize", "GdipGetImageEncoders"}) {
    EXPECT_THAT(NamesWhere(name), Contains("GdipSaveImageToStream"));
    ExpectClosed(1);
    machine.pictures.streams.Clear();
    machine.pictures.memory.Clear();
  }
}

TEST_F(IconFailure, MemoryThatCannotBeLockedIsAFailureAndReleasesItsStream) {
  EXPECT_THAT(NamesWhere("GlobalLock"), Contains("IStream_Release"));
  ExpectClosed();
}

TEST_F(IconFailure, EachFailingCallLeavesACompletePictureOrNoneAndNothingOpen) {
  const simulated::Picture whole = Draw();
  const simulated::Picture corner = [&] {
    simulated::Picture cut(48, 48);
    for (std::uint32_t y = 0; y < 48; ++y) {
      for (std::uint32_t x = 0; x < 48; ++x) cut.At(x, y) = whole.At(x, y);
    }
    return cut;
  }();
  for (const auto extent : {Faults::Extent::Once, Faults::Extent::Onwards}) {
    bool fired = true;
    for (std::size_t n = 1; fired; ++n) {
      SCOPED_TRACE(n);
      machine.faults.FailNth(n, extent);
      const simulated::Picture drawn = Draw();
      fired = machine.faults.Fired();
      machine.faults.Clear();
      EXPECT_TRUE(drawn.width == 0 || drawn == whole || drawn == corner) << drawn.width << " pixels wide";
      const std::size_t streams = machine.pictures.streams.OpenCount();
      EXPECT_LE(streams, 1U);
      ExpectClosed(streams);
      machine.pictures.streams.Clear();
      machine.pictures.memory.Clear();
    }
  }
}

}  // namespace
}  // namespace kestrelbay
