/** The records of an inventory, and the memory that they stand in. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "inventory/InstalledAppInfo.h"

namespace kestrelbay {

/** An InstalledAppInfo as it stands in a list. Its texts are the list's, and good as long as the list. */
struct AppRecord {
  std::u16string_view DisplayName;
  std::u16string_view InstallLocation;
  std::u16string_view DisplayVersion;
  std::u16string_view UninstallString;
  std::u16string_view rootKeyStr;
  std::u16string_view subKeyPath;
  RegistryView architecture = kDefaultView;
  std::u16string_view DisplayIcon;
  std::string_view IconText;
  std::u16string_view InstallDate;
  std::u16string_view LastWriteTime;
};

/** Empties a record, whose texts keep their memory for the next one. */
void Clear(InstalledAppInfo& record);

/** Memory that is taken piece by piece and freed all at once. */
class PieceMemory {
 public:
  /** @return room for that many bytes, aligned for a AppRecord; never null */
  std::byte* Take(std::size_t bytes);

 private:
  std::vector<std::unique_ptr<std::byte[]>> blocks;
  std::size_t nextBlockBytes = 0x1000;  // a list that is kept for good may hold a handful of records
  std::span<std::byte> rest;            // of the last block; of none where there are no blocks
};

/**
 * Finished records, in the order of the scan or in that in which clients see them.
 *
 * A record stands where it was appended, in one piece with its texts, however often the order changes. So a
 * long list is read in few places of memory, has few blocks to be freed, and is no second copy of its
 * records.
 */
class AppRecords {
 public:
  std::size_t size() const { return apps.size(); }
  bool empty() const { return apps.empty(); }
  const AppRecord& operator[](std::size_t index) const { return *apps[index]; }
  /** The records in list order; good until the list changes. */
  std::span<const AppRecord* const> Apps() const { return apps; }

  /** @return the copy in the list, which keeps its address */
  const AppRecord& Append(const InstalledAppInfo& record);
  /** Replaces the record's text, whose memory the list keeps all the same. */
  void SetIconText(std::size_t index, std::string_view text);
  /** Makes the list one of the records at these indexes, in their order. No index comes twice. */
  void Arrange(std::span<const std::uint32_t> indexes);

 private:
  PieceMemory memory;
  std::vector<AppRecord*> apps;
};

}  // namespace kestrelbay
