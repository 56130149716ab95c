#include "simulated/volume/HiveDamage.h"

#include <algorithm>
#include <vector>

#include "simulated/base/LittleEndian.h"
#include "simulated/volume/HiveRecords.h"

namespace simulated {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kPageBytes = 0x1000;
/** The bins begin behind one page. Offsets in a hive count from there. */
constexpr std::size_t kHeaderBytes = kPageBytes;
constexpr std::size_t kBinHeaderBytes = 0x20;
/** Longer data is cut into segments of this size. */
constexpr std::size_t kSegmentBytes = 16344;
constexpr std::uint32_t kIsInline = 0x80000000;
constexpr std::size_t kToldBytes = 1 << 16;
/** A list of lists is as deep as it gets. */
constexpr int kDeepestList = 2;

/** Thrown and caught in this file alone. */
struct Damage {
  std::string what;
};

/** The two letters that a record begins with. */
constexpr std::uint16_t Kind(const char (&letters)[3]) {
  return static_cast<std::uint16_t>(letters[0] | letters[1] << 8);
}

/** What a header begins with: four letters. */
constexpr std::uint32_t Kind(const char (&letters)[5]) {
  return Kind({letters[0], letters[1], '\0'}) | std::uint32_t{Kind({letters[2], letters[3], '\0'})} << 16;
}

class Inspector {
 public:
  Inspector(Bytes file, std::atomic<std::uint64_t>& doneBytes) : file_(file), doneBytes_(doneBytes) {}

  void Inspect() {
    InspectHeader();
    InspectBins();
    // Each key takes more room than this: more of them than fit stand in a circle.
    std::size_t keysLeft = bins_.size() / KeyRecord::kName;
    for (keys_.push_back(Read32(file_, 0x24)); !keys_.empty(); --keysLeft) {
      if (keysLeft == 0) throw Damage{"its keys stand in a circle"};
      const std::uint32_t key = keys_.back();
      keys_.pop_back();
      InspectKey(key);
    }
    // What is free, or the hive's own.
    doneBytes_ += file_.size() - std::min(toldBytes_, file_.size());
  }

 private:
  [[noreturn]] static void FailAt(std::size_t offset, const char* what) {
    throw Damage{std::string(what) + " at byte " + std::to_string(kHeaderBytes + offset)};
  }

  void InspectHeader() {
    if (file_.empty()) throw Damage{"it is empty"};
    if (file_.size() < 4 || Read32(file_, 0) != Kind("regf"))
      throw Damage{"it does not begin as a hive does"};
    const std::size_t needed = file_.size() < kHeaderBytes ? 0 : Read32(file_, 0x28);
    if (needed == 0 || file_.size() - kHeaderBytes < needed)
      throw Damage{"it is cut off after " + std::to_string(file_.size()) + " bytes"};
    bins_ = file_.subspan(kHeaderBytes, needed);
  }

  void InspectBins() {
    for (std::size_t at = 0; at < bins_.size();) {
      const Bytes bin = bins_.subspan(at);
      const std::size_t size = bin.size() < kBinHeaderBytes ? 0 : Read32(bin, 8);
      if (size == 0 || Read32(bin, 0) != Kind("hbin") || Read32(bin, 4) != at || size % kPageBytes != 0 ||
          size > bin.size())
        FailAt(at, "a bin has no header");
      at += size;
    }
  }

  /** What is in a cell, a block of the hive that belongs to one thing. */
  Bytes Cell(std::uint32_t offset, std::size_t leastBytes, const char* what) {
    if (offset % 8 != 0 || offset >= bins_.size() - kCellHeaderBytes) FailAt(offset, what);
    // The size of a cell in use is negative.
    const std::size_t size = 0U - Read32(bins_, offset);
    if (size > bins_.size() - offset || size < kCellHeaderBytes + leastBytes) FailAt(offset, what);
    cellBytes_ += size;
    return bins_.subspan(offset + kCellHeaderBytes, size - kCellHeaderBytes);
  }

