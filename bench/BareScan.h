/** The lower bound of a scan: its calls of the registry, without the library. */
#pragma once

namespace bench {

/**
 * Makes the calls of ScanInstalledApps, with the same arguments in the same order. Ignores their results,
 * except those on which the next call depends.
 *
 * REQUIRES: a machine of FilledMachine, where each entry has all values of a record, flags are numbers, and
 * users have no installer products. If a user has products, it makes fewer calls than the scan.
 */
void BareScan();

}  // namespace bench
