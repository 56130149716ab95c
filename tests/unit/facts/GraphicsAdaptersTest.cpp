#include <gmock/gmock.h>

#include "facts/SystemInfo.h"
#include "simulated/base/ComObject.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using simulated::ComObject;
using simulated::Faults;
using testing::ElementsAre;

class GraphicsAdapters : public OnMachine {
 protected:
  ~GraphicsAdapters() override { EXPECT_EQ(ComObject::OpenCount(), 0U); }

  SystemInfo& info = SystemInfo::GetInstance();
};

TEST_F(GraphicsAdapters, AdaptersAreJoinedByCommasInTheirOrder) {
  machine.graphicsAdapters = {u"A", u"B", u"C"};
  EXPECT_EQ(info.GetGraphics(), "A,B,C");
  machine.graphicsAdapters = {u"Alone \u00e9"};
  EXPECT_EQ(info.GetGraphics(), "Alone \u00e9");
}

TEST_F(GraphicsAdapters, NoAdapterIsFilteredOrEscaped) {
  machine.graphicsAdapters = {u"Card, big", u"Card, big", u"Basic Render Driver"};
  EXPECT_EQ(info.GetGraphics(), "Card, big,Card, big,Basic Render Driver");
}

TEST_F(GraphicsAdapters, AnAdapterThatCannotBeDescribedHasAnEmptyName) {
  machine.graphicsAdapters = {std::nullopt, u"B", std::nullopt};
  EXPECT_EQ(info.GetGraphics(), ",B,");
}

TEST_F(GraphicsAdapters, NoAdapterAtAllIsEmpty) { EXPECT_EQ(info.GetGraphics(), ""); }

TEST_F(GraphicsAdapters, WithoutAFactoryNoOtherCallIsMade) {
  machine.graphicsAdapters = {u"A"};
  machine.faults.FailNth(1, Faults::Extent::Once, "CreateDXGIFactory");
  EXPECT_THAT(CallsOf([&] { EXPECT_EQ(info.GetGraphics(), ""); }),
              ElementsAre("CreateDXGIFactory(0x7b7166ec) = -2147024882"));
}

TEST_F(GraphicsAdapters, AnotherResultThanNotFoundCountsAsAnAdapter) {
  machine.graphicsAdapters = {u"A", u"B", u"C"};
  machine.faults.FailNth(2, Faults::Extent::Once, "IDXGIFactory_EnumAdapters");
  EXPECT_EQ(info.GetGraphics(), "A,,C");
}

TEST_F(GraphicsAdapters, AdaptersAreCollectedFirstThenDescribedAndReleasedOneByOne) {
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

}  // namespace
}  // namespace kestrelbay
