#include "simulated/volume/HiveReader.h"

#include <algorithm>

#include "simulated/base/WideText.h"

namespace simulated {
namespace {

constexpr std::size_t kBinHeaderBytes = 0x20;
/** Longer data is cut into segments of this size. */
constexpr std::size_t kSegmentBytes = 16344;
constexpr std::uint32_t kIsInline = 0x80000000;
/** A list of lists is the deepest. */
constexpr int kDeepestList = 2;
/** Far more than Windows allows. */
constexpr std::size_t kDeepestKey = 2000;
constexpr const char* kNoKey = "a key cannot be read";
constexpr const char* kNoValue = "a value cannot be read";
constexpr const char* kNoData = "a value's data cannot be read";

[[noreturn]] void FailAt(std::size_t offset, const char* what) {
  throw HiveDamage(std::string(what) + " at byte " + std::to_string(HiveHeader::kBytes + offset));
}

template <typename Record>
std::u16string NameIn(HiveBytes record) {
  const HiveBytes stored = record.subspan(Record::kName, Read16(record, Record::kNameBytes));
  if (Read16(record, Record::kFlags) & Record::kHasLatin1Name)
    return std::u16string(stored.begin(), stored.end());
  std::u16string name(stored.size() / 2, u'\0');
  for (std::size_t i = 0; i < name.size(); ++i) name[i] = static_cast<char16_t>(Read16(stored, i * 2));
  return name;
}

}  // namespace

HiveReader::HiveReader(HiveBytes file) : file_(file) {
  if (file.empty()) throw HiveDamage("it is empty");
  if (file.size() < 4 || Read32(file, 0) != Kind("regf"))
    throw HiveDamage("it does not begin as a hive does");
  const std::size_t binsBytes = file.size() < HiveHeader::kBytes ? 0 : Read32(file, HiveHeader::kBinsBytes);
  if (binsBytes == 0 || file.size() - HiveHeader::kBytes < binsBytes)
    throw HiveDamage("it is cut off after " + std::to_string(file.size()) + " bytes");
  bins_ = file.subspan(HiveHeader::kBytes, binsBytes);
  CheckBins();
}

void HiveReader::CheckBins() {
  isCell_.resize(bins_.size() / 8);
  for (std::size_t at = 0; at < bins_.size();) {
    const HiveBytes bin = bins_.subspan(at);
    const std::size_t size = bin.size() < kBinHeaderBytes ? 0 : Read32(bin, 8);
    if (size == 0 || Read32(bin, 0) != Kind("hbin") || Read32(bin, 4) != at ||
        size % HiveHeader::kBytes != 0 || size > bin.size())
      FailAt(at, "a bin has no header");
    CheckCellsOfBin(at, size);
    at += size;
  }
}

void HiveReader::CheckCellsOfBin(std::size_t at, std::size_t size) {
  for (std::size_t cell = at + kBinHeaderBytes; cell < at + size;) {
    const std::uint32_t stored = Read32(bins_, cell);
    const bool isUsed = (stored & 0x80000000) != 0;
    const std::uint32_t bytes = isUsed ? 0U - stored : stored;
    if (bytes == 0 || bytes % 8 != 0 || bytes > at + size - cell) FailAt(cell, "a block has no size");
    isCell_[cell / 8] = isUsed;
    cell += bytes;
  }
}

std::uint64_t HiveReader::CheckAll(const Progress& progress) {
  isUnseen_ = isCell_;
  isChecking_ = true;
  progress_ = &progress;
  try {
    CheckKey(Root());
  } catch (const HiveDamage& damage) {
    throw HiveDamage(damage.what() + PathOfChecked());
  }
  isChecking_ = false;
  isUnseen_ = {};
  // The rest is free, or the hive's own.
  progress(file_.size() - toldBytes_);
  return newestTime_;
}

void HiveReader::CheckKey(Cell key) {
  path_.push_back(key);
  if (path_.size() > kDeepestKey) FailAt(key, "keys are nested too deep");
  Use(key, KeyRecord::kName, kNoKey);
  newestTime_ = std::max(newestTime_, TimeOf(key));
  ForEachValue(key, [this](Cell value) {
    Use(value, ValueRecord::kName, kNoValue);
    DataOf(ValueAt(value));
  });
  ForEachSubKey(key, [this](Cell subKey) { CheckKey(subKey); });
  TellProgress();
  path_.pop_back();
}

void HiveReader::TellProgress() {
  constexpr std::size_t kToldBytes = 1 << 16;
  if (checkedBytes_ - toldBytes_ < kToldBytes) return;
  (*progress_)(checkedBytes_ - toldBytes_);
  toldBytes_ = checkedBytes_;
}

/** Empty at the root, whose name means nothing. The last key may be the damaged one. */
std::string HiveReader::PathOfChecked() {
  std::u16string path;
  for (std::size_t i = 1; i < path_.size(); ++i) {
    try {
      path += (path.empty() ? u"" : u"\\") + NameOf(path_[i]);
    } catch (const HiveDamage&) {
      path += path.empty() ? u"" : u"\\";
    }
  }
  return path.empty() ? "" : ", at its key " + ToUtf8(path);
}

HiveBytes HiveReader::BytesOf(Cell cell, std::size_t leastBytes, const char* what) const {
  if (cell % 8 != 0 || cell / 8 >= isCell_.size() || !isCell_[cell / 8]) FailAt(cell, what);
  const std::size_t size = 0U - Read32(bins_, cell);
  if (size < kCellHeaderBytes + leastBytes) FailAt(cell, what);
  return bins_.subspan(cell + kCellHeaderBytes, size - kCellHeaderBytes);
}

HiveBytes HiveReader::Use(Cell cell, std::size_t leastBytes, const char* what) {
  const HiveBytes bytes = BytesOf(cell, leastBytes, what);
  if (!isChecking_) return bytes;
  if (!isUnseen_[cell / 8]) FailAt(cell, "a block is used twice");
  isUnseen_[cell / 8] = false;
  checkedBytes_ += kCellHeaderBytes + bytes.size();
  return bytes;
}

HiveBytes HiveReader::KeyAt(Cell key) const {
  const HiveBytes bytes = BytesOf(key, KeyRecord::kName, kNoKey);
  if (Read16(bytes, 0) != Kind("nk") ||
      bytes.size() - KeyRecord::kName < Read16(bytes, KeyRecord::kNameBytes))
    FailAt(key, kNoKey);
  return bytes;
}

HiveBytes HiveReader::ValueAt(Cell value) const {
  const HiveBytes bytes = BytesOf(value, ValueRecord::kName, kNoValue);
  if (Read16(bytes, 0) != Kind("vk") ||
      bytes.size() - ValueRecord::kName < Read16(bytes, ValueRecord::kNameBytes))
    FailAt(value, kNoValue);
  return bytes;
}

std::u16string HiveReader::NameOf(Cell key) { return NameIn<KeyRecord>(KeyAt(key)); }

void HiveReader::ForEachSubKey(Cell key, const VisitCell& visit) {
  const HiveBytes bytes = KeyAt(key);
  const std::size_t count = Read32(bytes, KeyRecord::kSubKeyCount);
  if (count == 0) return;
  if (VisitList(Read32(bytes, KeyRecord::kSubKeyList), kDeepestList, visit) != count)
    FailAt(key, "a key does not have the sub keys it should");
}

/** @return how many sub keys are in the list and in those below it */
std::size_t HiveReader::VisitList(Cell cell, int deepest, const VisitCell& visit) {
  constexpr const char* kNoList = "a list of keys cannot be read";
  const HiveBytes list = Use(cell, 4, kNoList);
  const std::uint16_t kind = Read16(list, 0);
  const bool isListOfLists = kind == Kind("ri");
  const bool hasHashes = kind == Kind("lf") || kind == Kind("lh");
  if ((!isListOfLists && !hasHashes && kind != Kind("li")) || deepest == 0) FailAt(cell, kNoList);
  const std::size_t count = Read16(list, 2), step = hasHashes ? 8 : 4;
  if ((list.size() - 4) / step < count) FailAt(cell, kNoList);
  std::size_t subKeys = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const Cell entry = Read32(list, 4 + i * step);
    if (!isListOfLists) visit(entry);
    subKeys += isListOfLists ? VisitList(entry, deepest - 1, visit) : 1;
  }
  return subKeys;
}

