/** A scan's ways to the registry: those of RegistryKey.h, told to the scan's observer where there is one. */
#pragma once

#include <memory>
#include <string>

#include "inventory/ScanEvents.h"

namespace kestrelbay {

/**
 * Opens a key that the scan needs for the entry at hand.
 * @param observer  null where nobody observes, here and below
 * @return null where it does not open, here and below
 */
std::unique_ptr<RegistryKey> OpenEntryKey(const ScanObserver* observer, const RegistryKey& parent,
                                          const std::u16string& path, RegistryView view);
/** Opens a key of the scan's own path, below which entries stand. */
std::unique_ptr<RegistryKey> OpenScanRoot(const ScanObserver* observer, ScanRoot place,
                                          const RegistryKey& root, const std::u16string& path,
                                          RegistryView view);

/** Reads a value that decides on an entry and is not kept. */
std::u16string ReadRuleValue(const ScanObserver* observer, const RegistryKey& key, const char16_t* name);

/** Reads a value, in any case, and takes it into the text of `field` where that is still empty. */
void ReadField(const ScanObserver* observer, std::u16string& fieldText, AppField field,
               const RegistryKey& key, const char16_t* name);

/** Makes the record stand for `key`: its place and view. Its time is read before, in its turn. */
void CopyKeyOrigin(const ScanObserver* observer, InstalledAppInfo& app, const RegistryKey& key);

}  // namespace kestrelbay
