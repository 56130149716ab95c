#include "inventory/ScanResult.h"

#include <algorithm>
#include <span>
#include <utility>

#include "platform/Memory.h"

namespace kestrelbay {
namespace {

enum class Comparison { Agrees, Fills, Disagrees };

bool IsGap(std::u16string_view text) { return text.empty(); }
bool IsGap(RegistryView view) { return view == kDefaultView; }

// Two values disagree where both are known and differ. A gap in `value` is filled from `earlier`.
template <class Value, class Earlier>
Comparison CompareAndFill(Value& value, const Earlier& earlier) {
  if (IsGap(earlier)) return Comparison::Agrees;
  if (!IsGap(value)) return value == earlier ? Comparison::Agrees : Comparison::Disagrees;
  value = earlier;
  return Comparison::Fills;
}

Comparison CompareUninstallStrings(InstalledAppInfo& record, const AppRecord& earlier) {
  if (record.UninstallString.empty()) return CompareAndFill(record.UninstallString, earlier.UninstallString);
  // Compared with the version on purpose: two entries that each bring an uninstall command stay two.
  const bool agrees = earlier.UninstallString.empty() || record.UninstallString == earlier.DisplayVersion;
  return agrees ? Comparison::Agrees : Comparison::Disagrees;
}

// A place is taken whole, over the record's own.
Comparison TakePlace(InstalledAppInfo& record, const AppRecord& earlier) {
  if (earlier.rootKeyStr.empty() || earlier.subKeyPath.empty()) return Comparison::Agrees;
  record.rootKeyStr = earlier.rootKeyStr;
  record.subKeyPath = earlier.subKeyPath;
  return Comparison::Fills;
}

Agreement AgreeAndFill(InstalledAppInfo& record, const AppRecord& earlier) {
  Agreement agreement;
  const auto note = [&](AppField field, Comparison comparison) {
    if (comparison == Comparison::Fills) agreement.filled.set(static_cast<std::size_t>(field));
    if (comparison == Comparison::Disagrees) agreement.disagreement = field;
    return comparison != Comparison::Disagrees;
  };
  // In this order: what was filled before a disagreement stays filled.
  const bool agrees =
      note(AppField::Architecture, CompareAndFill(record.architecture, earlier.architecture)) &&
      note(AppField::DisplayIcon, CompareAndFill(record.DisplayIcon, earlier.DisplayIcon)) &&
      note(AppField::InstallLocation, CompareAndFill(record.InstallLocation, earlier.InstallLocation)) &&
      note(AppField::DisplayVersion, CompareAndFill(record.DisplayVersion, earlier.DisplayVersion)) &&
      note(AppField::UninstallString, CompareUninstallStrings(record, earlier));
  if (agrees) note(AppField::RegistryKey, TakePlace(record, earlier));
  return agreement;
}

// The C runtime's tolower in the "C" locale: no other letter is folded.
constexpr char16_t ToLowerAscii(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

// What a record is sorted by: a few units of its name at a time, and its place before. Records themselves are
// far apart in memory and costly to move, so sorting does neither look at them nor move them.
struct SortKey {
  std::uint64_t units;
  std::uint32_t index;
  std::u16string_view name;

  bool operator<(const SortKey& other) const {
    return units != other.units ? units < other.units : index < other.index;
  }
};

constexpr std::size_t kUnitsOfKey = sizeof(SortKey::units) / sizeof(char16_t);

std::uint64_t FoldedUnits(std::u16string_view name, std::size_t from) {
  std::uint64_t units = 0;
  for (std::size_t at = from; at < from + kUnitsOfKey; ++at) {
    units = units << 16 | (at < name.size() ? ToLowerAscii(name[at]) : u'\0');
  }
  return units;
}

// Few names are compared as wholes. Those that are equal stay as they stand.
void SortFewKeys(std::span<SortKey> keys, std::size_t from) {
  const auto isLess = [=](const SortKey& left, const SortKey& right) {
    return AppNameLess(left.name.substr(from), right.name.substr(from));
  };
  for (auto at = keys.begin(); at != keys.end(); ++at) {
    std::rotate(std::upper_bound(keys.begin(), at, *at, isLess), at, at + 1);
  }
}

// Reads the units of each name from there on. Names lie far apart in memory; each is asked for before it is
// looked at.
void ReadUnits(std::span<SortKey> keys, std::size_t from) {
  constexpr std::size_t kNamesAhead = 16;
  for (std::size_t at = 0; at < keys.size(); ++at) {
    if (at + kNamesAhead < keys.size()) {
      const std::u16string_view name = keys[at + kNamesAhead].name;
      platform::FetchAhead(name.data() + std::min(from, name.size()), sizeof(SortKey::units));
    }
    keys[at].units = FoldedUnits(keys[at].name, from);
  }
}

// Sorts keys whose names agree up to `from`: by their next units, and where these agree by those behind.
void SortKeys(std::span<SortKey> keys, std::size_t from) {
  constexpr std::size_t kFew = 4;
  if (keys.size() <= kFew) return SortFewKeys(keys, from);
  ReadUnits(keys, from);
  std::sort(keys.begin(), keys.end());
  constexpr std::uint64_t kLastUnit = 0xFFFF;
  for (auto begin = keys.begin(); begin != keys.end();) {
    const std::uint64_t units = begin->units;
    const auto end = std::find_if(begin, keys.end(), [=](const SortKey& key) { return key.units != units; });
    // A name that ends within these units has zeros behind its end.
    if (end - begin > 1 && (units & kLastUnit) != 0) SortKeys({begin, end}, from + kUnitsOfKey);
    begin = end;
  }
}

}  // namespace

InstalledAppInfo& ScanResult::BlankRecord() {
  Clear(blank);
  return blank;
}

const AppRecord* ScanResult::FindFirst(std::u16string_view displayName) const {
  const std::uint32_t name = names.Find(displayName);
  if (name == NameIndex::kNone || recordsOfName[name].first == kNone) return nullptr;
  return &records[recordsOfName[name].first];
}

const AppRecord& ScanResult::Append(const InstalledAppInfo& record) {
  const auto index = static_cast<std::uint32_t>(records.size());
  const AppRecord& app = records.Append(record);
  links.emplace_back();
  const std::uint32_t name = names.FindOrAdd(app.DisplayName);
  if (name == recordsOfName.size()) recordsOfName.emplace_back();
  auto& [first, last] = recordsOfName[name];
  (first == kNone ? first : links[last].nextOfName) = index;
  last = index;
  return app;
}

void ScanResult::RemoveFirst(std::u16string_view displayName) {
  std::uint32_t& first = recordsOfName[names.Find(displayName)].first;
  links[first].isRemoved = true;
  first = links[first].nextOfName;
}

AppRecords ScanResult::Take() {
  std::vector<std::uint32_t> kept;
  for (std::uint32_t index = 0; index < links.size(); ++index) {
    if (!links[index].isRemoved) kept.push_back(index);
  }
  records.Arrange(kept);
  links.clear();
  names = {};
  recordsOfName.clear();
  return std::exchange(records, {});
}

void AddOrMergeApp(ScanResult& list, InstalledAppInfo& record) {
  const AppRecord* const earlier = list.FindFirst(record.DisplayName);
  Agreement agreement;
  if (earlier) {
    agreement = AgreeAndFill(record, *earlier);
    if (!agreement.disagreement) list.RemoveFirst(record.DisplayName);
  }
  const AppRecord& added = list.Append(record);
  Notify(list.observer, RecordAdded{added, earlier, agreement});
}

bool AppNameLess(std::u16string_view left, std::u16string_view right) {
  return std::ranges::lexicographical_compare(left, right, {}, ToLowerAscii, ToLowerAscii);
}

std::vector<std::uint32_t> OrderByName(const AppRecords& records) {
  std::vector<SortKey> keys(records.size());
  for (std::uint32_t index = 0; index < keys.size(); ++index) {
    keys[index] = {.units = 0, .index = index, .name = records[index].DisplayName};
  }
  SortKeys(keys, 0);
  std::vector<std::uint32_t> order(keys.size());
  std::ranges::transform(keys, order.begin(), &SortKey::index);
  return order;
}

}  // namespace kestrelbay
