#include "inventory/InstalledApps.h"

#include <algorithm>
#include <cstdlib>

#include "base/CommonFunc.h"
#include "exports/HostText.h"
#include "icons/AppIcon.h"
#include "inventory/AppList.h"
#include "inventory/InventoryScan.h"
#include "platform/Memory.h"

namespace kestrelbay {
namespace {

// The texts that clients get stand side by side.
std::u16string_view ClientTexts(const ListedApp& app) {
  return {app.DisplayName.data(), app.LastWriteTime.data() + app.LastWriteTime.size()};
}

// Neighbours in list order lie anywhere in memory, and in a long list each would be waited for. So before the
// record at `index` is looked at, one some places behind it is asked for, and once that is there, its texts.
template <class TextsOf>
void FetchAhead(const InstalledAppList& apps, std::size_t index, TextsOf textsOf) {
  constexpr std::size_t kRecordsAhead = 24;
  constexpr std::size_t kTextsAhead = 12;
  if (index + kRecordsAhead < apps.size())
    platform::FetchAhead(&apps[index + kRecordsAhead], sizeof(ListedApp));
  if (index + kTextsAhead >= apps.size()) return;
  const std::u16string_view texts = textsOf(apps[index + kTextsAhead]);
  platform::FetchAhead(texts.data(), texts.size() * sizeof(char16_t));
}

InstalledAppEntry NewEntry(const ListedApp& app) {
  const auto text = [](std::u16string_view wide) { return NewHostText(WideToUtf8(wide)); };
  return {.displayName = text(app.DisplayName),
          .installLocation = text(app.InstallLocation),
          .displayVersion = text(app.DisplayVersion),
          .displayIcon = text(app.DisplayIcon),
          .iconText = NewHostText(std::string(app.IconText)),
          .installDate = text(app.InstallDate),
          .lastWriteTime = text(app.LastWriteTime),
          .architecture = app.architecture};
}

void FreeTexts(InstalledAppEntry& entry) {
  for (char** text : {&entry.displayName, &entry.installLocation, &entry.displayVersion, &entry.displayIcon,
                      &entry.iconText, &entry.installDate, &entry.lastWriteTime}) {
    std::free(*text);
    *text = nullptr;
  }
}

}  // namespace

InstalledAppList ScanInstalledApps() {
  AppList list;
  ScanInventory(list);
  InstalledAppList apps = list.Take();
  apps.Arrange(OrderByName(apps));
  return apps;
}

std::unique_ptr<InstalledAppList> GetInstalledApps(bool includeIcons) {
  auto apps = std::make_unique<InstalledAppList>(ScanInstalledApps());
  for (std::size_t index = 0; index < apps->size(); ++index) {
    FetchAhead(*apps, index, [](const ListedApp& app) { return app.DisplayIcon; });
    const ListedApp& app = (*apps)[index];
    if (app.IconText.empty()) apps->SetIconText(index, GetAppIconText(app.DisplayIcon, includeIcons));
  }
  return apps;
}

const ListedApp* FindInstalledApp(const char* displayName) {
  const InstalledAppList& apps = *GetInstalledApps(false).release();  // kept on purpose
  const auto app = std::ranges::find_if(apps.Apps(), [=](const ListedApp* candidate) {
    const std::string name = WideToUtf8(candidate->DisplayName);
    return !name.empty() && name == displayName;
  });
  return app == apps.Apps().end() ? nullptr : *app;
}

std::string GetAppIconByName(const std::u16string& displayName) {
  InstalledAppList& apps = *GetInstalledApps(false).release();  // kept on purpose
  const auto app = std::ranges::find(apps.Apps(), displayName, &ListedApp::DisplayName);
  if (app == apps.Apps().end()) return {};
  std::string iconText = GetAppIconText((*app)->DisplayIcon, true);
  apps.SetIconText(static_cast<std::size_t>(app - apps.Apps().begin()), iconText);
  return iconText;
}

InstalledAppEntry* NewEntries(std::size_t count) { return new InstalledAppEntry[count]{}; }

void FillEntries(const InstalledAppList& apps, InstalledAppEntry* entries) {
  for (std::size_t index = 0; index < apps.size(); ++index) {
    FetchAhead(apps, index, ClientTexts);
    entries[index] = NewEntry(apps[index]);
  }
}

void DeleteEntries(InstalledAppEntry* entries, std::int32_t count) {
  if (!entries) return;  // released before
  for (std::int32_t at = 0; at < count; ++at) FreeTexts(entries[at]);
  delete[] entries;
}

}  // namespace kestrelbay
