// The machine's graphics adapters.
#include "platform/GraphicsAdapters.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "TestMachine.h"
#include "platform/Constants.h"

namespace platform {
namespace {

TEST(Graphics, AdaptersAreNumberedFromZeroAndEndInNotFound) {
  const tests::TestMachine machine;
  void* made = &made;
  const HRESULT result = CreateDXGIFactory(IID_IDXGIFactory, &made);
  if (result < 0) {
    // Wine has none on a computer without a graphics processor.
    ASSERT_TRUE(tests::RunsOnWine());
    return;
  }
  auto* const factory = static_cast<IDXGIFactory*>(made);
  UINT index = 0;
  IDXGIAdapter* adapter = nullptr;
  HRESULT found = S_OK;
  for (; (found = IDXGIFactory_EnumAdapters(factory, index, &adapter)) == S_OK; ++index) {
    DXGI_ADAPTER_DESC description = {};
    EXPECT_EQ(S_OK, IDXGIAdapter_GetDesc(adapter, &description));
    EXPECT_NE(0, description.Description[0]);
    EXPECT_EQ(0u, IDXGIAdapter_Release(adapter));
  }
  EXPECT_EQ(DXGI_ERROR_NOT_FOUND, found);
  EXPECT_EQ(DXGI_ERROR_NOT_FOUND, IDXGIFactory_EnumAdapters(factory, index + 1, &adapter));
  EXPECT_EQ(0u, IDXGIFactory_Release(factory));
}

TEST(Graphics, AnotherInterfaceIsRefused) {
  constexpr auto kNoInterface = static_cast<HRESULT>(0x80004002);
  const tests::TestMachine machine;
  void* made = &made;
  const HRESULT result = CreateDXGIFactory(GUID{}, &made);
  EXPECT_LT(result, 0);
  // Without a graphics processor Wine fails before it looks at the interface.
  if (tests::RunsOnWine()) return;
  EXPECT_EQ(kNoInterface, result);
  EXPECT_EQ(nullptr, made);
}

}  // namespace
}  // namespace platform
