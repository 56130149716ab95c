// The public header as C and C++ hosts see it.
#include <gmock/gmock.h>

#include <cstddef>
#include <vector>

#include "HeaderInC.h"
#include "KestrelbayGeneralSDK.h"

namespace tests {
namespace {

using testing::ElementsAre;

template <class Function>
AnyFunction Address(Function* function) {
  return reinterpret_cast<AnyFunction>(function);
}

TEST(Header, HasTheSameFunctionsForCAndCpp) {
  std::size_t count = 0;
  const AnyFunction* const functions = FunctionsInC(&count);
  const std::vector<AnyFunction> expected = {Address(InitDllLogger),
                                             Address(Install),
                                             Address(Uninstall),
                                             Address(SetStopAppEvent),
                                             Address(GetManufacturer),
                                             Address(GetDeviceId),
                                             Address(GetProductName),
                                             Address(GetProxyServer),
                                             Address(GetGraphics),
                                             Address(GetAppVersion),
                                             Address(GetDiskAvailableSpace),
                                             Address(IsTabletPC),
                                             Address(GetRootDir),
                                             Address(GetInstalledAppList),
                                             Address(ReleaseInstalledAppList),
                                             Address(GetInstalledAppListAsync),
                                             Address(GetAppIconAsync),
                                             Address(DeleteAppRegistryInfo),
                                             Address(StartApp),
                                             Address(StartAnyExe),
                                             Address(StartAnyExeAsync),
                                             Address(Encrypt),
                                             Address(Decrypt),
                                             Address(GetAppBlackList),
                                             Address(ReleaseDllStr)};
  EXPECT_EQ(expected.size(), 25U);
  EXPECT_EQ(std::vector<AnyFunction>(functions, functions + count), expected);
}

std::vector<std::size_t> LayoutOf(const std::size_t* (*record)(std::size_t*)) {
  std::size_t count = 0;
  const std::size_t* const layout = record(&count);
  return {layout, layout + count};
}

// Hosts are built against these numbers. They have no other way to notice that a record has changed.
constexpr std::size_t kField = 260;

TEST(Header, InstallRequestHasSevenFieldsWithoutGaps) {
  static_assert(offsetof(InstallRequest, installerPath) == 0);
  static_assert(offsetof(InstallRequest, displayName) == kField);
  static_assert(offsetof(InstallRequest, registryPath) == 2 * kField);
  static_assert(offsetof(InstallRequest, installerParams) == 3 * kField);
  static_assert(offsetof(InstallRequest, Result) == 4 * kField);
  static_assert(offsetof(InstallRequest, ErrMsg) == 5 * kField);
  static_assert(offsetof(InstallRequest, DisplayVersion) == 6 * kField);
  static_assert(sizeof(InstallRequest) == 7 * kField);
  EXPECT_THAT(LayoutOf(&InstallRequestInC), ElementsAre(0, 260, 520, 780, 1040, 1300, 1560, 1820));
}

TEST(Header, UninstallRequestHasFourFieldsWithoutGaps) {
  static_assert(offsetof(UninstallRequest, displayName) == 0);
  static_assert(offsetof(UninstallRequest, registryPath) == kField);
  static_assert(offsetof(UninstallRequest, Result) == 2 * kField);
  static_assert(offsetof(UninstallRequest, ErrMsg) == 3 * kField);
  static_assert(sizeof(UninstallRequest) == 4 * kField);
  EXPECT_THAT(LayoutOf(&UninstallRequestInC), ElementsAre(0, 260, 520, 780, 1040));
}

TEST(Header, EntryHasSevenTextsAndANumber) {
  static_assert(offsetof(InstalledAppEntry, displayName) == 0);
  static_assert(offsetof(InstalledAppEntry, installLocation) == 8);
  static_assert(offsetof(InstalledAppEntry, displayVersion) == 16);
  static_assert(offsetof(InstalledAppEntry, displayIcon) == 24);
  static_assert(offsetof(InstalledAppEntry, iconText) == 32);
  static_assert(offsetof(InstalledAppEntry, installDate) == 40);
  static_assert(offsetof(InstalledAppEntry, lastWriteTime) == 48);
  static_assert(offsetof(InstalledAppEntry, architecture) == 56);
  static_assert(sizeof(InstalledAppEntry) == 64);
  EXPECT_THAT(LayoutOf(&EntryInC), ElementsAre(0, 8, 16, 24, 32, 40, 48, 56, 64));
}

}  // namespace
}  // namespace tests
