// The public header as C and C++ hosts see it.
#include <gmock/gmock.h>

#include <vector>

#include "HeaderInC.h"
#include "KestrelbayGeneralSDK.h"

namespace tests {
namespace {

template <class Function>
AnyFunction Address(Function* function) {
  return reinterpret_cast<AnyFunction>(function);
}

TEST(Header, GivesCAndCppTheSameFunctions) {
  std::size_t count = 0;
  const AnyFunction* const functions = FunctionsInC(&count);
  EXPECT_THAT(std::vector<AnyFunction>(functions, functions + count),
              testing::ElementsAre(Address(InitDllLogger), Address(SetStopAppEvent), Address(GetRootDir),
                                   Address(GetInstalledAppList), Address(ReleaseInstalledAppList),
                                   Address(GetInstalledAppListAsync), Address(GetAppIconAsync),
                                   Address(GetAppBlackList), Address(ReleaseDllStr)));
}

TEST(Header, GivesCAndCppTheSameEntry) { EXPECT_EQ(EntryBytesInC(), sizeof(InstalledAppEntry)); }

}  // namespace
}  // namespace tests
