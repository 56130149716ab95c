#include "inventory/AppRecords.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "inventory/AppNameLess.h"

namespace kestrelbay {

std::u16string_view AppRecords::Copy(std::u16string_view text) {
  void* const memory = memory_->allocate(text.size() * sizeof(char16_t), alignof(char16_t));
  auto* const copy = static_cast<char16_t*>(memory);
  return {copy, text.copy(copy, text.size())};
}

AppRecords::Iterator AppRecords::Append(const InstalledAppInfo& app) {
  apps_.push_back({.DisplayName = Copy(app.DisplayName),
                   .InstallLocation = Copy(app.InstallLocation),
                   .DisplayVersion = Copy(app.DisplayVersion),
                   .UninstallString = Copy(app.UninstallString),
                   .rootKeyStr = Copy(app.rootKeyStr),
                   .subKeyPath = Copy(app.subKeyPath),
                   .architecture = app.architecture,
                   .DisplayIcon = Copy(app.DisplayIcon),
                   .IconText = app.IconText,
                   .InstallDate = Copy(app.InstallDate),
                   .LastWriteTime = Copy(app.LastWriteTime)});
  return std::prev(apps_.end());
}

void AppRecords::SortByName() {
  // Not list::sort, which follows the links of the list through memory at each step.
  std::vector<Iterator> order;
  for (Iterator app = begin(); app != end(); ++app) order.push_back(app);
  std::ranges::stable_sort(order, AppNameLess, [](Iterator app) { return app->DisplayName; });
  for (const Iterator app : order) apps_.splice(end(), apps_, app);
}

}  // namespace kestrelbay
