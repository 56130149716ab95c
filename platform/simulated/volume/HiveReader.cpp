#include "simulated/volume/HiveReader.h"

#include <algorithm>

#include "simulated/base/UpperCase.h"
#include "simulated/base/WideText.h"

namespace simulated {
namespace {

constexpr std::size_t kBinHeaderBytes = 0x20;
constexpr std::size_t kBinAlignment = 4096;
/** Longer data is cut into segments of this size. */
constexpr std::size_t kSegmentBytes = 16344;
constexpr std::uint32_t kIsInline = 0x80000000;
constexpr HiveReader::Cell kNoCell = 0xFFFFFFFF;
/** A list of lists is the deepest. */
constexpr int kDeepestList = 2;
constexpr std::size_t kMostReadPerByte = 16;
/** Approximate memory of a key, and of a value, in the registry, without name and data. */
constexpr std::size_t kKeyBytes = 320, kValueBytes = 96;
/** A damage takes about the time of reading this much. */
constexpr std::size_t kDamageBytes = 1024;
constexpr const char* kNoKey = "a key cannot be read";
constexpr const char* kNoKeyList = "a list of keys cannot be read";
constexpr const char* kNoValue = "a value cannot be read";
constexpr const char* kNoValueList = "a list of values cannot be read";
constexpr const char* kNoData = "a value's data cannot be read";

template <typename Record>
std::u16string NameIn(HiveBytes record) {
  const HiveBytes stored = record.subspan(Record::kName, Read16(record, Record::kNameBytes));
  if (Read16(record, Record::kFlags) & Record::kHasLatin1Name)
    return std::u16string(stored.begin(), stored.end());
  std::u16string name(stored.size() / 2, u'\0');
  for (std::size_t i = 0; i < name.size(); ++i) name[i] = static_cast<char16_t>(Read16(stored, i * 2));
  return name;
}

template <typename Record>
bool HoldsName(HiveBytes record) {
  return record.size() >= Record::kName &&
         record.size() - Record::kName >= Read16(record, Record::kNameBytes);
}

}  // namespace

HiveReader::HiveReader(HiveBytes file, std::size_t storedBytes) : file_(file) {
  if (file.empty()) throw HiveDamage("it is empty");
  if (file.size() < 4 || Read32(file, 0) != Kind("regf"))
    throw HiveDamage("it does not begin as a hive does");
  const std::size_t binsBytes = file.size() < HiveHeader::kBytes ? 0 : Read32(file, HiveHeader::kBinsBytes);
  if (binsBytes == 0 || file.size() - HiveHeader::kBytes < binsBytes)
    throw HiveDamage("it is cut off after " + std::to_string(file.size()) + " bytes");
  bins_ = file.subspan(HiveHeader::kBytes, binsBytes);
  leftToSpend_ = kMostReadPerByte * std::min(storedBytes, binsBytes);
  KeyAt(Root());
}

void HiveReader::Spend(std::size_t bytes) {
  if (bytes > leftToSpend_) {
    leftToSpend_ = 0;
    throw HiveExhausted("its keys and values would take more than 16 times its size");
  }
  leftToSpend_ -= bytes;
}

void HiveReader::Fail(const char* what, Cell cell) {
  Spend(kDamageBytes);
  throw HiveDamage(std::string(what) + " at byte " + std::to_string(std::size_t{HiveHeader::kBytes} + cell));
}

HiveBytes HiveReader::BytesOf(Cell cell, std::size_t leastBytes, const char* what) {
  if (cell % 8 != 0 || cell >= bins_.size() || bins_.size() - cell < kCellHeaderBytes) Fail(what, cell);
  // The size is negative if the cell is in use.
  const std::uint32_t stored = Read32(bins_, cell);
  const std::uint32_t size = 0U - stored;
  if ((stored & 0x80000000) == 0 || size > bins_.size() - cell || size < kCellHeaderBytes + leastBytes)
    Fail(what, cell);
  return bins_.subspan(cell + kCellHeaderBytes, size - kCellHeaderBytes);
}

HiveBytes HiveReader::KeyAt(Cell key) {
  const HiveBytes record = BytesOf(key, KeyRecord::kName, kNoKey);
  if (Read16(record, 0) != Kind("nk") || !HoldsName<KeyRecord>(record)) Fail(kNoKey, key);
  return record;
}

HiveBytes HiveReader::ValueAt(Cell value) {
  const HiveBytes record = BytesOf(value, ValueRecord::kName, kNoValue);
  if (Read16(record, 0) != Kind("vk") || !HoldsName<ValueRecord>(record)) Fail(kNoValue, value);
  return record;
}

std::u16string HiveReader::NameOf(Cell key) {
  const HiveBytes record = KeyAt(key);
  Spend(2 * std::size_t{Read16(record, KeyRecord::kNameBytes)});
  return NameIn<KeyRecord>(record);
}

bool HiveReader::IsNameHash(std::uint32_t hash, const std::u16string& name) {
  constexpr char16_t kLastLatin1 = 0xFF;
  // Versions of Windows have other upper cases of later characters.
  if (std::ranges::any_of(name, [](char16_t unit) { return unit > kLastLatin1; })) return true;
  std::uint32_t ofWindows = 0, ofSigned = 0, ofUnsigned = 0;
  for (const char16_t unit : name) ofWindows = ofWindows * 37 + UpperCase(unit);
  // libhivex, which edits hives offline, hashes the bytes of the UTF-8 name. They are signed on some
  // processors.
  for (const char byte : ToUtf8(name)) {
    const auto number = static_cast<unsigned char>(byte);
    const std::uint32_t upper = number < 0x80 ? UpperCase(number) : number;
    ofSigned = ofSigned * 37 + (number < 0x80 ? upper : upper - 0x100);
    ofUnsigned = ofUnsigned * 37 + upper;
  }
  return hash == ofWindows || hash == ofSigned || hash == ofUnsigned;
}

bool HiveReader::HasOtherParent(Cell key, Cell parent) {
  const Cell named = Read32(KeyAt(key), KeyRecord::kParent);
  return named != parent && named != 0;
}

std::u16string HiveReader::LikelyNameOf(Cell key) const {
  constexpr std::size_t kLongestNameBytes = std::size_t{2} * 255;
  const std::size_t at = std::size_t{key} + kCellHeaderBytes;
  const HiveBytes record = bins_.subspan(std::min(at, bins_.size()));
  if (!HoldsName<KeyRecord>(record) || Read16(record, KeyRecord::kNameBytes) > kLongestNameBytes) return u"?";
  const std::u16string name = NameIn<KeyRecord>(record);
  const bool isLikely =
      !name.empty() && std::ranges::all_of(name, [](char16_t unit) { return unit >= u' '; });
  return isLikely ? name : u"?";
}

HiveReader::List<HiveReader::SubKey> HiveReader::SubKeysOf(Cell key) {
  const HiveBytes record = KeyAt(key);
  const std::size_t count = Read32(record, KeyRecord::kSubKeyCount);
  const Cell list = Read32(record, KeyRecord::kSubKeyList);
  List<SubKey> subKeys;
  if (count == 0 && list == kNoCell) return subKeys;
  AddSubKeys(list, kDeepestList, subKeys);
  if (subKeys.items.size() != count && subKeys.damage.empty())
    subKeys.damage = "its list has " + std::to_string(subKeys.items.size()) + " subkeys instead of " +
                     std::to_string(count);
  return subKeys;
}

void HiveReader::AddSubKeys(Cell cell, int deepest, List<SubKey>& subKeys) try {
  const HiveBytes list = BytesOf(cell, 4, kNoKeyList);
  const std::uint16_t kind = Read16(list, 0);
  const bool isListOfLists = kind == Kind("ri");
  const bool hasHashes = kind == Kind("lh"), hasHints = kind == Kind("lf");
  if ((!isListOfLists && !hasHashes && !hasHints && kind != Kind("li")) || deepest == 0)
    Fail(kNoKeyList, cell);
  const std::size_t step = hasHashes || hasHints ? 8 : 4;
  const std::size_t room = (list.size() - 4) / step;
  const std::size_t count = std::min<std::size_t>(Read16(list, 2), room);
  // The limit counts each listed key before its cell is kept. A forged list names one key many times.
  Spend((isListOfLists ? step : step + kKeyBytes) * count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = 4 + i * step;
    const Cell entry = Read32(list, at);
    if (isListOfLists)
      AddSubKeys(entry, deepest - 1, subKeys);
    else
      subKeys.items.push_back({entry, hasHashes ? std::optional(Read32(list, at + 4)) : std::nullopt});
  }
} catch (const HiveDamage& damage) {
  subKeys.damage = damage.what();
}

HiveReader::List<HiveReader::Cell> HiveReader::ValuesOf(Cell key) try {
  const HiveBytes record = KeyAt(key);
  const std::size_t count = Read32(record, KeyRecord::kValueCount);
  const Cell cell = Read32(record, KeyRecord::kValueList);
  List<Cell> values;
  if (count == 0 && cell == kNoCell) return values;
  const HiveBytes list = BytesOf(cell, 0, kNoValueList);
  const std::size_t listed = std::min(count, list.size() / 4);
  Spend(4 * listed);
  for (std::size_t i = 0; i < listed; ++i) values.items.push_back(Read32(list, i * 4));
  if (listed < count || count == 0)
    values.damage = "its list has room for " + std::to_string(list.size() / 4) + " values instead of " +
                    std::to_string(count);
  return values;
} catch (const HiveDamage& damage) {
  return {{}, damage.what()};
}

HiveReader::Value HiveReader::ReadValue(Cell value) {
  const HiveBytes record = ValueAt(value);
  Spend(kValueBytes + 2 * std::size_t{Read16(record, ValueRecord::kNameBytes)});
  Value read{NameIn<ValueRecord>(record), Read32(record, ValueRecord::kType), DataOf(value, record)};
  Spend(read.data.size());
  return read;
}

HiveBytes HiveReader::DataOf(Cell value, HiveBytes record) {
  const std::uint32_t stored = Read32(record, ValueRecord::kDataBytes);
  const std::uint32_t bytes = stored & ~kIsInline;
  if (stored != bytes) {
    if (bytes > 4) Fail(kNoValue, value);
    return record.subspan(ValueRecord::kData, bytes);
  }
  if (bytes == 0) return {};
  const Cell cell = Read32(record, ValueRecord::kData);
  const HiveBytes data = BytesOf(cell, 0, kNoData);
  return data.size() >= bytes ? data.first(bytes) : JoinSegments(cell, data, bytes);
}

HiveBytes HiveReader::JoinSegments(Cell data, HiveBytes head, std::size_t bytes) {
  const std::size_t segments = (bytes + kSegmentBytes - 1) / kSegmentBytes;
  if (head.size() < 8 || Read16(head, 0) != Kind("db") || Read16(head, 2) < segments) Fail(kNoData, data);
  const auto known = joined_.find({data, bytes});
  if (known != joined_.end()) return known->second;
  Spend(bytes);
  const HiveBytes list = BytesOf(Read32(head, 4), segments * 4, kNoData);
  std::vector<std::uint8_t> joined;
  joined.reserve(bytes);
  for (std::size_t i = 0; i < segments; ++i) {
    const std::size_t size = std::min(kSegmentBytes, bytes - i * kSegmentBytes);
    const HiveBytes segment = BytesOf(Read32(list, i * 4), size, kNoData).first(size);
    joined.insert(joined.end(), segment.begin(), segment.end());
  }
  return joined_.emplace(std::pair{data, bytes}, std::move(joined)).first->second;
}

std::uint64_t HiveReader::NewestTime() const {
  std::uint64_t newest = 0;
  for (std::size_t bin = 0; bin + kBinHeaderBytes < bins_.size();) {
    const std::size_t size = Read32(bins_, bin + 8);
    const std::size_t room = bins_.size() - bin;
    const bool isDamaged = Read32(bins_, bin) != Kind("hbin") || size == 0 || size % kBinAlignment != 0;
    const std::size_t end = bin + std::min(isDamaged ? kBinAlignment : size, room);
    for (std::size_t cell = bin + kBinHeaderBytes; !isDamaged && cell + kCellHeaderBytes < end;) {
      const std::uint32_t stored = Read32(bins_, cell);
      const std::uint32_t bytes = stored >> 31 ? 0U - stored : stored;
      // A damaged cell has no usable size, so the next cell cannot be found.
      if (bytes < 8 || bytes > end - cell) break;
      const bool isKey = stored >> 31 && bytes > kCellHeaderBytes + KeyRecord::kName &&
                         Read16(bins_, cell + kCellHeaderBytes) == Kind("nk");
      if (isKey) newest = std::max(newest, Read64(bins_, cell + kCellHeaderBytes + KeyRecord::kTime));
      cell += bytes;
    }
    bin = end;
  }
  return newest;
}

}  // namespace simulated
