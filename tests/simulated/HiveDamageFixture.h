/** A volume whose SOFTWARE a test damages, byte by byte. */
#pragma once

#include <gmock/gmock.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <stdexcept>

#include "HiveFile.h"
#include "MachineFolder.h"
#include "simulated/base/LittleEndian.h"
#include "simulated/base/WideText.h"

namespace simulated {

/** Sorted paths of keys and values below SOFTWARE; the name of a value follows a colon. */
using Names = std::vector<std::string>;

inline constexpr std::size_t kPageBytes = 4096;
inline constexpr std::size_t kBeforeKeysName = 76, kBeforeValuesName = 20;
inline constexpr std::size_t kSizeBytes = 4;
/** Offsets in a key record. */
inline constexpr std::size_t kParent = 16, kSubKeyCount = 20, kSubKeyList = 28, kValueCount = 36,
                             kValueList = 40, kNameSize = 72;
/** Offsets in a value record. */
inline constexpr std::size_t kDataSize = 4, kData = 8;

inline void AddNames(Key& key, const std::string& path, Names& names) {
  for (std::size_t i = 0; i < key.ValueCount(); ++i)
    names.push_back(path + ":" + ToUtf8(key.ValueAt(i).name));
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i) {
    Key& subKey = key.SubKeyAt(i);
    names.push_back((path.empty() ? "" : path + "\\") + ToUtf8(subKey.Name()));
    AddNames(subKey, std::string(names.back()), names);
  }
}

inline void ReadAll(Key& key) {
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i) ReadAll(key.SubKeyAt(i));
}

/** The most memory of the process since ResetPeak, in bytes. */
inline std::size_t Peak() {
  std::ifstream status("/proc/self/status");
  for (std::string field; status >> field;) {
    std::size_t kibibytes = 0;
    if (field == "VmHWM:" && status >> kibibytes) return kibibytes * 1024;
  }
  throw std::runtime_error("the kernel does not report the peak of memory");
}

/** @return the memory of the process now, which is the new peak */
inline std::size_t ResetPeak() {
  malloc_trim(0);
  if (!(std::ofstream("/proc/self/clear_refs") << 5 << std::flush))
    throw std::runtime_error("the kernel does not reset the peak of memory");
  return Peak();
}

inline std::string LittleEndian(std::size_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> 8 * i);
  return bytes;
}

class HiveDamageTest : public MachineFolder {
 protected:
  HiveDamageTest() {
    {
      HiveFile software(folder / kSoftware);
      software.SetText("Above\\Wanted", "Number", "a text of some length");
      software.SetBytes("Holder", "Forged", std::string(100, 'x'));
      for (int i = 0; i < 200; ++i) software.SetText("Many\\Key" + std::to_string(i), "value", "text");
      HiveFile system(folder / "Windows/System32/config/SYSTEM");
      system.Add("ControlSet001");
      system.SetBytes("Select", "Current", LittleEndian(1), 4);
    }
    Load();
    whole = Read();
  }
  void Load() { hive_ = Files().at(kSoftware); }
  const std::string& Hive() const { return hive_; }
  std::size_t KeyAt(std::string_view name) const {
    const std::size_t at = Hive().find(name) - kBeforeKeysName;
    EXPECT_EQ(Hive().substr(at, 2), "nk");
    return at;
  }
  std::size_t ValueAt(std::string_view name) const {
    const std::size_t at = Hive().find(name) - kBeforeValuesName;
    EXPECT_EQ(Hive().substr(at, 2), "vk");
    return at;
  }
  /** Reads the offset of a cell at `at`. Returns the position of the cell's contents in the file. */
  std::size_t CellAt(std::size_t at) const {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(hive_.data()), hive_.size());
    return kPageBytes + Read32(bytes, at) + kSizeBytes;
  }
  /** Changes the hive in memory. Save writes it. */
  void Put(std::size_t at, std::string_view bytes) {
    hive_.replace(at, bytes.size(), std::string(bytes));
    isChanged_ = true;
  }
  void PutChecksum() {
    std::uint32_t sum = 0;
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(hive_.data()), hive_.size());
    for (std::size_t at = 0; at < 508; at += 4) sum ^= Read32(bytes, at);
    Put(508, LittleEndian(sum));
  }
  void Save() {
    if (std::exchange(isChanged_, false)) Write(kSoftware, hive_);
  }
  /** Opens the machine and reads all of its SOFTWARE. */
  Names Read() {
    Save();
    const auto machine = Open();
    Names names;
    AddNames(*machine->registry.Find(u"HKEY_LOCAL_MACHINE\\SOFTWARE"), "", names);
    std::ranges::sort(names);
    return names;
  }
  void ExpectRefused(std::string_view what) {
    Save();
    EXPECT_THAT(Refusal(),
                testing::AllOf(testing::StartsWith((folder / kSoftware).string() + ": the hive is damaged: "),
                               testing::HasSubstr(what)));
  }
  /** Expects that only `lost` is missing, and that one line reports `what` at the key `path`. */
  void ExpectLost(const Names& lost, std::string_view path, std::string_view what) {
    const Names left = Read();
    Names missing, added;
    std::ranges::set_difference(whole, left, std::back_inserter(missing));
    std::ranges::set_difference(left, whole, std::back_inserter(added));
    EXPECT_EQ(missing, lost);
    EXPECT_THAT(added, testing::IsEmpty());
    const std::string line =
        (folder / kSoftware).string() + ": HKEY_LOCAL_MACHINE\\SOFTWARE\\" + std::string(path) + ": ";
    EXPECT_THAT(damages,
                testing::ElementsAre(testing::AllOf(testing::StartsWith(line), testing::HasSubstr(what))));
  }
  void ExpectStopped() {
    constexpr std::size_t kMostPerByte = 16, kRest = 1 << 20;
    Save();
    const std::size_t before = mallinfo2().uordblks;
    const std::size_t peakBefore = ResetPeak();
    const auto begin = std::chrono::steady_clock::now();
    const auto machine = Open();
    ReadAll(*machine->registry.Find(u"HKEY_LOCAL_MACHINE\\SOFTWARE"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_LT(mallinfo2().uordblks - before, kMostPerByte * Hive().size() + kRest);
    // A sanitizer's allocator needs more, and counts nothing for mallinfo2.
    if (before > 0) {
      EXPECT_LT(Peak() - peakBefore, kMostPerByte * Hive().size() + kRest);
    }
    EXPECT_THAT(damages.back(),
                testing::HasSubstr("would take more than 16 times its size; the rest is left out"));
    EXPECT_LE(damages.size(), 52U);
  }

  Names whole;

 private:
  std::string hive_;
  bool isChanged_ = false;
};

}  // namespace simulated
