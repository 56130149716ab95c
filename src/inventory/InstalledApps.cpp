#include "inventory/InstalledApps.h"

#include <algorithm>
#include <cstdlib>

#include "frame/CommonFunc.h"
#include "frame/HostText.h"
#include "inventory/AppIcon.h"
#include "inventory/InventoryScan.h"
#include "platform/Memory.h"

namespace kestrelbay {
namespace {

// In the order of the scan.
InstalledAppList ReadRecords() {
  AppList list;
  ScanInventory(list);
  return list.Take();
}

void FetchTextsAhead(const InstalledAppInfo& app) {
  for (const std::u16string* text : {&app.DisplayName, &app.InstallLocation, &app.DisplayVersion,
                                     &app.DisplayIcon, &app.InstallDate, &app.LastWriteTime}) {
    platform::FetchAhead(text->data(), text->size() * sizeof(char16_t));
  }
}

// Calls `use` with each record in list order. Neighbours in that order lie anywhere in memory, and in a long
// list each would be waited for. So a record's memory is asked for some places ahead, and once it is there,
// that of its texts.
template <class Records, class Use>
void ForEachInOrder(Records& records, const std::vector<std::uint32_t>& order, Use use) {
  constexpr std::size_t kRecordsAhead = 8;
  constexpr std::size_t kTextsAhead = 4;
  for (std::size_t at = 0; at < order.size(); ++at) {
    if (at + kRecordsAhead < order.size()) {
      platform::FetchAhead(&records[order[at + kRecordsAhead]], sizeof(InstalledAppInfo));
    }
    if (at + kTextsAhead < order.size()) FetchTextsAhead(records[order[at + kTextsAhead]]);
    use(records[order[at]]);
  }
}

InstalledAppEntry NewEntry(const InstalledAppInfo& app) {
  const auto text = [](const std::u16string& wide) { return NewHostText(WideToUtf8(wide)); };
  return {.displayName = text(app.DisplayName),
          .installLocation = text(app.InstallLocation),
          .displayVersion = text(app.DisplayVersion),
          .displayIcon = text(app.DisplayIcon),
          .iconText = NewHostText(app.IconText),
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
  InstalledAppList records = ReadRecords();
  const std::vector<std::uint32_t> order = OrderByName(records);
  return InOrder(std::move(records), order);
}

std::unique_ptr<InstalledAppList> GetInstalledApps(bool includeIcons) {
  OrderedApps apps = GetInstalledAppsInPlace(includeIcons);
  return std::make_unique<InstalledAppList>(InOrder(std::move(apps.records), apps.order));
}

OrderedApps GetInstalledAppsInPlace(bool includeIcons) {
  OrderedApps apps{ReadRecords(), {}};
  apps.order = OrderByName(apps.records);
  ForEachInOrder(apps.records, apps.order, [=](InstalledAppInfo& app) {
    if (app.IconText.empty()) app.IconText = GetAppIconText(app.DisplayIcon, includeIcons);
  });
  return apps;
}

const InstalledAppInfo* FindInstalledApp(const char* displayName) {
  const InstalledAppList& apps = *GetInstalledApps(false).release();  // kept on purpose
  const auto app = std::ranges::find_if(apps, [=](const InstalledAppInfo& candidate) {
    const std::string name = WideToUtf8(candidate.DisplayName);
    return !name.empty() && name == displayName;
  });
  return app == apps.end() ? nullptr : &*app;
}

std::string GetAppIconByName(const std::u16string& displayName) {
  InstalledAppList& apps = *GetInstalledApps(false).release();  // kept on purpose
  const auto app = std::ranges::find(apps, displayName, &InstalledAppInfo::DisplayName);
  if (app == apps.end()) return {};
  app->IconText = GetAppIconText(app->DisplayIcon, true);
  return app->IconText;
}

InstalledAppEntry* NewEntries(std::size_t count) { return new InstalledAppEntry[count]{}; }

void FillEntries(const OrderedApps& apps, InstalledAppEntry* entries) {
  ForEachInOrder(apps.records, apps.order, [&](const InstalledAppInfo& app) { *entries++ = NewEntry(app); });
}

void DeleteEntries(InstalledAppEntry* entries, std::int32_t count) {
  if (!entries) return;  // released before
  for (std::int32_t at = 0; at < count; ++at) FreeTexts(entries[at]);
  delete[] entries;
}

}  // namespace kestrelbay
