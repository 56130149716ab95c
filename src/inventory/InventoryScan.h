/** Which keys an inventory reads, and in which order. */
#pragma once

#include "inventory/ScanResult.h"

namespace kestrelbay {

/** Fills an empty list with everything that is installed, in the order of the scan. */
void ScanInventory(ScanResult& list);

}  // namespace kestrelbay
