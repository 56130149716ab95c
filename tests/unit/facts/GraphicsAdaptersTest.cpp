#include <gmock/gmock.h>

#include "facts/SystemInfo.h"
#include "simulated/base/ComObject.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using simulated::ComObject;
using simulated::Faults;
using testing::ElementsAre;

class Hardware : public OnMachine {
 protected:
  ~Hardware() override { EXPECT_EQ(ComObject::OpenCount(), 0U); }

  std::int64_t SpaceWithFree(std::uint64_t freeBytes) {
    machine.drives.SetSpace(u'D', {freeBytes, ~std::uint64_t{0}});
    return info.GetDiskAvailableSpace("D:\\Some\\Folder");
  }

  SystemInfo& info = SystemInfo::GetInstance();
};

TEST_F(Hardware, AdaptersAreJoinedByCommasInTheirOrder) {
  machine.graphicsAdapters = {u"A", u"B", u"C"};
  EXPECT_EQ(info.GetGraphics(), "A,B,C");
  machine.graphicsAdapters = {u"Alone \u00e9"};
  EXPECT_EQ(info.GetGraphics(), "Alone \u00e9");
}

TEST_F(Hardware, NoAdapterIsFilteredOrEscaped) {
  machine.graphicsAdapters = {u"Card, big", u"Card, big", u"Basic Render Driver"};
  EXPECT_EQ(info.GetGraphics(), "Card, big,Card, big,Basic Render Driver");
}

TEST_F(Hardware, AnAdapterThatCannotBeDescribedHasAnEmptyName) {
  machine.graphicsAdapters = {std::nullopt, u"B", std::nullopt};
  EXPECT_EQ(info.GetGraphics(), ",B,");
}

TEST_F(Hardware, NoAdapterAtAllIsEmpty) { EXPECT_EQ(info.GetGraphics(), ""); }

TEST_F(Hardware, WithoutAFactoryNoOtherCallIsMade) {
  machine.graphicsAdapters = {u"A"};
  machine.faults.FailNth(1, Faults::Extent::Once, "CreateDXGIFactory");
  EXPECT_THAT(CallsOf([&] { EXPECT_EQ(info.GetGraphics(), ""); }),
              ElementsAre("CreateDXGIFactory(0x7b7166ec) = -2147024882"));
}

TEST_F(Hardware, AnotherResultThanNotFoundCountsAsAnAdapter) {
  machine.graphicsAdapters = {u"A", u"B", u"C"};
  machine.faults.FailNth(2, Faults::Extent::Once, "IDXGIFactory_EnumAdapters");
  EXPECT_EQ(info.GetGraphics(), "A,,C");
}

TEST_F(Hardware, AdaptersAreCollectedFirstThenDescribedAndReleasedOneByOne) {
  machine.graphicsAdapters = {u"A", u"B"};
  constexpr const char* kMeasured = "WideCharToMultiByte(65001, 0x0, 1, 0) = 1";
  constexpr const char* kConverted = "WideCharToMultiByte(65001, 0x0, 1, 1) = 1";
  EXPECT_THAT(CallsOf([&] { info.GetGraphics(); }),
              ElementsAre("CreateDXGIFactory(0x7b7166ec) = 0", "IDXGIFactory_EnumAdapters(0) = 0",
                          "IDXGIFactory_EnumAdapters(1) = 0", "IDXGIFactory_EnumAdapters(2) = -2005270526",
                          "IDXGIAdapter_GetDesc() = 0", kMeasured, kConverted, "IDXGIAdapter_Release() = 0",
                          "IDXGIAdapter_GetDesc() = 0", kMeasured, kConverted, "IDXGIAdapter_Release() = 0",
                          "IDXGIFactory_Release() = 0"));
}

TEST_F(Hardware, SpaceIsWholeMebibytes) {
  EXPECT_EQ(SpaceWithFree(0), 0);
  EXPECT_EQ(SpaceWithFree((1U << 20) - 1), 0);
  EXPECT_EQ(SpaceWithFree(1U << 20), 1);
  EXPECT_EQ(SpaceWithFree(~std::uint64_t{0}), (std::int64_t{1} << 44) - 1);
}

TEST_F(Hardware, OnlyTheFirstByteOfThePathIsRead) {
  machine.drives.SetSpace(u'Z', {5U << 20, 9U << 20});
  EXPECT_EQ(info.GetDiskAvailableSpace("Z"), 5);
  EXPECT_EQ(info.GetDiskAvailableSpace("z:\\no\\such folder"), 5);
  EXPECT_EQ(info.GetDiskAvailableSpace("Zebra"), 5);
  EXPECT_THAT(CallsOf([&] { info.GetDiskAvailableSpace("Z:\\App"); }),
              testing::Contains("GetDiskFreeSpaceExW(\"Z:/\") = 1"));
}

TEST_F(Hardware, APathWithoutADriveHasNoSpace) {
  EXPECT_THAT(CallsOf([&] {
                EXPECT_EQ(info.GetDiskAvailableSpace(nullptr), -1);
                EXPECT_EQ(info.GetDiskAvailableSpace(""), -1);
              }),
              ElementsAre());
  for (const char* path : {"Q:\\", "\\\\server\\share", "1", "\u65e5:\\", "/", ":", " C:\\"}) {
    EXPECT_EQ(info.GetDiskAvailableSpace(path), -1) << path;
  }
}

TEST_F(Hardware, AMountedDriveHasTheSpaceOfItsFileSystem) {
  machine.drives.Mount(u'C', "/");
  EXPECT_GE(info.GetDiskAvailableSpace("C"), 0);
}

}  // namespace
}  // namespace kestrelbay
