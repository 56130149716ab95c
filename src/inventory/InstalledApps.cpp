#include "inventory/InstalledApps.h"

#include <algorithm>

#include "base/CommonFunc.h"
#include "icons/AppIcon.h"
#include "inventory/InventoryScan.h"

namespace kestrelbay {

// Scans anew at each call, by design: an application that is installed now is in the next list.
AppRecords ScanInstalledApps() {
  Scan scan;
  ScanInventory(scan);
  AppRecords apps = scan.TakeApps();
  apps.SortByName();
  return apps;
}

std::unique_ptr<AppRecords> GetInstalledApps(bool includeIcons) {
  auto apps = std::make_unique<AppRecords>(ScanInstalledApps());
  for (AppRecord& app : *apps) {
    if (app.IconText.empty()) app.IconText = GetAppIconText(app.DisplayIcon, includeIcons);
  }
  return apps;
}

// By design nobody frees the list. The result points into it.
const AppRecord* FindInstalledApp(const char* displayName) {
  const AppRecords& apps = *GetInstalledApps(false).release();  // kept by design
  const auto app = std::ranges::find_if(apps, [=](const AppRecord& candidate) {
    // A name whose conversion fails is empty. It must not match an empty request.
    const std::string name = WideToUtf8(candidate.DisplayName);
    return !name.empty() && name == displayName;
  });
  return app == apps.end() ? nullptr : &*app;
}

std::string GetAppIconByName(const std::u16string& displayName) {
  AppRecords& apps = *GetInstalledApps(false).release();  // kept by design
  const auto app = std::ranges::find(apps, displayName, &AppRecord::DisplayName);
  if (app == apps.end()) return {};
  // Replaces a path from the scan even by the empty text of a failed extraction.
  app->IconText = GetAppIconText(app->DisplayIcon, true);
  return app->IconText;
}

}  // namespace kestrelbay
