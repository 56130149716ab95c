#include "simulated/regfile/FoldedChanges.h"

#include <algorithm>

#include "simulated/base/UpperCase.h"

namespace simulated {
namespace {

// The separator sorts first, so that the keys below a key follow it directly.
int Order(char16_t unit) { return unit == u'\\' ? -1 : UpperCase(unit); }

bool IsAtOrBelow(std::u16string_view path, std::u16string_view top) {
  return path.size() >= top.size() && SameName(path.substr(0, top.size()), top) &&
         (path.size() == top.size() || path[top.size()] == u'\\');
}

/** The entries of a map in the order in which they came. */
template <typename Map>
std::vector<const typename Map::value_type*> InOrder(const Map& map) {
  std::vector<const typename Map::value_type*> entries;
  entries.reserve(map.size());
  for (const auto& entry : map) entries.push_back(&entry);
  std::ranges::sort(entries, {}, [](const auto* entry) { return entry->second.order; });
  return entries;
}

}  // namespace

bool FoldedChanges::NameLess::operator()(std::u16string_view left, std::u16string_view right) const {
  return std::ranges::lexicographical_compare(left, right, {}, Order, Order);
}

FoldedChanges::KeyChanges& FoldedChanges::Changes(std::u16string_view path) {
  const auto [entry, isNew] = keys_.try_emplace(std::u16string(path));
  if (isNew) entry->second.order = nextOrder_++;
  return entry->second;
}

void FoldedChanges::OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) {
  // Creating a key creates its parents, and deleting the key later does not delete them.
  for (std::size_t end = path.find(u'\\'); end != path.npos; end = path.find(u'\\', end + 1))
    Changes(path.substr(0, end)).isThere = true;
  key_ = &Changes(path);
  key_->isThere = true;
  if (lastWriteTime) key_->lastWriteTime = lastWriteTime;
}

void FoldedChanges::DeleteKey(std::u16string_view path) {
  const std::u16string top(path);
  const auto first = keys_.lower_bound(top);
  const auto isOutside = [&](const auto& entry) { return !IsAtOrBelow(entry.first, top); };
  keys_.erase(first, std::find_if(first, keys_.end(), isOutside));
  Changes(top).isDeletedFirst = true;
  key_ = nullptr;
}

void FoldedChanges::SetValue(std::u16string_view name, platform::DWORD type,
                             std::span<const std::uint8_t> bytes) {
  ChangeValue(name, true, type, bytes);
}

void FoldedChanges::DeleteValue(std::u16string_view name) { ChangeValue(name, false, 0, {}); }

void FoldedChanges::ChangeValue(std::u16string_view name, bool isThere, platform::DWORD type,
                                std::span<const std::uint8_t> bytes) {
  auto& values = key_->values;
  Value& value = values.try_emplace(std::u16string(name), Value{values.size(), false, 0, {}}).first->second;
  value = {value.order, isThere, type, {bytes.begin(), bytes.end()}};
}

bool FoldedChanges::IsDeletedFirst(std::u16string_view path) const {
  for (std::size_t end = path.size(); end != path.npos; end = path.rfind(u'\\', end - 1)) {
    const auto found = keys_.find(path.substr(0, end));
    if (found != keys_.end() && found->second.isDeletedFirst) return true;
  }
  return false;
}

std::optional<bool> FoldedChanges::HasKey(std::u16string_view path) const {
  if (const auto found = keys_.find(path); found != keys_.end() && found->second.isThere) return true;
  return IsDeletedFirst(path) ? std::optional(false) : std::nullopt;
}

std::optional<bool> FoldedChanges::HasValue(std::u16string_view path, std::u16string_view name) const {
  if (const auto key = keys_.find(path); key != keys_.end()) {
    const auto value = key->second.values.find(name);
    if (value != key->second.values.end()) return value->second.isThere;
  }
  // A key that was deleted and made again has the values of these changes alone.
  return IsDeletedFirst(path) ? std::optional(false) : std::nullopt;
}

void FoldedChanges::WriteTo(RegFileSink& sink) const {
  for (const auto* entry : InOrder(keys_)) WriteKey(entry->first, entry->second, sink);
}

void FoldedChanges::WriteKey(const std::u16string& path, const KeyChanges& changes, RegFileSink& sink) {
  if (changes.isDeletedFirst) sink.DeleteKey(path);
  if (!changes.isThere) return;
  sink.OpenKey(path, changes.lastWriteTime);
  for (const auto* entry : InOrder(changes.values)) {
    const auto& [name, value] = *entry;
    if (value.isThere)
      sink.SetValue(name, value.type, value.bytes);
    else
      sink.DeleteValue(name);
  }
}

}  // namespace simulated