  void InspectKey(std::uint32_t offset) {
    const Bytes key = Cell(offset, KeyRecord::kName, "a key cannot be read");
    if (Read16(key, 0) != Kind("nk") || key.size() - KeyRecord::kName < Read16(key, KeyRecord::kNameBytes))
      FailAt(offset, "a key cannot be read");
    InspectSubKeys(offset, Read32(key, KeyRecord::kSubKeyCount), Read32(key, KeyRecord::kSubKeyList));
    InspectValues(Read32(key, KeyRecord::kValueCount), Read32(key, KeyRecord::kValueList));
    if (cellBytes_ - toldBytes_ < kToldBytes) return;
    doneBytes_ += cellBytes_ - toldBytes_;
    toldBytes_ = cellBytes_;
  }

  void InspectSubKeys(std::uint32_t key, std::size_t count, std::uint32_t list) {
    if (count == 0) return;
    const auto notedBefore = static_cast<std::ptrdiff_t>(keys_.size());
    if (InspectList(list, kDeepestList) != count) FailAt(key, "a key does not have the sub keys it should");
    // The first is looked at first: hives are mostly written in that order, and memory likes to be read so.
    std::reverse(keys_.begin() + notedBefore, keys_.end());
  }

  /** Notes down the sub keys to be looked at. @return how many there are */
  std::size_t InspectList(std::uint32_t offset, int deepest) {
    constexpr const char* kWhat = "a list of keys cannot be read";
    const Bytes list = Cell(offset, 4, kWhat);
    const std::uint16_t kind = Read16(list, 0);
    const bool isListOfLists = kind == Kind("ri");
    const bool hasHashes = kind == Kind("lf") || kind == Kind("lh");
    if ((!isListOfLists && !hasHashes && kind != Kind("li")) || deepest == 0) FailAt(offset, kWhat);
    const std::size_t count = Read16(list, 2), step = hasHashes ? 8 : 4;
    if ((list.size() - 4) / step < count) FailAt(offset, kWhat);
    std::size_t subKeys = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint32_t entry = Read32(list, 4 + i * step);
      if (!isListOfLists) keys_.push_back(entry);
      subKeys += isListOfLists ? InspectList(entry, deepest - 1) : 1;
    }
    return subKeys;
  }

  void InspectValues(std::uint32_t count, std::uint32_t offset) {
    if (count == 0) return;
    const Bytes list = Cell(offset, 0, "a list of values cannot be read");
    if (list.size() / 4 < count) FailAt(offset, "a list of values cannot be read");
    for (std::size_t i = 0; i < count; ++i) InspectValue(Read32(list, i * 4));
  }

  void InspectValue(std::uint32_t offset) {
    const Bytes value = Cell(offset, ValueRecord::kName, "a value cannot be read");
    const std::uint32_t bytes = Read32(value, ValueRecord::kDataBytes);
    const bool isInline = (bytes & kIsInline) != 0;
    if (Read16(value, 0) != Kind("vk") ||
        value.size() - ValueRecord::kName < Read16(value, ValueRecord::kNameBytes) ||
        (isInline && bytes - kIsInline > 4))
      FailAt(offset, "a value cannot be read");
    if (!isInline && bytes > 0) InspectData(Read32(value, ValueRecord::kData), bytes);
  }

  void InspectData(std::uint32_t offset, std::size_t bytes) {
    constexpr const char* kWhat = "a value's data cannot be read";
    const Bytes data = Cell(offset, 0, kWhat);
    if (data.size() >= bytes) return;
    const std::size_t segments = (bytes + kSegmentBytes - 1) / kSegmentBytes;
    if (data.size() < 8 || Read16(data, 0) != Kind("db") || Read16(data, 2) < segments) FailAt(offset, kWhat);
    const Bytes list = Cell(Read32(data, 4), segments * 4, kWhat);
    for (std::size_t i = 0; i < segments; ++i)
      Cell(Read32(list, i * 4), std::min(kSegmentBytes, bytes - i * kSegmentBytes), kWhat);
  }

  const Bytes file_;
  std::atomic<std::uint64_t>& doneBytes_;
  Bytes bins_;
  /** Those still to be looked at. */
  std::vector<std::uint32_t> keys_;
  /** Of all cells so far, and of those that were told as done. */
  std::size_t cellBytes_ = 0;
  std::size_t toldBytes_ = 0;
};

}  // namespace

std::optional<std::string> FindHiveDamage(Bytes file, std::atomic<std::uint64_t>& doneBytes) {
  try {
    Inspector(file, doneBytes).Inspect();
    return std::nullopt;
  } catch (const Damage& damage) {
    return damage.what;
  }
}

}  // namespace simulated
