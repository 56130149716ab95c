/** One scan of the registry: its reads, its records and its observer. */
#pragma once

#include <list>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "inventory/AppRecords.h"
#include "inventory/ScanEvents.h"

namespace kestrelbay {

/**
 * Reads the registry for the scanners and collects their records.
 *
 * Reports each read and each decision to the observer, if there is one. Not thread-safe; any number of scans
 * may run at once.
 */
class Scan {
 public:
  /** @param observer  borrowed; null in every scan except that of an explanation */
  explicit Scan(const ScanObserver* observer = nullptr) : observer_(observer) {}

  /** The machine's installer products, in which managed entries find their names. Set by ScanInventory. */
  std::unique_ptr<RegistryKey> productsKey;

  /** Opens a key below which entries are, or without which nothing is read. @return null on failure */
  std::unique_ptr<RegistryKey> OpenScanRoot(ScanRoot scanRoot, const RegistryKey& root,
                                            const std::u16string& path, RegistryView view) const;
  /** Opens a key that belongs to the current entry. @return null on failure */
  std::unique_ptr<RegistryKey> OpenEntryKey(const RegistryKey& parent, const std::u16string& path,
                                            RegistryView view) const;

  /** Reads a value that decides about an entry and is not kept. @return empty on failure */
  std::u16string ReadRuleValue(const RegistryKey& key, const char16_t* name) const;
  /** Reads a value, even if `text` is not empty; stores it in `text`, the text of `field`, only if that is.
   */
  void ReadField(std::u16string& text, AppField field, const RegistryKey& key, const char16_t* name) const;
  /** Copies root, path and view of `key` into the record. */
  void CopyKeyOrigin(InstalledAppInfo& app, const RegistryKey& key) const;

  /**
   * Appends a record, or merges it with the first record of exactly its name if the two agree. A merged
   * record is at the end of the list and has the registry path of the earlier one.
   */
  void AddOrMergeApp(InstalledAppInfo record);

  /** Ends the scan. @return its records in list order; the scan adds no more */
  AppRecords TakeApps() { return std::move(apps_); }

  template <class Event>
  void Notify(const Event& event) const {
    if (observer_) [[unlikely]]
      (*observer_)(event);
  }

 private:
  const ScanObserver* const observer_;
  AppRecords apps_;
  std::pmr::monotonic_buffer_resource indexMemory_;
  /** The records of each name, in list order. Without it, the time per entry grows with their number. */
  std::pmr::unordered_map<std::u16string_view, std::pmr::list<AppRecords::Iterator>> appsByName_{
      &indexMemory_};
};

}  // namespace kestrelbay
