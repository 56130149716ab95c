#include "icons/IconPicture.h"

#include <gmock/gmock.h>

#include "ExtractionTest.h"
#include "Files.h"
#include "icons/AppIcon.h"
#include "simulated/pictures/DefaultIcons.h"
#include "simulated/pictures/PngFile.h"

namespace kestrelbay {
namespace {

using samples::Drawing;
using samples::MakeBitmap;
using samples::MakePng;
using simulated::Pattern;
using simulated::PictureOf;
using testing::ElementsAreArray;

constexpr std::uint32_t kInk = 0xFF3366CC;

class IconPicture : public Extraction {};

TEST_F(IconPicture, CallsAreMadeInOrderAndDestroyEverything) {
  MakeProgram({MakePng(Pattern(256, 256, true))});
  Draw();  // fetches the list
  EXPECT_THAT(NamesOf(CallsOf([] { Draw(); })), ElementsAreArray({"SHGetFileInfoW",
                                                                  "ImageList_GetIcon",
                                                                  "DestroyIcon",
                                                                  "GdiplusStartup",
                                                                  "GetIconInfo",
                                                                  "GetObjectW",
                                                                  "GdipAlloc",
                                                                  "GdipCreateBitmapFromHBITMAP",
                                                                  "GdipGetImageWidth",
                                                                  "GdipGetImageHeight",
                                                                  "GdipBitmapGetPixel",
                                                                  "GdipGetImagePixelFormat",
                                                                  "GdipBitmapLockBits",
                                                                  "GdipAlloc",
                                                                  "GdipCreateBitmapFromScan0",
                                                                  "GdipBitmapUnlockBits",
                                                                  "CreateStreamOnHGlobal",
                                                                  "GdipGetImageEncodersSize",
                                                                  "GdipGetImageEncoders",
                                                                  "GdipSaveImageToStream",
                                                                  "GetHGlobalFromStream",
                                                                  "GlobalSize",
                                                                  "GlobalLock",
                                                                  "GlobalUnlock",
                                                                  "IStream_Release",
                                                                  "GdipDisposeImage",
                                                                  "GdipFree",
                                                                  "GdipDisposeImage",
                                                                  "GdipFree",
                                                                  "DeleteObject",
                                                                  "GdiplusShutdown",
                                                                  "DestroyIcon",
                                                                  "CryptBinaryToStringA"}));
  ExpectClosed();
}

TEST_F(IconPicture, ShellIsAskedForIconAndDisplayName) {
  MakeProgram({MakePng(Pattern(256, 256, true))});
  const auto calls = CallsOf([] { Draw(); });
  EXPECT_THAT(CallsTo("SHGetFileInfoW", calls),
              ElementsAreArray({"SHGetFileInfoW(\"C:\\app.exe\", 0x10, 696, 0x300) = 1"}));
  EXPECT_THAT(CallsTo("GdiplusStartup", calls), ElementsAreArray({"GdiplusStartup(1, null, 0, 0) = 0"}));
  ASSERT_EQ(CallsTo("ImageList_GetIcon", calls).size(), 1U);
  EXPECT_THAT(CallsTo("ImageList_GetIcon", calls)[0], testing::HasSubstr(", 0, 0x0) = 0x"));
  EXPECT_THAT(CallsTo("GetObjectW", calls)[0], testing::EndsWith(", 32) = 32"));
  EXPECT_THAT(CallsTo("GdipBitmapLockBits", calls)[0],
              testing::HasSubstr(", 0, 0, 256, 256, 1, 0x22009) = 0"));
  EXPECT_THAT(CallsTo("GdipCreateBitmapFromScan0", calls)[0],
              testing::HasSubstr("(256, 256, 1024, 0x26200a)"));
}

TEST_F(IconPicture, StreamFreesItsMemoryWhenItIsReleased) {
  MakeProgram({MakePng(Pattern(256, 256, true))});
  const auto made = CallsTo("CreateStreamOnHGlobal", CallsOf([] { Draw(); }));
  ASSERT_EQ(made.size(), 1U);
  EXPECT_THAT(made[0], testing::StartsWith("CreateStreamOnHGlobal(null, 1"));
}

TEST_F(IconPicture, ColourBitmapIsDeletedBeforeTheMask) {
  MakeProgram({MakePng(Pattern(256, 256, true))});
  const auto calls = CallsOf([] { Draw(); });
  const auto deleted = CallsTo("DeleteObject", calls);
  ASSERT_EQ(deleted.size(), 2U);
  const std::string described = CallsTo("GetObjectW", calls)[0];
  const std::string colour = described.substr(11, described.find(',') - 11);
  EXPECT_EQ(deleted[0], "DeleteObject(" + colour + ") = 1");
}

TEST_F(IconPicture, LargeListIsFetchedOncePerProcess) {
  MakeProgram({MakePng(Pattern(256, 256, true))});
  Draw();
  const auto calls = CallsOf([] {
    Draw();
    Draw();
  });
  EXPECT_TRUE(CallsTo("SHGetImageList", calls).empty());
  EXPECT_TRUE(CallsTo("IIDFromString", calls).empty());
}

TEST_F(IconPicture, AlphaIsKept) {
  const Drawing drawing = Pattern(256, 256, true);
  for (const auto& image : {MakePng(drawing), MakeBitmap(drawing, 32)}) {
    MakeProgram({image});
    EXPECT_EQ(Draw(), PictureOf(drawing));
  }
  ExpectClosed();
}

TEST_F(IconPicture, SmallIconIsCutTo48Pixels) {
  for (const std::uint32_t side : {16U, 32U, 48U}) {
    const Drawing drawing = Pattern(side, side, true);
    MakeProgram({MakeBitmap(drawing, 32)});
    EXPECT_EQ(Draw(), InTopLeftCorner(PictureOf(drawing), 48)) << side;
  }
  ExpectClosed();
}

TEST_F(IconPicture, IconOfFewColoursIsOpaqueInsideItsMask) {
  Drawing drawing(48, 48, kInk);
  drawing.At(3, 4) = 0;
  for (const std::uint32_t bits : {4U, 8U, 24U}) {
    MakeProgram({MakeBitmap(drawing, bits)});
    EXPECT_EQ(Draw(), PictureOf(drawing)) << bits;
  }
}

TEST_F(IconPicture, ColumnOfOpaqueBlackCutsThePicture) {
  Drawing drawing(256, 256, kInk);
  for (std::uint32_t y = 49; y < 256; ++y) drawing.At(49, y) = y % 2 == 0 ? 0xFF000000 : 0x80000000;
  MakeProgram({MakePng(drawing)});
  EXPECT_EQ(Draw(), PictureOf(Drawing(48, 48, kInk)));
}

TEST_F(IconPicture, OnePixelOfTheColumnKeepsTheWhole) {
  for (const std::uint32_t y : {49U, 255U}) {
    Drawing drawing(256, 256);
    drawing.At(49, y) = 0xFF000001;
    MakeProgram({MakePng(drawing)});
    EXPECT_EQ(Draw(), PictureOf(drawing)) << y;
  }
  for (const auto& [x, y] :
       std::vector<std::pair<std::uint32_t, std::uint32_t>>{{49, 48}, {48, 49}, {50, 49}}) {
    Drawing drawing(256, 256);
    drawing.At(x, y) = 0xFF000001;
    MakeProgram({MakePng(drawing)});
    EXPECT_EQ(Draw().width, 48U) << x << ", " << y;
  }
}

TEST_F(IconPicture, PixelsAreReadFromRow49UntilTheFirstThatIsNotBlack) {
  Drawing drawing(256, 256);
  drawing.At(49, 51) = 0xFF000001;
  MakeProgram({MakePng(drawing)});
  const auto reads = CallsTo("GdipBitmapGetPixel", CallsOf([] { Draw(); }));
  ASSERT_EQ(reads.size(), 3U);
  EXPECT_THAT(reads[0], testing::HasSubstr(", 49, 49) = 0"));
  EXPECT_THAT(reads[2], testing::HasSubstr(", 49, 51) = 0"));
  MakeProgram({MakePng(Drawing(256, 256))});
  EXPECT_EQ(CallsTo("GdipBitmapGetPixel", CallsOf([] { Draw(); })).size(), 207U);
}

TEST_F(IconPicture, PixelThatCannotBeReadCountsAsBlack) {
  MakeProgram({MakePng(Drawing(256, 256, kInk))});
  machine.faults.FailNth(1, simulated::Faults::Extent::Onwards, "GdipBitmapGetPixel");
  EXPECT_EQ(Draw(), PictureOf(Drawing(48, 48, kInk)));
  machine.faults.Clear();
  ExpectClosed();
}

TEST_F(IconPicture, BitmapTooNarrowForTheColumnCannotBeCutTo48) {
  MakeProgram({MakeBitmap(Drawing(32, 32, kInk), 32)});
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "ImageList_GetIcon");
  const auto calls = CallsOf([] { EXPECT_EQ(Draw().width, 0U); });
  EXPECT_THAT(CallsTo("GdipBitmapLockBits", calls)[0], testing::EndsWith("0, 0, 48, 48, 1, 0x22009) = 2"));
  ExpectClosed(1);
}

TEST_F(IconPicture, IconOfTheShellIsUsedIfTheListHasNone) {
  machine.pictures.displayBits = 24;
  const Drawing drawing = Pattern(32, 32, false);
  MakeProgram({MakeBitmap(drawing, 32)});
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "ImageList_GetIcon");
  const auto calls = CallsOf([&] { EXPECT_EQ(Draw(), PictureOf(drawing)); });
  EXPECT_EQ(CallsTo("DestroyIcon", calls).size(), 1U);
  ExpectClosed();
}

