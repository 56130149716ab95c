/**
 * A second and slow implementation of the inventory, with which tests compare that of the library.
 *
 * It shares only the record with the library. Each rule is implemented again, in the simplest way.
 */
#pragma once

#include <vector>

#include "HostCallbacks.h"
#include "PlainRegistry.h"
#include "inventory/InstalledAppInfo.h"

namespace kestrelbay {

using PlainRecords = std::vector<InstalledAppInfo>;

/** The merge rule, for a plain list. */
void AddNaively(PlainRecords& list, InstalledAppInfo record);
bool LessNaively(const InstalledAppInfo& left, const InstalledAppInfo& right);

/** @return the whole inventory; records of equal names are in the order of the scan */
PlainRecords ScanNaively(const PlainRegistry& registry);

/** @return a record as a host receives it */
ReceivedEntry AsReceived(const InstalledAppInfo& app);

}  // namespace kestrelbay
