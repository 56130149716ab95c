/**
 * Reads a hive's keys and values from memory and checks every cell on the way.
 *
 * Windows uses each cell for one thing alone. A cell that is used twice is damage: so a forged hive costs no
 * more time and memory than its size allows.
 */
#pragma once

#include <cstdint>
#include <functional>
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

class HiveReader {
 public:
  /** Where a cell begins in the bins. */
  using Cell = std::uint32_t;
  using VisitCell = std::function<void(Cell)>;
  using Progress = std::function<void(std::size_t checkedBytes)>;

  struct Value {
    std::u16string name;
    std::uint32_t type;
    /** In the hive, or in the reader until it reads the next value. */
    HiveBytes data;
  };

  /** @param file  whole; must outlive the reader @throws HiveDamage if header or bins are damaged */
  explicit HiveReader(HiveBytes file);

  /**
   * Checks every key from the root on. The other functions require that it succeeded.
   * @param progress  called with the bytes that were checked since the last call; the file's in all
   * @return the latest last write time of a key, as a FILETIME
   * @throws HiveDamage that names the key
   */
  std::uint64_t CheckAll(const Progress& progress);

  Cell Root() const { return Read32(file_, HiveHeader::kRoot); }
  std::u16string NameOf(Cell key);
  /** Last write time as a FILETIME. */
  std::uint64_t TimeOf(Cell key) { return Read64(KeyAt(key), KeyRecord::kTime); }
  void ForEachSubKey(Cell key, const VisitCell& visit);
  void ForEachValue(Cell key, const VisitCell& visit);
  Value ReadValue(Cell value);

 private:
  void CheckBins();
  void CheckCellsOfBin(std::size_t at, std::size_t size);
  void CheckKey(Cell key);
  void TellProgress();
  std::string PathOfChecked();
  HiveBytes BytesOf(Cell cell, std::size_t leastBytes, const char* what) const;
  HiveBytes Use(Cell cell, std::size_t leastBytes, const char* what);
  HiveBytes KeyAt(Cell key) const;
  HiveBytes ValueAt(Cell value) const;
  std::size_t VisitList(Cell list, int deepest, const VisitCell& visit);
  HiveBytes DataOf(HiveBytes value);
  HiveBytes JoinSegments(HiveBytes head, std::size_t bytes, Cell data);

  const HiveBytes file_;
  HiveBytes bins_;
  /** By eighths of the cells' offsets: where a cell in use begins. */
  std::vector<bool> isCell_;
  /** While all is checked: the cells that nothing was seen to use. */
  std::vector<bool> isUnseen_;
  bool isChecking_ = false;
  std::size_t checkedBytes_ = 0;
  std::size_t toldBytes_ = 0;
  std::uint64_t newestTime_ = 0;
  /** From the root to the key that is checked. */
  std::vector<Cell> path_;
  const Progress* progress_ = nullptr;
  std::vector<std::uint8_t> joined_;
};

}  // namespace simulated
