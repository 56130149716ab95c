// Icons of files from the shell, and their bitmaps.
#include "platform/Icons.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "ExecutableFile.h"
#include "TestMachine.h"
#include "platform/Constants.h"
#include "platform/Pictures.h"

namespace platform {
namespace {

constexpr const char16_t* kImageListId = u"{46EB5926-582E-4017-9FDF-E8998DAA0950}";
constexpr DWORD kWanted = SHGFI_ICON | SHGFI_DISPLAYNAME;
constexpr std::uint32_t kInk = 0xFF3366CC;

/** A picture whose pixels all differ; half of them are half transparent. */
samples::Drawing Pattern(std::uint32_t side) {
  samples::Drawing drawing(side, side);
  for (std::uint32_t y = 0; y < side; ++y) {
    for (std::uint32_t x = 0; x < side; ++x) {
      drawing.At(x, y) = (x % 2 == 0 ? 0xFF000000 : 0x80000000) | (x & 0xFF) << 16 | (y & 0xFF) << 8 | 0x40;
    }
  }
  return drawing;
}

class Icons : public testing::Test {
 protected:
  Icons() {
    GUID id{};
    IIDFromString(kImageListId, &id);
    void* fetched = nullptr;
    SHGetImageList(SHIL_JUMBO, id, &fetched);
    list = static_cast<HIMAGELIST>(fetched);
    const GdiplusStartupInput input{1, nullptr, false, false};
    GdiplusStartup(&token, &input, nullptr);
  }
  ~Icons() override { GdiplusShutdown(token); }

  std::u16string Make(const std::string& executable, const std::u16string& name = u"program.exe") {
    const std::u16string path = folder + u'\\' + name;
    machine.MakeFile(path, executable);
    return path;
  }

  /** @return the result of the shell for a file; `hIcon` is destroyed already */
  static std::uintptr_t Ask(const std::u16string& path, SHFILEINFOW& info) {
    const std::uintptr_t result =
        SHGetFileInfoW(path.c_str(), FILE_ATTRIBUTE_DIRECTORY, &info, sizeof info, kWanted);
    EXPECT_EQ(result != 0, DestroyIcon(info.hIcon) != 0);
    return result;
  }

  HICON Jumbo(const std::u16string& path) const {
    SHFILEINFOW info{};
    return Ask(path, info) == 0 ? nullptr : ImageList_GetIcon(list, info.iIcon, ILD_NORMAL);
  }

  /** @return the bytes of the colour bitmap of an icon, which it destroys */
  static samples::Drawing ColoursOf(HICON icon) {
    ICONINFO info{};
    EXPECT_NE(GetIconInfo(icon, &info), 0);
    GpBitmap* bitmap = nullptr;
    EXPECT_EQ(GdipCreateBitmapFromHBITMAP(info.hbmColor, nullptr, &bitmap), 0);
    auto* image = reinterpret_cast<GpImage*>(bitmap);
    UINT width = 0;
    UINT height = 0;
    int format = 0;
    GdipGetImageWidth(image, &width);
    GdipGetImageHeight(image, &height);
    GdipGetImagePixelFormat(image, &format);
    const GpRect all{0, 0, static_cast<int>(width), static_cast<int>(height)};
    BitmapData data{};
    EXPECT_EQ(GdipBitmapLockBits(bitmap, &all, ImageLockModeRead, format, &data), 0);
    // The pixels stay at their address: the library, too, reads them after the unlock.
    EXPECT_EQ(GdipBitmapUnlockBits(bitmap, &data), 0);
    samples::Drawing drawing(width, height);
    for (UINT y = 0; y < data.Height; ++y) {
      const auto* row = static_cast<const BYTE*>(data.Scan0) + static_cast<int>(y) * data.Stride;
      for (UINT x = 0; x < data.Width; ++x) {
        drawing.At(x, y) = row[4 * x] | static_cast<std::uint32_t>(row[4 * x + 1]) << 8 |
                           static_cast<std::uint32_t>(row[4 * x + 2]) << 16 |
                           static_cast<std::uint32_t>(row[4 * x + 3]) << 24;
      }
    }
    GdipDisposeImage(image);
    EXPECT_NE(DeleteObject(info.hbmColor), 0);
    EXPECT_NE(DeleteObject(info.hbmMask), 0);
    EXPECT_NE(DestroyIcon(icon), 0);
    return drawing;
  }

