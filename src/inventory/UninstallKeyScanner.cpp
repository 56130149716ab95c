#include "inventory/UninstallKeyScanner.h"

#include <algorithm>

#include "frame/CommonFunc.h"
#include "frame/LoadTimeObjects.h"
#include "platform/RuntimeText.h"

namespace kestrelbay {
namespace {

constexpr std::size_t kGroupsOfProductCode = 5;
constexpr std::size_t kReversedGroups = 3;

// "KB" and six digits, the whole name.
bool IsKnowledgeBaseName(std::u16string_view name) {
  constexpr std::size_t kDigits = 6;
  return name.size() == 2 + kDigits && name.starts_with(u"KB") &&
         std::ranges::all_of(name.substr(2), [](char16_t unit) { return unit >= u'0' && unit <= u'9'; });
}

void AppendReversed(std::u16string& packed, const std::u16string& group) {
  packed.append(group.rbegin(), group.rend());
}

void AppendPairsSwapped(std::u16string& packed, const std::u16string& group) {
  for (std::size_t at = 0; at + 1 < group.size(); at += 2) packed.append({group[at + 1], group[at]});
}

bool IsProductCode(const std::vector<std::u16string>& groups) {
  return groups.size() == kGroupsOfProductCode &&
         std::all_of(groups.begin() + kReversedGroups, groups.end(),
                     [](const std::u16string& group) { return group.size() % 2 == 0; });
}

}  // namespace

std::u16string PackProductCode(std::u16string_view productCode) {
  std::u16string bare(productCode);
  std::erase_if(bare, [](char16_t unit) { return unit == u'{' || unit == u'}'; });
  const std::vector<std::u16string> groups = SplitWide(bare, u'-');
  std::u16string packed;
  if (!IsProductCode(groups)) return packed;
  for (std::size_t at = 0; at < groups.size(); ++at) {
    if (at < kReversedGroups) {
      AppendReversed(packed, groups[at]);
    } else {
      AppendPairsSwapped(packed, groups[at]);
    }
  }
  return packed;
}

bool IsFlagSet(const RegistryKey& key, const char16_t* name) {
  const std::u16string text = ReadRegistryValue(key, name);
  return !text.empty() && platform::_wtoi(text.c_str()) == 1;
}

bool IsUpdateEntry(std::u16string_view subKeyName, std::u16string_view parentKeyName,
                   std::u16string_view releaseType) {
  return IsKnowledgeBaseName(subKeyName) || !parentKeyName.empty() || releaseType == u"Security Update" ||
         releaseType == u"Update Rollup" || releaseType == u"Hotfix";
}

void ReadPlainUninstallEntry(const RegistryKey& subKey, const std::u16string& subKeyName,
                             const RegistryKey& uninstallKey, AppList& list) {
  InstalledAppInfo app;
  const std::u16string releaseType = ReadRegistryValue(subKey, u"ReleaseType");
  app.DisplayVersion = ReadRegistryValue(subKey, u"DisplayVersion");
  app.DisplayName = ReadRegistryValue(subKey, u"DisplayName");
  app.InstallLocation = ReadRegistryValue(subKey, u"InstallLocation");
  app.DisplayIcon = ReadRegistryValue(subKey, u"DisplayIcon");
  app.InstallDate = ReadRegistryValue(subKey, u"InstallDate");
  app.LastWriteTime = ReadLastWriteTime(subKey);
  app.UninstallString = ReadRegistryValue(subKey, u"UninstallString");
  const std::u16string parentKeyName = ReadRegistryValue(subKey, u"ParentKeyName");
  const std::u16string publisher = ReadRegistryValue(subKey, u"Publisher");

  if (app.UninstallString.empty() || app.DisplayName.empty() || publisher == ExcludedPublisher ||
      IsUpdateEntry(subKeyName, parentKeyName, releaseType)) {
    return;
  }
  app.rootKeyStr = subKey.rootName;
  app.subKeyPath = subKey.path;
  app.architecture = uninstallKey.view;
  AddOrMergeApp(list, std::move(app));
}

void ReadInstallerUninstallEntry(const std::u16string& subKeyName, const RegistryKey& productsKey,
                                 const RegistryKey& subKey, const RegistryKey& uninstallKey, AppList& list) {
  InstalledAppInfo app;
  // An empty code is no name to open: it would be the products key itself.
  if (const std::u16string packedCode = PackProductCode(subKeyName); !packedCode.empty()) {
    if (const auto productKey = OpenKeyInView(productsKey, packedCode, productsKey.view)) {
      app.DisplayName = ReadRegistryValue(*productKey, u"ProductName");
      app.DisplayIcon = ReadRegistryValue(*productKey, u"ProductIcon");
    }
  }
  const std::u16string displayName = ReadRegistryValue(subKey, u"DisplayName");
  if (app.DisplayName.empty()) app.DisplayName = displayName;
  app.DisplayVersion = ReadRegistryValue(subKey, u"DisplayVersion");
  app.InstallLocation = ReadRegistryValue(subKey, u"InstallLocation");
  app.InstallDate = ReadRegistryValue(subKey, u"InstallDate");
  app.LastWriteTime = ReadLastWriteTime(subKey);
  const std::u16string displayIcon = ReadRegistryValue(subKey, u"DisplayIcon");
  if (app.DisplayIcon.empty()) app.DisplayIcon = displayIcon;
  const std::u16string publisher = ReadRegistryValue(subKey, u"Publisher");
  app.UninstallString = ReadRegistryValue(subKey, u"UninstallString");

  // Neither the update filter nor an uninstall command is asked for: the installer can always remove it.
  if (app.DisplayName.empty() || publisher == ExcludedPublisher) return;
  app.rootKeyStr = subKey.rootName;
  app.subKeyPath = subKey.path;
  app.architecture = uninstallKey.view;
  AddOrMergeApp(list, std::move(app));
}

void ScanUninstallKey(const RegistryKey* uninstallKey, const RegistryKey& productsKey, AppList& list) {
  if (!uninstallKey) return;
  for (const std::u16string& name : ListSubKeyNames(*uninstallKey)) {
    const auto subKey = OpenKeyInView(*uninstallKey, name, uninstallKey->view);
    if (!subKey || IsFlagSet(*subKey, u"SystemComponent")) continue;
    if (IsFlagSet(*subKey, u"WindowsInstaller")) {
      ReadInstallerUninstallEntry(name, productsKey, *subKey, *uninstallKey, list);
    } else {
      ReadPlainUninstallEntry(*subKey, name, *uninstallKey, list);
    }
  }
}

}  // namespace kestrelbay
