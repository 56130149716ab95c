/** The keys that an inventory reads, and their order. */
#pragma once

#include "inventory/Scan.h"

namespace kestrelbay {

/** Fills an empty scan with the records of everything that is installed, in the order of the scan. */
void ScanInventory(Scan& scan);

}  // namespace kestrelbay