void HiveReader::ForEachValue(Cell key, const VisitCell& visit) {
  constexpr const char* kNoList = "a list of values cannot be read";
  const HiveBytes bytes = KeyAt(key);
  const std::size_t count = Read32(bytes, KeyRecord::kValueCount);
  if (count == 0) return;
  const Cell cell = Read32(bytes, KeyRecord::kValueList);
  const HiveBytes list = Use(cell, 0, kNoList);
  if (list.size() / 4 < count) FailAt(cell, kNoList);
  for (std::size_t i = 0; i < count; ++i) visit(Read32(list, i * 4));
}

HiveReader::Value HiveReader::ReadValue(Cell value) {
  const HiveBytes bytes = ValueAt(value);
  return {NameIn<ValueRecord>(bytes), Read32(bytes, ValueRecord::kType), DataOf(bytes)};
}

HiveBytes HiveReader::DataOf(HiveBytes value) {
  const std::uint32_t stored = Read32(value, ValueRecord::kDataBytes), bytes = stored & ~kIsInline;
  const Cell cell = Read32(value, ValueRecord::kData);
  if (stored != bytes) {
    if (bytes > 4) FailAt(static_cast<std::size_t>(value.data() - bins_.data()) - kCellHeaderBytes, kNoValue);
    return value.subspan(ValueRecord::kData, bytes);
  }
  if (bytes == 0) return {};
  const HiveBytes data = Use(cell, 0, kNoData);
  return data.size() >= bytes ? data.first(bytes) : JoinSegments(data, bytes, cell);
}

HiveBytes HiveReader::JoinSegments(HiveBytes head, std::size_t bytes, Cell data) {
  const std::size_t segments = (bytes + kSegmentBytes - 1) / kSegmentBytes;
  if (head.size() < 8 || Read16(head, 0) != Kind("db") || Read16(head, 2) < segments) FailAt(data, kNoData);
  const HiveBytes list = Use(Read32(head, 4), segments * 4, kNoData);
  joined_.clear();
  for (std::size_t i = 0; i < segments; ++i) {
    const std::size_t size = std::min(kSegmentBytes, bytes - i * kSegmentBytes);
    const HiveBytes segment = Use(Read32(list, i * 4), size, kNoData).first(size);
    if (!isChecking_) joined_.insert(joined_.end(), segment.begin(), segment.end());
  }
  return joined_;
}

}  // namespace simulated
