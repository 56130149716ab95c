#include "simulated/regfile/FoldedChanges.h"

#include "simulated/base/UpperCase.h"

#include <algorithm>

namespace simulated {
namespace {

// The separator comes first, so that a key's whole subtree stands right behind it.
int Order(char16_t unit) { return unit == u'\\' ? -1 : UpperCase(unit); }

bool IsAtOrBelow(std::u16string_view path, std::u16string_view top) {
  return path.size() >= top.size() && SameName(path.substr(0, top.size()), top) &&
         (path.size() == top.size() || path[top.size()] == u'\\');
}

}  // namespace

bool FoldedChanges::NameLess::operator()(std::u16string_view left, std::u16string_view right) const {
  return std::ranges::lexicographical_compare(left, right, {}, Order, Order);
}

void FoldedChanges::OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) {
  // The keys above come with it, and stay when it goes again.
  for (std::size_t end = path.find(u'\\'); end != path.npos; end = path.find(u'\\', end + 1))
    keys_[std::u16string(path.substr(0, end))].isThere = true;
  key_ = &keys_[std::u16string(path)];
  key_->isThere = true;
  if (lastWriteTime) key_->lastWriteTime = lastWriteTime;
}

void FoldedChanges::DeleteKey(std::u16string_view path) {
  const std::u16string top(path);
  const auto first = keys_.lower_bound(top);
  const auto isOutside = [&](const auto& entry) { return !IsAtOrBelow(entry.first, top); };
  keys_.erase(first, std::find_if(first, keys_.end(), isOutside));
  keys_[top].isDeletedFirst = true;
  key_ = nullptr;
}

void FoldedChanges::SetValue(std::u16string_view name, platform::DWORD type,
                             std::span<const std::uint8_t> bytes) {
  key_->values[std::u16string(name)] = Value{type, {bytes.begin(), bytes.end()}};
}

void FoldedChanges::DeleteValue(std::u16string_view name) {
  key_->values[std::u16string(name)] = std::nullopt;
}

void FoldedChanges::WriteTo(RegFileSink& sink) const {
  for (const auto& [path, changes] : keys_) {
    if (changes.isDeletedFirst) sink.DeleteKey(path);
    if (!changes.isThere) continue;
    sink.OpenKey(path, changes.lastWriteTime);
    for (const auto& [name, value] : changes.values) {
      if (value)
        sink.SetValue(name, value->type, value->bytes);
      else
        sink.DeleteValue(name);
    }
  }
}

}  // namespace simulated
