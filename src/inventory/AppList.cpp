#include "inventory/AppList.h"

#include <algorithm>
#include <span>
#include <utility>

namespace kestrelbay {
namespace {

// False where both are known and differ. Otherwise a gap in `text` is filled from `earlier`.
bool AgreeAndFill(std::u16string& text, const std::u16string& earlier) {
  if (text.empty()) text = earlier;
  return earlier.empty() || text == earlier;
}

bool AgreeOnView(RegistryView& view, RegistryView earlier) {
  if (view == kDefaultView) view = earlier;
  return earlier == kDefaultView || view == earlier;
}

bool AgreeOnUninstallString(InstalledAppInfo& record, const InstalledAppInfo& earlier) {
  if (record.UninstallString.empty()) {
    record.UninstallString = earlier.UninstallString;
    return true;
  }
  // Compared with the version on purpose: two entries that each bring an uninstall command stay two.
  return earlier.UninstallString.empty() || record.UninstallString == earlier.DisplayVersion;
}

// In this order: what was filled before a disagreement stays filled.
bool AgreeAndFill(InstalledAppInfo& record, const InstalledAppInfo& earlier) {
  return AgreeOnView(record.architecture, earlier.architecture) &&
         AgreeAndFill(record.DisplayIcon, earlier.DisplayIcon) &&
         AgreeAndFill(record.InstallLocation, earlier.InstallLocation) &&
         AgreeAndFill(record.DisplayVersion, earlier.DisplayVersion) &&
         AgreeOnUninstallString(record, earlier);
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

// Sorts keys whose names agree up to `from`: by their next units, and where these agree by those behind.
void SortKeys(std::span<SortKey> keys, std::size_t from) {
  // Names lie far apart in memory; each is asked for before it is looked at.
  constexpr std::size_t kNamesAhead = 16;
  for (std::size_t at = 0; at < keys.size(); ++at) {
    if (at + kNamesAhead < keys.size()) __builtin_prefetch(keys[at + kNamesAhead].name.data() + from);
    keys[at].units = FoldedUnits(keys[at].name, from);
  }
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

const InstalledAppInfo* AppList::FindFirst(std::u16string_view displayName) const {
  const std::uint32_t name = names.Find(displayName);
  if (name == NameIndex::kNone || recordsOfName[name].first == kNone) return nullptr;
  return &records[recordsOfName[name].first];
}

void AppList::Append(InstalledAppInfo record) {
  const auto index = static_cast<std::uint32_t>(records.size());
  records.push_back(std::move(record));
  links.emplace_back();
  const std::uint32_t name = names.FindOrAdd(records.back().DisplayName);
  if (name == recordsOfName.size()) recordsOfName.emplace_back();
  auto& [first, last] = recordsOfName[name];
  (first == kNone ? first : links[last].nextOfName) = index;
  last = index;
}

void AppList::RemoveFirst(std::u16string_view displayName) {
  std::uint32_t& first = recordsOfName[names.Find(displayName)].first;
  links[first].isRemoved = true;
  first = links[first].nextOfName;
}

InstalledAppList AppList::Take() {
  std::size_t kept = 0;
  for (std::size_t index = 0; index < records.size(); ++index) {
    if (links[index].isRemoved) continue;
    if (kept != index) records[kept] = std::move(records[index]);
    ++kept;
  }
  records.resize(kept);
  links.clear();
  names = {};
  recordsOfName.clear();
  return std::exchange(records, {});
}

void AddOrMergeApp(AppList& list, InstalledAppInfo record) {
  const InstalledAppInfo* const earlier = list.FindFirst(record.DisplayName);
  if (earlier && AgreeAndFill(record, *earlier)) {
    if (!earlier->rootKeyStr.empty() && !earlier->subKeyPath.empty()) {
      record.rootKeyStr = earlier->rootKeyStr;
      record.subKeyPath = earlier->subKeyPath;
    }
    list.RemoveFirst(record.DisplayName);
  }
  list.Append(std::move(record));
}

bool AppNameLess(const InstalledAppInfo& left, const InstalledAppInfo& right) {
  return std::ranges::lexicographical_compare(left.DisplayName, right.DisplayName, {}, ToLowerAscii,
                                              ToLowerAscii);
}

std::vector<std::uint32_t> OrderByName(const InstalledAppList& records) {
  std::vector<SortKey> keys(records.size());
  for (std::uint32_t index = 0; index < keys.size(); ++index) {
    keys[index] = {.units = 0, .index = index, .name = records[index].DisplayName};
  }
  SortKeys(keys, 0);
  std::vector<std::uint32_t> order(keys.size());
  std::ranges::transform(keys, order.begin(), &SortKey::index);
  return order;
}

InstalledAppList InOrder(InstalledAppList records, const std::vector<std::uint32_t>& order) {
  InstalledAppList ordered;
  for (const std::uint32_t index : order) ordered.push_back(std::move(records[index]));
  return ordered;
}

}  // namespace kestrelbay
