/**
 * Reads a hive's keys and values from memory and checks each cell that it reads.
 *
 * If a cell is damaged, only the key or value that needs it is lost. No real hive shares cells between keys,
 * but a forged one may. So the reader counts all bytes that it reads, and each damage that it finds, and
 * stops at 16 times the size of the bins, which limits time and memory. Not thread-safe.
 */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulated/volume/HiveRecords.h"

namespace simulated {

/** Damage of a hive. what() names it in a few words. Hive catches it. */
class HiveDamage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** The reader has reached its limit. Each later read throws this, too. */
class HiveExhausted : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class HiveReader {
 public:
  /** Offset of a cell in the bins. */
  using Cell = std::uint32_t;

  struct SubKey {
    Cell key;
    /** Lists of Windows XP and later have it. */
    std::optional<std::uint32_t> nameHash;
  };
  /** The part of a list that can be read. `damage` says what is missing; empty if nothing. */
  template <typename Item>
  struct List {
    std::vector<Item> items;
    std::string damage;
  };
  struct Value {
    std::u16string name;
    std::uint32_t type;
    /** Borrowed from the file or the reader: valid while both exist. */
    HiveBytes data;
  };

  /**
   * @param file         whole; must outlive the reader
   * @param storedBytes  size of the file without the holes of a sparse file, which count as nothing
   * @throws HiveDamage if header or root are damaged
   */
  HiveReader(HiveBytes file, std::size_t storedBytes);

  Cell Root() const { return Read32(file_, HiveHeader::kRoot); }
  List<SubKey> SubKeysOf(Cell key);
  List<Cell> ValuesOf(Cell key);
  /** @throws HiveDamage if the key cannot be read */
  std::u16string NameOf(Cell key);
  /** For messages about a key that cannot be read: its name if the record seems to hold one, else "?". */
  std::u16string LikelyNameOf(Cell key) const;
  /** Last write time as a FILETIME. REQUIRES: NameOf has read the key, or it is the root. */
  std::uint64_t TimeOf(Cell key) { return Read64(KeyAt(key), KeyRecord::kTime); }
  /** @throws HiveDamage if the value or its data cannot be read */
  Value ReadValue(Cell value);

  /** Whether `hash` may be the one of that name in a list of subkeys. */
  static bool IsNameHash(std::uint32_t hash, const std::u16string& name);
  /** Whether the key's record names another parent than the key that lists it. False if it names none. */
  bool HasOtherParent(Cell key, Cell parent);
  /** The latest last write time of a key, as a FILETIME. Reads the whole file. */
  std::uint64_t NewestTime() const;

 private:
  void Spend(std::size_t bytes);
  /** @throws HiveDamage, or HiveExhausted if there were too many */
  [[noreturn]] void Fail(const char* what, Cell cell);
  HiveBytes BytesOf(Cell cell, std::size_t leastBytes, const char* what);
  HiveBytes KeyAt(Cell key);
  HiveBytes ValueAt(Cell value);
  void AddSubKeys(Cell cell, int deepest, List<SubKey>& subKeys);
  HiveBytes DataOf(Cell value, HiveBytes record);
  HiveBytes JoinSegments(Cell data, HiveBytes head, std::size_t bytes);

  const HiveBytes file_;
  HiveBytes bins_;
  std::size_t leftToSpend_ = 0;
  /** Joined data that was stored in segments, by cell and size. Values with the same cell use it together. */
  std::map<std::pair<Cell, std::size_t>, std::vector<std::uint8_t>> joined_;
};

}  // namespace simulated
