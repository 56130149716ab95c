#include "inventory/InstallerProductsScanner.h"

#include "base/LoadTimeObjects.h"
#include "inventory/ObservedReads.h"
#include "inventory/UninstallKeyScanner.h"

namespace kestrelbay {
namespace {

// The branch of what is installed for the whole machine; the machine's uninstall keys show that already.
constexpr char16_t kMachineUserDataSid[] = u"S-1-5-18";

std::unique_ptr<RegistryKey> OpenUserData(const ScanObserver* observer, RegistryView view) {
  return OpenScanRoot(observer, ScanRoot::UserData, LocalMachineRoot(), InstallerUserDataPath, view);
}

void ScanProductsInView(const RegistryKey& userProducts, const RegistryKey* userData, RegistryView view,
                        ScanResult& list) {
  if (userData) {
    ScanUserProducts(userProducts, *userData, list);
  } else {
    Notify(list.observer, ProductsUnread{userProducts, view});
  }
}

void ScanHive(const std::u16string& hive, const RegistryKey& productsKey, ScanResult& list) {
  const auto uninstallKey = OpenScanRoot(list.observer, ScanRoot::UninstallKey, UsersRoot(),
                                         hive + u'\\' + UninstallKeyPath, kDefaultView);
  ScanUninstallKey(uninstallKey.get(), productsKey, list);
  const auto userProducts = OpenScanRoot(list.observer, ScanRoot::UserProducts, UsersRoot(),
                                         hive + u'\\' + UserProductsPath, kDefaultView);
  if (!userProducts) return;
  const auto userData32 = OpenUserData(list.observer, k32BitView);
  const auto userData64 = OpenUserData(list.observer, k64BitView);
  ScanProductsInView(*userProducts, userData32.get(), k32BitView, list);
  ScanProductsInView(*userProducts, userData64.get(), k64BitView, list);
}

Verdict LookInBranch(const std::u16string& packedCode, const std::u16string& sid,
                     const RegistryKey& userProducts, const RegistryKey& userData, ScanResult& list) {
  if (sid == kMachineUserDataSid) return Verdict::MachineBranch;
  return FindProductInUserData(packedCode, sid, userProducts, userData, list);
}

Verdict FindUserProduct(const std::u16string& packedCode, const RegistryKey& userProducts,
                        const RegistryKey& userData, ScanResult& list) {
  // Listed anew for each product: a user's branch that comes or goes meanwhile counts at once.
  for (const std::u16string& sid : ListSubKeyNames(userData)) {
    const Verdict verdict = LookInBranch(packedCode, sid, userProducts, userData, list);
    Notify(list.observer, BranchJudged{sid, verdict});
    if (verdict == Verdict::Accepted) return verdict;
  }
  return Verdict::InNoBranch;
}

}  // namespace

Verdict ReadUserProductEntry(const RegistryKey& productKey, const RegistryKey& installProperties,
                             ScanResult& list) {
  const ScanObserver* const observer = list.observer;
  InstalledAppInfo& app = list.BlankRecord();
  ReadField(observer, app.DisplayName, AppField::DisplayName, productKey, u"ProductName");
  ReadField(observer, app.DisplayName, AppField::DisplayName, installProperties, u"DisplayName");
  ReadField(observer, app.DisplayVersion, AppField::DisplayVersion, installProperties, u"DisplayVersion");
  ReadField(observer, app.InstallLocation, AppField::InstallLocation, installProperties, u"InstallLocation");
  ReadField(observer, app.InstallDate, AppField::InstallDate, installProperties, u"InstallDate");
  ReadLastWriteTime(installProperties, app.LastWriteTime);
  ReadField(observer, app.DisplayIcon, AppField::DisplayIcon, productKey, u"ProductIcon");
  ReadField(observer, app.DisplayIcon, AppField::DisplayIcon, installProperties, u"DisplayIcon");
  const std::u16string publisher = ReadRuleValue(observer, installProperties, u"Publisher");
  ReadField(observer, app.UninstallString, AppField::UninstallString, installProperties, u"UninstallString");
  const Verdict verdict = JudgeManagedEntry(app, publisher);
  return AddIfAccepted(verdict, installProperties, app, list);
}

Verdict FindProductInUserData(const std::u16string& packedCode, const std::u16string& sid,
                              const RegistryKey& userProducts, const RegistryKey& userData,
                              ScanResult& list) {
  const ScanObserver* const observer = list.observer;
  const std::u16string productsPath = InstallerUserDataPath + u'\\' + sid + u"\\Products";
  const auto products = OpenEntryKey(observer, LocalMachineRoot(), productsPath, userData.view);
  if (!products) return Verdict::BranchUnopened;
  Verdict verdict = Verdict::NotInBranch;
  for (const std::u16string& name : ListSubKeyNames(*products)) {
    if (name != packedCode) continue;
    const std::u16string propertiesPath = productsPath + u'\\' + name + u"\\InstallProperties";
    const auto installProperties = OpenEntryKey(observer, LocalMachineRoot(), propertiesPath, userData.view);
    verdict = Verdict::PropertiesUnopened;
    if (!installProperties) continue;
    verdict = Verdict::SystemComponent;
    if (IsFlagSet(ReadRuleValue(observer, *installProperties, u"SystemComponent"))) continue;
    const auto productKey = OpenEntryKey(observer, userProducts, packedCode, userProducts.view);
    verdict = Verdict::ProductKeyUnopened;
    if (!productKey) continue;
    return ReadUserProductEntry(*productKey, *installProperties, list);
  }
  return verdict;
}

void ScanUserProducts(const RegistryKey& userProducts, const RegistryKey& userData, ScanResult& list) {
  for (const std::u16string& packedCode : ListSubKeyNames(userProducts)) {
    Notify(list.observer, EntryBegun{ScanRoot::UserProducts, userProducts, packedCode, userData.view});
    const Verdict verdict = FindUserProduct(packedCode, userProducts, userData, list);
    Notify(list.observer, EntryJudged{verdict});
  }
}

void ScanUserHives(ScanResult& list, const RegistryKey& productsKey) {
  for (const std::u16string& hive : ListSubKeyNames(UsersRoot())) ScanHive(hive, productsKey, list);
}

}  // namespace kestrelbay
