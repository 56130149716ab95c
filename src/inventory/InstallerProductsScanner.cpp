#include "inventory/InstallerProductsScanner.h"

#include <utility>

#include "base/LoadTimeObjects.h"
#include "inventory/UninstallKeyScanner.h"

namespace kestrelbay {
namespace {

// The branch of the products that are installed for all users. The uninstall keys of the machine list these.
constexpr char16_t kMachineUserDataSid[] = u"S-1-5-18";

std::unique_ptr<RegistryKey> OpenUserData(const Scan& scan, RegistryView view) {
  return scan.OpenScanRoot(ScanRoot::UserData, LocalMachineRoot(), InstallerUserDataPath, view);
}

void ScanProductsInView(const RegistryKey& userProducts, const RegistryKey* userData, RegistryView view,
                        Scan& scan) {
  if (userData) {
    ScanUserProducts(userProducts, *userData, scan);
  } else {
    scan.Notify(ProductsUnread{userProducts, view});
  }
}

// Every subkey of HKEY_USERS counts as a hive, also those of services and of classes. Without the two keys, a
// hive adds nothing.
void ScanHive(const std::u16string& hive, Scan& scan) {
  const auto uninstallKey =
      scan.OpenScanRoot(ScanRoot::UninstallKey, UsersRoot(), hive + u'\\' + UninstallKeyPath, kDefaultView);
  ScanUninstallKey(uninstallKey.get(), scan);
  const auto userProducts =
      scan.OpenScanRoot(ScanRoot::UserProducts, UsersRoot(), hive + u'\\' + UserProductsPath, kDefaultView);
  if (!userProducts) return;
  // Both views are opened before either is scanned, and a missing one skips only itself.
  const auto userData32 = OpenUserData(scan, k32BitView);
  const auto userData64 = OpenUserData(scan, k64BitView);
  ScanProductsInView(*userProducts, userData32.get(), k32BitView, scan);
  ScanProductsInView(*userProducts, userData64.get(), k64BitView, scan);
}

Verdict LookInBranch(const std::u16string& packedCode, const std::u16string& sid,
                     const RegistryKey& userProducts, const RegistryKey& userData, Scan& scan) {
  if (sid == kMachineUserDataSid) return Verdict::MachineBranch;
  return FindProductInUserData(packedCode, sid, userProducts, userData, scan);
}

Verdict FindUserProduct(const std::u16string& packedCode, const RegistryKey& userProducts,
                        const RegistryKey& userData, Scan& scan) {
  // Lists the branches again for each product, by design: a branch that appears meanwhile counts.
  for (const std::u16string& sid : ListSubKeyNames(userData)) {
    const Verdict verdict = LookInBranch(packedCode, sid, userProducts, userData, scan);
    scan.Notify(BranchJudged{sid, verdict});
    if (verdict == Verdict::Accepted) return verdict;
  }
  return Verdict::InNoBranch;
}

}  // namespace

Verdict ReadUserProductEntry(const RegistryKey& productKey, const RegistryKey& installProperties,
                             Scan& scan) {
  InstalledAppInfo app;
  // ReadField keeps the first text: a name or icon of the user's product key comes before that of the
  // machine.
  scan.ReadField(app.DisplayName, AppField::DisplayName, productKey, u"ProductName");
  scan.ReadField(app.DisplayName, AppField::DisplayName, installProperties, u"DisplayName");
  scan.ReadField(app.DisplayVersion, AppField::DisplayVersion, installProperties, u"DisplayVersion");
  scan.ReadField(app.InstallLocation, AppField::InstallLocation, installProperties, u"InstallLocation");
  scan.ReadField(app.InstallDate, AppField::InstallDate, installProperties, u"InstallDate");
  ReadLastWriteTime(installProperties, app.LastWriteTime);
  scan.ReadField(app.DisplayIcon, AppField::DisplayIcon, productKey, u"ProductIcon");
  scan.ReadField(app.DisplayIcon, AppField::DisplayIcon, installProperties, u"DisplayIcon");
  const std::u16string publisher = scan.ReadRuleValue(installProperties, u"Publisher");
  scan.ReadField(app.UninstallString, AppField::UninstallString, installProperties, u"UninstallString");
  const Verdict verdict = JudgeManagedEntry(app, publisher);
  // By design the origin is the key below HKEY_LOCAL_MACHINE, although the product belongs to a user.
  return AddIfAccepted(verdict, installProperties, std::move(app), scan);
}

Verdict FindProductInUserData(const std::u16string& packedCode, const std::u16string& sid,
                              const RegistryKey& userProducts, const RegistryKey& userData, Scan& scan) {
  const std::u16string productsPath = InstallerUserDataPath + u'\\' + sid + u"\\Products";
  const auto products = scan.OpenEntryKey(LocalMachineRoot(), productsPath, userData.view);
  if (!products) return Verdict::BranchUnopened;
  Verdict verdict = Verdict::NotInBranch;
  // Searches the list instead of opening the name: an open ignores case, and this comparison must not.
  for (const std::u16string& name : ListSubKeyNames(*products)) {
    if (name != packedCode) continue;
    const std::u16string propertiesPath = productsPath + u'\\' + name + u"\\InstallProperties";
    const auto installProperties = scan.OpenEntryKey(LocalMachineRoot(), propertiesPath, userData.view);
    verdict = Verdict::PropertiesUnopened;
    if (!installProperties) continue;
    verdict = Verdict::SystemComponent;
    if (IsFlagSet(scan.ReadRuleValue(*installProperties, u"SystemComponent"))) continue;
    const auto productKey = scan.OpenEntryKey(userProducts, packedCode, userProducts.view);
    verdict = Verdict::ProductKeyUnopened;
    if (!productKey) continue;
    return ReadUserProductEntry(*productKey, *installProperties, scan);
  }
  return verdict;
}

void ScanUserProducts(const RegistryKey& userProducts, const RegistryKey& userData, Scan& scan) {
  for (const std::u16string& packedCode : ListSubKeyNames(userProducts)) {
    scan.Notify(EntryBegun{ScanRoot::UserProducts, userProducts, packedCode, userData.view});
    const Verdict verdict = FindUserProduct(packedCode, userProducts, userData, scan);
    scan.Notify(EntryJudged{verdict});
  }
}

void ScanUserHives(Scan& scan) {
  for (const std::u16string& hive : ListSubKeyNames(UsersRoot())) ScanHive(hive, scan);
}

}  // namespace kestrelbay
