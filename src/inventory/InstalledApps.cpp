#include "inventory/InstalledApps.h"

#include <algorithm>

#include "base/CommonFunc.h"
#include "icons/AppIcon.h"
#include "inventory/InventoryScan.h"
#include "inventory/ScanResult.h"

namespace kestrelbay {
AppRecords ScanInstalledApps() {
  ScanResult list;
  ScanInventory(list);
  AppRecords apps = list.Take();
  apps.Arrange(OrderByName(apps));
  return apps;
}

std::unique_ptr<AppRecords> GetInstalledApps(bool includeIcons) {
  auto apps = std::make_unique<AppRecords>(ScanInstalledApps());
  for (std::size_t index = 0; index < apps->size(); ++index) {
    const AppRecord& app = (*apps)[index];
    if (app.IconText.empty()) apps->SetIconText(index, GetAppIconText(app.DisplayIcon, includeIcons));
  }
  return apps;
}

const AppRecord* FindInstalledApp(const char* displayName) {
  const AppRecords& apps = *GetInstalledApps(false).release();  // kept on purpose
  const auto app = std::ranges::find_if(apps.Apps(), [=](const AppRecord* candidate) {
    const std::string name = WideToUtf8(candidate->DisplayName);
    return !name.empty() && name == displayName;
  });
  return app == apps.Apps().end() ? nullptr : *app;
}

std::string GetAppIconByName(const std::u16string& displayName) {
  AppRecords& apps = *GetInstalledApps(false).release();  // kept on purpose
  const auto app = std::ranges::find(apps.Apps(), displayName, &AppRecord::DisplayName);
  if (app == apps.Apps().end()) return {};
  std::string iconText = GetAppIconText((*app)->DisplayIcon, true);
  apps.SetIconText(static_cast<std::size_t>(app - apps.Apps().begin()), iconText);
  return iconText;
}

}  // namespace kestrelbay
