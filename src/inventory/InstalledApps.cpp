#include "inventory/InstalledApps.h"

#include <algorithm>
#include <cstdlib>

#include "frame/CommonFunc.h"
#include "frame/HostText.h"
#include "frame/LoadTimeObjects.h"
#include "inventory/AppIcon.h"
#include "inventory/InstallerProductsScanner.h"
#include "inventory/UninstallKeyScanner.h"

namespace kestrelbay {
namespace {

void ScanMachine(const RegistryKey& productsKey, AppList& list) {
  const auto uninstallKey32 = OpenKey32(LocalMachineRoot(), UninstallKeyPath);
  ScanUninstallKey(uninstallKey32.get(), productsKey, list);
  const auto uninstallKey64 = OpenKey64(LocalMachineRoot(), UninstallKeyPath);
  ScanUninstallKey(uninstallKey64.get(), productsKey, list);
}

// In the order of the scan.
InstalledAppList ReadRecords() {
  AppList list;
  // Without this key the whole inventory is empty, the users' hives included, and that is meant.
  const auto productsKey = OpenKey(LocalMachineRoot(), InstallerClassesPath);
  if (productsKey) {
    ScanMachine(*productsKey, list);
    ScanUserHives(list, *productsKey);
  }
  return list.Take();
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
  for (const std::uint32_t index : apps.order) {
    InstalledAppInfo& app = apps.records[index];
    if (app.IconText.empty()) app.IconText = GetAppIconText(app.DisplayIcon, includeIcons);
  }
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
  std::ranges::transform(apps.order, entries,
                         [&](std::uint32_t index) { return NewEntry(apps.records[index]); });
}

void DeleteEntries(InstalledAppEntry* entries, std::int32_t count) {
  if (!entries) return;  // released before
  for (std::int32_t at = 0; at < count; ++at) FreeTexts(entries[at]);
  delete[] entries;
}

}  // namespace kestrelbay
