/** A list of records. */
#pragma once

#include <list>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>

#include "inventory/InstalledAppInfo.h"

namespace kestrelbay {

/** An InstalledAppInfo in a list. The list owns the wide texts. */
struct AppRecord {
  std::u16string_view DisplayName;
  std::u16string_view InstallLocation;
  std::u16string_view DisplayVersion;
  std::u16string_view UninstallString;
  std::u16string_view rootKeyStr;
  std::u16string_view subKeyPath;
  RegistryView architecture = kDefaultView;
  std::u16string_view DisplayIcon;
  std::string IconText;
  std::u16string_view InstallDate;
  std::u16string_view LastWriteTime;
};

/**
 * Records in the order of the scan or in the order that clients see. A record keeps its address until it is
 * erased, and its texts as long as the list.
 */
class AppRecords {
 public:
  using Iterator = std::pmr::list<AppRecord>::iterator;

  AppRecords() = default;
  AppRecords(AppRecords&&) = default;
  AppRecords& operator=(AppRecords&&) = delete;

  std::size_t size() const { return apps_.size(); }
  bool empty() const { return apps_.empty(); }
  Iterator begin() { return apps_.begin(); }
  Iterator end() { return apps_.end(); }
  auto begin() const { return apps_.begin(); }
  auto end() const { return apps_.end(); }

  /** Appends a copy of `app`. @return its position */
  Iterator Append(const InstalledAppInfo& app);
  /** Removes a record. The list keeps its texts. */
  void Erase(Iterator app) { apps_.erase(app); }
  /** Sorts by AppNameLess. Equal names keep their order. */
  void SortByName();

 private:
  std::u16string_view Copy(std::u16string_view text);

  /** One block after the other, so that a record and its texts are neighbours: a list of 100,000 records with
   *  a block for each text takes twice as long. */
  std::unique_ptr<std::pmr::monotonic_buffer_resource> memory_ =
      std::make_unique<std::pmr::monotonic_buffer_resource>();
  std::pmr::list<AppRecord> apps_{memory_.get()};
};

}  // namespace kestrelbay
