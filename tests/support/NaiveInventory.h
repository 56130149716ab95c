/**
 * A second, slow answer to what is installed, against which the library's own is judged.
 *
 * It shares nothing with the library but the record: every rule is written out once more, and nothing is
 * clever.
 */
#pragma once

#include <vector>

#include "HostCallbacks.h"
#include "PlainRegistry.h"
#include "inventory/InstalledAppInfo.h"

namespace kestrelbay {

using PlainRecords = std::vector<InstalledAppInfo>;

/** The merge rule, over a plain list. */
void AddNaively(PlainRecords& list, InstalledAppInfo record);
bool LessNaively(const InstalledAppInfo& left, const InstalledAppInfo& right);

/** The whole inventory; records of equal names stand in the order in which the scan left them. */
PlainRecords ScanNaively(const PlainRegistry& registry);

/** A record as a host receives it. */
ReceivedEntry AsReceived(const InstalledAppInfo& app);

}  // namespace kestrelbay
