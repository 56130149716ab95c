#include "inventory/InventoryScan.h"

#include "base/LoadTimeObjects.h"
#include "inventory/InstallerProductsScanner.h"
#include "inventory/UninstallKeyScanner.h"

namespace kestrelbay {
namespace {

std::unique_ptr<RegistryKey> OpenUninstallKey(const Scan& scan, RegistryView view) {
  return scan.OpenScanRoot(ScanRoot::UninstallKey, LocalMachineRoot(), UninstallKeyPath, view);
}

// The 32-bit view first: a record of the 64-bit view then meets it as the earlier one of its name. A view
// that does not open only adds nothing. Both keys stay open until both are read.
void ScanMachine(Scan& scan) {
  const auto uninstallKey32 = OpenUninstallKey(scan, k32BitView);
  ScanUninstallKey(uninstallKey32.get(), scan);
  const auto uninstallKey64 = OpenUninstallKey(scan, k64BitView);
  ScanUninstallKey(uninstallKey64.get(), scan);
}

}  // namespace

void ScanInventory(Scan& scan) {
  scan.productsKey =
      scan.OpenScanRoot(ScanRoot::InstallerProducts, LocalMachineRoot(), InstallerClassesPath, kDefaultView);
  // By design the whole inventory is empty without this key, including the users' hives.
  if (!scan.productsKey) return;
  // The order decides which record is the earlier one when two have the same name. HKEY_CURRENT_USER is not
  // read by itself: its hive is one of HKEY_USERS.
  ScanMachine(scan);
  ScanUserHives(scan);
  scan.productsKey.reset();
}

}  // namespace kestrelbay
