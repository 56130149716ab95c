#include <gmock/gmock.h>

#include <algorithm>

#include "HostCallbacks.h"
#include "inventory/InstalledApps.h"
#include "support/OnMachine.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

class HostList : public OnMachine {
 protected:
  HostList() {
    machine.registry.CreateKey(kProductsPath);
    for (const char16_t* name : {u"cherry", u"Banana", u"apple"}) {
      SetTexts(kUninstall64Path + u"\\" + name, {{u"DisplayName", name},
                                                 {u"UninstallString", u"u"},
                                                 {u"InstallLocation", std::u16string(u"C:\\") + name},
                                                 {u"DisplayVersion", u"1"},
                                                 {u"DisplayIcon", std::u16string(u"C:\\") + name + u".ico,0"},
                                                 {u"InstallDate", u"20240131"}});
    }
    SetTexts(kUninstall32Path + u"\\Banana", {{u"DisplayName", u"Banana"}, {u"UninstallString", u"u"}});
  }

  LogCapture log;
};

TEST_F(HostList, EqualsTheInventoryWithAndWithoutIcons) {
  for (const bool includeIcons : {false, true}) {
    const auto apps = GetInstalledApps(includeIcons);
    ASSERT_EQ(apps->size(), 4U);
    std::vector<ReceivedEntry> expected;
    std::ranges::transform(RecordsOf(*apps), std::back_inserter(expected), AsReceived);
    InstalledAppEntry* entries = nullptr;
    std::uint32_t count = 0;
    GetInstalledAppList(&entries, &count, includeIcons);
    EXPECT_THAT(CopyEntries(entries, static_cast<std::int32_t>(count)), testing::ElementsAreArray(expected));
    ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
  }
}

}  // namespace
}  // namespace kestrelbay
