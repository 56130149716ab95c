/**
 * Turns the subkeys of an uninstall key into records.
 *
 * A scan has no failure result: it skips a key that does not open, and a value that cannot be read is the
 * empty text.
 */
#pragma once

#include <string>
#include <string_view>

#include "base/RegistryKey.h"
#include "inventory/Scan.h"

namespace kestrelbay {

/** @param uninstallKey  null adds nothing */
void ScanUninstallKey(const RegistryKey* uninstallKey, Scan& scan);

/** Reads an entry that the installer does not manage. @return Accepted if a record was added */
Verdict ReadPlainUninstallEntry(const RegistryKey& subKey, const std::u16string& subKeyName, Scan& scan);

/**
 * Reads an entry that the installer manages. Name and icon of its product key, if it has one, come first.
 * @return Accepted if a record was added
 */
Verdict ReadInstallerUninstallEntry(const std::u16string& subKeyName, const RegistryKey& subKey, Scan& scan);

/** Applies the filters of an entry that the installer manages, in their order. */
Verdict JudgeManagedEntry(const InstalledAppInfo& app, std::u16string_view publisher);

/** Adds the record as the entry of `key` if the verdict is Accepted. @return the verdict */
Verdict AddIfAccepted(Verdict verdict, const RegistryKey& key, InstalledAppInfo app, Scan& scan);

/** @return Accepted, or the rule by which the entry is an update. Comparisons are exact. */
Verdict JudgeUpdate(std::u16string_view subKeyName, std::u16string_view parentKeyName,
                    std::u16string_view releaseType);

/**
 * Packs a product code, a GUID in its registry form, into the name of its product key. Keeps the case.
 * @return empty for a text that has no such form
 */
std::u16string PackProductCode(std::u16string_view productCode);

/** @return whether a flag such as SystemComponent is set: its text begins with the number 1 */
bool IsFlagSet(const std::u16string& text);

}  // namespace kestrelbay
