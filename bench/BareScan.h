/** The floor of a scan: what the registry itself takes for the calls that a scan cannot do without. */
#pragma once

namespace bench {

/**
 * Makes the calls of ScanInstalledApps, the same ones with the same arguments in the same order, and does
 * ignores their results, except those on which the next call depends.
 *
 * Takes a machine as FilledMachine makes it: no entry lacks what a record needs, flags are numbers, and users
 * have no products of the installer. Where a user has some, it makes fewer calls than the scan.
 */
void BareScan();

}  // namespace bench
