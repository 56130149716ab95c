/**
 * Scans the hives of the users: their uninstall keys and their installer products. The properties of these
 * products are in the UserData tree of the machine. Failures are as in UninstallKeyScanner.h.
 */
#pragma once

#include <string>

#include "base/RegistryKey.h"
#include "inventory/Scan.h"

namespace kestrelbay {

/** Scans each hive of HKEY_USERS, in the order of the registry. */
void ScanUserHives(Scan& scan);

/**
 * Searches UserData for each product of one hive. By design the first branch that yields a record counts,
 * even if it is the branch of another user.
 * @param userData  opened in one view, which becomes the architecture of the records
 */
void ScanUserProducts(const RegistryKey& userProducts, const RegistryKey& userData, Scan& scan);

/**
 * @param sid  name of the branch of one user below UserData
 * @return Accepted if a record was added, else the reason
 */
Verdict FindProductInUserData(const std::u16string& packedCode, const std::u16string& sid,
                              const RegistryKey& userProducts, const RegistryKey& userData, Scan& scan);

/** @return Accepted if a record was added */
Verdict ReadUserProductEntry(const RegistryKey& productKey, const RegistryKey& installProperties, Scan& scan);

}  // namespace kestrelbay