TEST_F(IconPicture, FewerThan32BitsAreDrawnFromTheIconAtItsSize) {
  machine.pictures.displayBits = 24;
  MakeProgram({MakeBitmap(Drawing(48, 48, kInk), 32)});
  const auto calls = CallsOf([] { EXPECT_EQ(Draw().width, 256U); });
  EXPECT_EQ(CallsTo("GdipCreateBitmapFromHICON", calls).size(), 1U);
  EXPECT_TRUE(CallsTo("GdipCreateBitmapFromHBITMAP", calls).empty());
  EXPECT_TRUE(CallsTo("GdipBitmapGetPixel", calls).empty());
  ExpectClosed();
}

TEST_F(IconPicture, MissingFileMakesOneCall) {
  const auto names = NamesOf(CallsOf([] { EXPECT_EQ(Draw().width, 0U); }));
  EXPECT_EQ(names.back(), "SHGetFileInfoW");
  ExpectClosed();
}

TEST_F(IconPicture, DamagedExecutableHasNoIcon) {
  const std::string whole = samples::MakeExecutable({{u"", 1, {MakePng(Pattern(48, 48, true))}}});
  MakeFile(whole.substr(0, whole.size() / 2));
  EXPECT_EQ(Draw().width, 0U);
  ExpectClosed();
}

