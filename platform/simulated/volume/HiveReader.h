/**
 * Reads a hive's keys and values from memory and checks each cell that it reads.
 *
 * A damaged cell costs only the key or value that needs it. Cells may be shared, which no real hive does: the
 * reader counts all that it reads and stops at 16 times the file's size, so that a forged hive costs no more
 * time and memory than its size allows. Not thread-safe.
 */
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "simulated/volume/HiveRecords.h"

namespace simulated {

/** Damage of a hive: what() names it in a few words. Thrown to the module's own callers alone. */
class HiveDamage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** The reader has read as much as the file's size allows. Each later read throws this, too. */
class HiveExhausted : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class HiveReader {
 public:
  /** Where a cell begins in the bins. */
  using Cell = std::uint32_t;

  /** The cells of a list that can be read. `damage` says what is missing; empty if nothing. */
  struct Cells {
    std::vector<Cell> cells;
    std::string damage;
  };
  struct Value {
    std::u16string name;
    std::uint32_t type;
    /** In the file or in the reader: valid as long as both. */
    HiveBytes data;
  };

  /** @param file  whole; must outlive the reader @throws HiveDamage if header or root are damaged */
  explicit HiveReader(HiveBytes file);

  Cell Root() const { return Read32(file_, HiveHeader::kRoot); }
  Cells SubKeysOf(Cell key);
  Cells ValuesOf(Cell key);
  /** @throws HiveDamage if the key cannot be read */
  std::u16string NameOf(Cell key);
  /** The name of a key that cannot be read, if there is one in its place; else "?". */
  std::u16string LikelyNameOf(Cell key) const;
  /** Last write time as a FILETIME. REQUIRES: NameOf has read the key, or it is the root. */
  std::uint64_t TimeOf(Cell key) const { return Read64(KeyAt(key), KeyRecord::kTime); }
  /** @throws HiveDamage if the value or its data cannot be read */
  Value ReadValue(Cell value);

  /** Whether the key's record names another parent than the key that lists it. Names none: false. */
  bool HasOtherParent(Cell key, Cell parent) const;
  /** The latest last write time of a key, as a FILETIME. Reads the whole file. */
  std::uint64_t NewestTime() const;

 private:
  void Spend(std::size_t bytes);
  HiveBytes BytesOf(Cell cell, std::size_t leastBytes, const char* what) const;
  HiveBytes KeyAt(Cell key) const;
  HiveBytes ValueAt(Cell value) const;
  void AddSubKeys(Cell list, int deepest, Cells& subKeys);
  HiveBytes DataOf(Cell value, HiveBytes record);
  HiveBytes JoinSegments(Cell data, HiveBytes head, std::size_t bytes);

  const HiveBytes file_;
  HiveBytes bins_;
  std::size_t leftToSpend_;
  /** Data that is stored in segments, by its cell and size. Values that share it share this. */
  std::map<std::pair<Cell, std::size_t>, std::vector<std::uint8_t>> joined_;
};

}  // namespace simulated
