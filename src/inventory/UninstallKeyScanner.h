/**
 * Turns the sub keys of an uninstall key into records.
 *
 * A scan has no failure result: a key that does not open drops out with all below it, and a value that cannot
 * be read is the empty text. Each scan has its own list and keys, so any number may run at once.
 */
#pragma once

#include <string>
#include <string_view>

#include "base/RegistryKey.h"
#include "inventory/Scan.h"

namespace kestrelbay {

/**
 * @param uninstallKey  null adds nothing
 */
void ScanUninstallKey(const RegistryKey* uninstallKey, Scan& scan);

/** Treats one entry that the installer does not manage. @return Accepted when a record was handed on */
Verdict ReadPlainUninstallEntry(const RegistryKey& subKey, const std::u16string& subKeyName, Scan& scan);

/**
 * Treats one entry that the installer manages: its product key, where there is one, names it first.
 * @return Accepted when a record was handed on
 */
Verdict ReadInstallerUninstallEntry(const std::u16string& subKeyName, const RegistryKey& subKey, Scan& scan);

/** The filters of an entry that the installer manages, in their order. */
Verdict JudgeManagedEntry(const InstalledAppInfo& app, std::u16string_view publisher);

/** Where the verdict is Accepted, adds the record to the list as the entry of `key`. @return the verdict */
Verdict AddIfAccepted(Verdict verdict, const RegistryKey& key, InstalledAppInfo app, Scan& scan);

/** @return Accepted, or why the entry is an update and no application. Comparisons are exact. */
Verdict JudgeUpdate(std::u16string_view subKeyName, std::u16string_view parentKeyName,
                    std::u16string_view releaseType);

/**
 * Packs a product code, a GUID in its registry form, into the name under which product keys stand.
 * @return empty for a text that has no such form; case is kept
 */
std::u16string PackProductCode(std::u16string_view productCode);

/** Whether a flag value such as SystemComponent is set: its text begins with the number 1. */
bool IsFlagSet(const std::u16string& text);

}  // namespace kestrelbay
