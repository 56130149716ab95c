/**
 * Scans the user hives: each hive's uninstall key, and its installer products, whose properties stand in the
 * machine's UserData tree. Failure and threads are as in UninstallKeyScanner.h.
 */
#pragma once

#include <string>

#include "base/RegistryKey.h"
#include "inventory/Scan.h"

namespace kestrelbay {

/** Scans each hive of HKEY_USERS, in the order of the registry. */
void ScanUserHives(Scan& scan);

/**
 * Looks each product of one hive up below every user of UserData. The first user whose branch yields a record
 * wins, whether or not that is the user of the hive.
 * @param userData  in one view, which becomes the records' architecture
 */
void ScanUserProducts(const RegistryKey& userProducts, const RegistryKey& userData, Scan& scan);

/**
 * @param sid  name of a user's branch below UserData
 * @return Accepted when a record was handed on, else why this branch yields none
 */
Verdict FindProductInUserData(const std::u16string& packedCode, const std::u16string& sid,
                              const RegistryKey& userProducts, const RegistryKey& userData, Scan& scan);

/** @return Accepted when a record was handed on */
Verdict ReadUserProductEntry(const RegistryKey& productKey, const RegistryKey& installProperties, Scan& scan);

}  // namespace kestrelbay
