#include "inventory/InstallerProductsScanner.h"

#include "frame/LoadTimeObjects.h"
#include "inventory/UninstallKeyScanner.h"

namespace kestrelbay {
namespace {

// The branch of what is installed for the whole machine; the machine's uninstall keys show that already.
constexpr char16_t kMachineUserDataSid[] = u"S-1-5-18";

void ScanHive(const std::u16string& hive, const RegistryKey& productsKey, AppList& list) {
  const auto uninstallKey = OpenKey(UsersRoot(), hive + u'\\' + UninstallKeyPath);
  ScanUninstallKey(uninstallKey.get(), productsKey, list);
  const auto userProducts = OpenKey(UsersRoot(), hive + u'\\' + UserProductsPath);
  if (!userProducts) return;
  const auto userData32 = OpenKey32(LocalMachineRoot(), InstallerUserDataPath);
  const auto userData64 = OpenKey64(LocalMachineRoot(), InstallerUserDataPath);
  if (userData32) ScanUserProducts(*userProducts, *userData32, list);
  if (userData64) ScanUserProducts(*userProducts, *userData64, list);
}

}  // namespace

bool ReadUserProductEntry(const RegistryKey& productKey, const RegistryKey& installProperties,
                          const RegistryKey& userData, AppList& list) {
  InstalledAppInfo app;
  app.DisplayName = ReadRegistryValue(productKey, u"ProductName");
  const std::u16string displayName = ReadRegistryValue(installProperties, u"DisplayName");
  if (app.DisplayName.empty()) app.DisplayName = displayName;
  app.DisplayVersion = ReadRegistryValue(installProperties, u"DisplayVersion");
  app.InstallLocation = ReadRegistryValue(installProperties, u"InstallLocation");
  app.InstallDate = ReadRegistryValue(installProperties, u"InstallDate");
  app.LastWriteTime = ReadLastWriteTime(installProperties);
  app.DisplayIcon = ReadRegistryValue(productKey, u"ProductIcon");
  const std::u16string displayIcon = ReadRegistryValue(installProperties, u"DisplayIcon");
  if (app.DisplayIcon.empty()) app.DisplayIcon = displayIcon;
  const std::u16string publisher = ReadRegistryValue(installProperties, u"Publisher");
  app.UninstallString = ReadRegistryValue(installProperties, u"UninstallString");

  if (app.DisplayName.empty() || publisher == ExcludedPublisher) return false;
  app.rootKeyStr = installProperties.rootName;
  app.subKeyPath = installProperties.path;
  app.architecture = userData.view;
  AddOrMergeApp(list, std::move(app));
  return true;
}

bool FindProductInUserData(const std::u16string& packedCode, const std::u16string& sid,
                           const RegistryKey& userProducts, const RegistryKey& userData, AppList& list) {
  const std::u16string productsPath = InstallerUserDataPath + u'\\' + sid + u"\\Products";
  const auto products = OpenKeyInView(LocalMachineRoot(), productsPath, userData.view);
  if (!products) return false;
  for (const std::u16string& name : ListSubKeyNames(*products)) {
    if (name != packedCode) continue;
    const auto installProperties = OpenKeyInView(
        LocalMachineRoot(), productsPath + u'\\' + name + u"\\InstallProperties", userData.view);
    if (!installProperties || IsFlagSet(*installProperties, u"SystemComponent")) continue;
    const auto productKey = OpenKeyInView(userProducts, packedCode, userProducts.view);
    if (!productKey) continue;
    return ReadUserProductEntry(*productKey, *installProperties, userData, list);
  }
  return false;
}

void ScanUserProducts(const RegistryKey& userProducts, const RegistryKey& userData, AppList& list) {
  for (const std::u16string& packedCode : ListSubKeyNames(userProducts)) {
    // Listed anew for each product: a user's branch that comes or goes meanwhile counts at once.
    for (const std::u16string& sid : ListSubKeyNames(userData)) {
      if (sid == kMachineUserDataSid) continue;
      if (FindProductInUserData(packedCode, sid, userProducts, userData, list)) break;
    }
  }
}

void ScanUserHives(AppList& list, const RegistryKey& productsKey) {
  for (const std::u16string& hive : ListSubKeyNames(UsersRoot())) ScanHive(hive, productsKey, list);
}

}  // namespace kestrelbay
