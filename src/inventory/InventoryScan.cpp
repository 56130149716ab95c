#include "inventory/InventoryScan.h"

#include "base/LoadTimeObjects.h"
#include "inventory/InstallerProductsScanner.h"
#include "inventory/ObservedReads.h"
#include "inventory/UninstallKeyScanner.h"

namespace kestrelbay {
namespace {

std::unique_ptr<RegistryKey> OpenUninstallKey(const ScanObserver* observer, RegistryView view) {
  return OpenScanRoot(observer, ScanRoot::UninstallKey, LocalMachineRoot(), UninstallKeyPath, view);
}

void ScanMachine(const RegistryKey& productsKey, ScanResult& list) {
  const auto uninstallKey32 = OpenUninstallKey(list.observer, k32BitView);
  ScanUninstallKey(uninstallKey32.get(), productsKey, list);
  const auto uninstallKey64 = OpenUninstallKey(list.observer, k64BitView);
  ScanUninstallKey(uninstallKey64.get(), productsKey, list);
}

}  // namespace

void ScanInventory(ScanResult& list) {
  const auto productsKey = OpenScanRoot(list.observer, ScanRoot::InstallerProducts, LocalMachineRoot(),
                                        InstallerClassesPath, kDefaultView);
  // Without this key the whole inventory is empty, the users' hives included, and that is meant.
  if (!productsKey) return;
  ScanMachine(*productsKey, list);
  ScanUserHives(list, *productsKey);
}

}  // namespace kestrelbay