  tests::TestMachine machine;
  std::u16string folder = machine.Folder();
  HIMAGELIST list = nullptr;
  std::uintptr_t token = 0;
};

TEST_F(Icons, InterfaceIdIsReadFromItsText) {
  GUID id{};
  ASSERT_GE(IIDFromString(kImageListId, &id), 0);
  EXPECT_EQ(id.Data1, 0x46EB5926U);
  EXPECT_EQ(id.Data2, 0x582E);
  EXPECT_EQ(id.Data3, 0x4017);
  EXPECT_EQ(id.Data4[0], 0x9F);
  EXPECT_EQ(id.Data4[7], 0x50);
}

TEST_F(Icons, TextThatIsNoInterfaceIdIsRefused) {
  GUID id{};
  for (const char16_t* text : {u"{46EB5926}", u"46EB5926-582E-4017-9FDF-E8998DAA0950"}) {
    EXPECT_LT(IIDFromString(text, &id), 0);
  }
}

TEST_F(Icons, LargeListExistsAndIsTheSameEachTime) {
  ASSERT_NE(list, nullptr);
  GUID id{};
  IIDFromString(kImageListId, &id);
  void* again = nullptr;
  EXPECT_GE(SHGetImageList(SHIL_JUMBO, id, &again), 0);
  EXPECT_EQ(again, list);
}

TEST_F(Icons, LargeListHasNoUnknownInterface) {
  void* other = nullptr;
  EXPECT_LT(SHGetImageList(SHIL_JUMBO, GUID{}, &other), 0);
  EXPECT_EQ(other, nullptr);
}

TEST_F(Icons, AMissingFileHasNoData) {
  SHFILEINFOW info{};
  EXPECT_EQ(Ask(folder + u"\\missing.exe", info), 0U);
  EXPECT_EQ(info.hIcon, nullptr);
}

TEST_F(Icons, LargeIconHasThePixelsOfTheExecutablesLargestImage) {
  const samples::Drawing drawing = Pattern(256);
  for (const auto& image : {samples::MakePng(drawing), samples::MakeBitmap(drawing, 32)}) {
    const auto path = Make(samples::MakeExecutable(
        {{u"", 1, {samples::MakeBitmap(samples::Drawing(32, 32, kInk), 32), image}}}));
    const HICON icon = Jumbo(path);
    ASSERT_NE(icon, nullptr);
    EXPECT_EQ(ColoursOf(icon).pixels, drawing.pixels);
    folder = machine.Folder();  // the shell may cache the icon of a path
  }
}

TEST_F(Icons, NamedGroupIsTheFirst) {
  const samples::Drawing drawing(256, 256, kInk);
  const samples::Drawing other(256, 256, 0xFF808080);
  const auto path = Make(samples::MakeExecutable(
      {{u"MAIN", 0, {samples::MakePng(drawing)}}, {u"", 1, {samples::MakePng(other)}}}));
  EXPECT_EQ(ColoursOf(Jumbo(path)).pixels, drawing.pixels);
}

TEST_F(Icons, CommonIconIs32PixelsWideAndHasItsImage) {
  const samples::Drawing drawing = Pattern(32);
  const auto path = Make(samples::MakeExecutable(
      {{u"", 1, {samples::MakePng(Pattern(256)), samples::MakeBitmap(drawing, 32)}}}));
  SHFILEINFOW info{};
  ASSERT_NE(SHGetFileInfoW(path.c_str(), FILE_ATTRIBUTE_DIRECTORY, &info, sizeof info, kWanted), 0U);
  EXPECT_EQ(ColoursOf(info.hIcon).pixels, drawing.pixels);
}

TEST_F(Icons, SmallImageIsInTheCornerOfTheLargeIcon) {
  const samples::Drawing drawing(48, 48, kInk);
  const auto path = Make(samples::MakeExecutable({{u"", 1, {samples::MakeBitmap(drawing, 32)}}}));
  const samples::Drawing icon = ColoursOf(Jumbo(path));
  ASSERT_EQ(icon.width, 256U);
  EXPECT_EQ(icon.At(47, 47), kInk);
  // Wine scales it to the full size.
  EXPECT_EQ(!tests::RunsOnWine(), icon.At(48, 0) == 0 && icon.At(0, 48) == 0 && icon.At(255, 255) == 0);
}

TEST_F(Icons, ImageWithAMaskIsOpaqueInsideIt) {
  samples::Drawing drawing(32, 32, kInk);
  drawing.At(5, 6) = 0;
  const auto path = Make(samples::MakeExecutable({{u"", 1, {samples::MakeBitmap(drawing, 8)}}}));
  const samples::Drawing icon = ColoursOf(Jumbo(path));
  // In Wine such an icon has no alpha.
  EXPECT_EQ(!tests::RunsOnWine(), icon.At(0, 0) == kInk && icon.At(5, 6) == 0);
}

TEST_F(Icons, ProgramWithoutAnIconHasTheCommonIcon) {
  for (const std::string& file : {samples::MakeExecutable({}), std::string("no program"), std::string()}) {
    const auto path = Make(file);
    const samples::Drawing icon = ColoursOf(Jumbo(path));
    EXPECT_EQ(icon.width, 256U);
    // It fills the large icon, so it does not count as a small icon in the corner.
    int beyondCorner = 0;
    for (std::uint32_t y = 49; y < 256; ++y) beyondCorner += (icon.At(49, y) & 0xFFFFFF) != 0 ? 1 : 0;
    EXPECT_GT(beyondCorner, 0);
    folder = machine.Folder();
  }
}

TEST_F(Icons, FolderHasAnIcon) {
  const HICON icon = Jumbo(folder);
  ASSERT_NE(icon, nullptr);
  EXPECT_NE(DestroyIcon(icon), 0);
}

TEST_F(Icons, ListHasNoIconBeyondItsEnd) {
  EXPECT_EQ(ImageList_GetIcon(list, 99999, ILD_NORMAL), nullptr);
  EXPECT_EQ(ImageList_GetIcon(list, -1, ILD_NORMAL), nullptr);
  EXPECT_EQ(ImageList_GetIcon(nullptr, 0, ILD_NORMAL), nullptr);
}

TEST_F(Icons, BitmapsOfAnIconAreDescribed) {
  const HICON icon = Jumbo(Make(samples::MakeExecutable({{u"", 1, {samples::MakePng(Pattern(256))}}})));
  ICONINFO info{};
  ASSERT_NE(GetIconInfo(icon, &info), 0);
  BITMAP colours{};
  ASSERT_EQ(GetObjectW(info.hbmColor, sizeof colours, &colours), 32);
  EXPECT_EQ(colours.bmWidth, 256);
  EXPECT_EQ(colours.bmHeight, 256);
  EXPECT_EQ(colours.bmBitsPixel, 32);
  EXPECT_EQ(colours.bmWidthBytes, 1024);
  BITMAP mask{};
  ASSERT_EQ(GetObjectW(info.hbmMask, sizeof mask, &mask), 32);
  EXPECT_EQ(mask.bmBitsPixel, 1);
  EXPECT_EQ(mask.bmWidth, 256);
  DeleteObject(info.hbmColor);
  DeleteObject(info.hbmMask);
  DestroyIcon(icon);
}

TEST_F(Icons, BitmapsAreCopiesThatMayBeDeletedBeforeTheIcon) {
  const HICON icon = Jumbo(Make(samples::MakeExecutable({{u"", 1, {samples::MakePng(Pattern(256))}}})));
  ICONINFO info{};
  ASSERT_NE(GetIconInfo(icon, &info), 0);
  EXPECT_NE(DeleteObject(info.hbmColor), 0);
  EXPECT_NE(DeleteObject(info.hbmMask), 0);
  EXPECT_EQ(ColoursOf(icon).pixels, Pattern(256).pixels);
}

TEST_F(Icons, IconBecomesABitmapWithAlphaOfItsSize) {
  const HICON icon = Jumbo(Make(samples::MakeExecutable({{u"", 1, {samples::MakePng(Pattern(256))}}})));
  GpBitmap* bitmap = nullptr;
  ASSERT_EQ(GdipCreateBitmapFromHICON(icon, &bitmap), 0);
  auto* image = reinterpret_cast<GpImage*>(bitmap);
  UINT width = 0;
  int format = 0;
  EXPECT_EQ(GdipGetImageWidth(image, &width), 0);
  EXPECT_EQ(GdipGetImagePixelFormat(image, &format), 0);
  EXPECT_EQ(width, 256U);
  EXPECT_EQ(format, PixelFormat32bppARGB);
  EXPECT_EQ(GdipDisposeImage(image), 0);
  EXPECT_NE(DestroyIcon(icon), 0);
}

TEST_F(Icons, ThreadWithoutComIsServed) {
  const auto path = Make(samples::MakeExecutable({{u"", 1, {samples::MakePng(Pattern(256))}}}));
  std::vector<std::uint32_t> pixels;
  std::thread([&] { pixels = ColoursOf(Jumbo(path)).pixels; }).join();
  EXPECT_EQ(pixels, Pattern(256).pixels);
}

TEST_F(Icons, LargeListServesThreadsAtOnce) {
  const auto path = Make(samples::MakeExecutable({{u"", 1, {samples::MakePng(Pattern(256))}}}));
  SHFILEINFOW info{};
  ASSERT_NE(Ask(path, info), 0U);
  const std::vector<std::uint32_t> alone = ColoursOf(ImageList_GetIcon(list, info.iIcon, ILD_NORMAL)).pixels;
  EXPECT_EQ(alone, Pattern(256).pixels);
  const int mostTimes = tests::RunsOnWine() ? 5000 : 20;
  std::atomic<bool> isEachWhole = true;
  const auto take = [&] {
    for (int time = 0; time < mostTimes && isEachWhole; ++time) {
      const HICON icon = ImageList_GetIcon(list, info.iIcon, ILD_NORMAL);
      if (ColoursOf(icon).pixels != alone) isEachWhole = false;
    }
  };
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 16; ++thread) threads.emplace_back(take);
  for (std::thread& thread : threads) thread.join();
  // Wine 8 returns a blank icon to some threads: to 8 of 960 that make this call and read the bits, and to
  // none if one lock is held during the call.
  EXPECT_EQ(!tests::RunsOnWine(), isEachWhole.load());
}

TEST_F(Icons, DestroyedObjectsAreRefused) {
  const HICON icon = Jumbo(Make(samples::MakeExecutable({{u"", 1, {samples::MakePng(Pattern(256))}}})));
  ICONINFO info{};
  ASSERT_NE(GetIconInfo(icon, &info), 0);
  DeleteObject(info.hbmMask);
  DeleteObject(info.hbmColor);
  BITMAP description{};
  EXPECT_EQ(GetObjectW(info.hbmColor, sizeof description, &description), 0);
  EXPECT_EQ(DeleteObject(info.hbmColor), 0);
  EXPECT_NE(DestroyIcon(icon), 0);
  EXPECT_EQ(DestroyIcon(icon), 0);
  EXPECT_EQ(GetIconInfo(icon, &info), 0);
}

TEST_F(Icons, NullIsRefused) {
  ICONINFO info{};
  EXPECT_EQ(DestroyIcon(nullptr), 0);
  EXPECT_EQ(GetIconInfo(nullptr, &info), 0);
  EXPECT_EQ(DeleteObject(nullptr), 0);
  BITMAP description{};
  EXPECT_EQ(GetObjectW(nullptr, sizeof description, &description), 0);
}

}  // namespace
}  // namespace platform
