/** A host on a new machine, which has the products key and no entries. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "support/OnMachine.h"

namespace kestrelbay {

class ExportTest : public OnMachine {
 protected:
  ExportTest() { machine.registry.CreateKey(kProductsPath); }

  void AddApp(const std::u16string& name, const Texts& more = {}) {
    SetTexts(kUninstall64Path + u"\\" + name, {{u"DisplayName", name}, {u"UninstallString", u"u"}});
    SetTexts(kUninstall64Path + u"\\" + name, more);
  }

  static std::vector<ReceivedEntry> List(bool includeIcons = false) {
    InstalledAppEntry* entries = nullptr;
    std::uint32_t count = 77;
    GetInstalledAppList(&entries, &count, includeIcons);
    EXPECT_NE(entries, nullptr);
    std::vector<ReceivedEntry> copies = CopyEntries(entries, static_cast<std::int32_t>(count));
    ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
    EXPECT_EQ(entries, nullptr);
    return copies;
  }

  LogCapture log;
};

}  // namespace kestrelbay