TEST_F(IconPicture, DamagedLargeImageHasNoIconEvenWithAGoodSmallImage) {
  samples::IconBytes damaged = MakePng(Pattern(256, 256, true));
  damaged.bytes.resize(damaged.bytes.size() / 2);
  MakeProgram({MakeBitmap(Drawing(32, 32, kInk), 32), damaged});
  EXPECT_EQ(Draw().width, 0U);
  ExpectClosed(1);
}

TEST_F(IconPicture, ExecutableWithoutIconHasTheCommonIcon) {
  for (const std::string& file : {samples::MakeExecutable({}), std::string("#!"), std::string()}) {
    MakeFile(file);
    EXPECT_EQ(Draw(), simulated::DrawWindow(256));
  }
}

TEST_F(IconPicture, ImageLargerThanTheListIsScaledDown) {
  MakeProgram({MakePng(Drawing(512, 512, kInk))});
  EXPECT_EQ(Draw(), PictureOf(Drawing(256, 256, kInk)));
}

TEST_F(IconPicture, ChangedFileIsDrawnAgain) {
  for (const std::uint32_t ink : {0xFF112233U, 0xFF445566U}) {
    MakeProgram({MakePng(Drawing(256, 256, ink))});
    EXPECT_EQ(Draw().At(0, 0), ink);
  }
}

TEST_F(IconPicture, TextEndsInTheNulThatItsSizeCounts) {
  MakeProgram({MakePng(Pattern(256, 256, true))});
  std::string base64;
  ASSERT_TRUE(IconToPngBase64(kPath, base64));
  EXPECT_EQ(base64.find('\0'), base64.size() - 1);
  EXPECT_EQ(base64.find_first_of("\r\n"), base64.npos);
}

TEST_F(IconPicture, TextOfAnApplicationIsADataUrl) {
  const Drawing drawing = Pattern(256, 256, true);
  MakeProgram({MakePng(drawing)});
  const std::string text = GetAppIconText(u"\"C:\\\\app.exe\",0", true);
  constexpr std::string_view kStart = "data:image/png;base64,";
  ASSERT_TRUE(text.starts_with(kStart));
  EXPECT_EQ(simulated::DecodePng(FromBase64(text.substr(kStart.size())), 256), PictureOf(drawing));
  EXPECT_EQ(text.back(), '\0');
}

TEST_F(IconPicture, PathIsNormalizedForTheShell) {
  for (const char16_t* source : {u"\"C:\\app.exe\",0", u"  C:\\\\app.exe ,-101", u"C:\\app.exe"}) {
    const auto calls = CallsOf([&] { GetAppIconText(source, true); });
    EXPECT_THAT(CallsTo("SHGetFileInfoW", calls)[0], testing::StartsWith("SHGetFileInfoW(\"C:\\app.exe\", "));
  }
}

}  // namespace
}  // namespace kestrelbay
