#include "simulated/registry/NamePool.h"

#include "simulated/registry/Key.h"

namespace simulated {

std::size_t NamePool::Hash::operator()(std::u16string_view text) const {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char16_t unit : text) hash = (hash ^ UpperCase(unit)) * 0x100000001B3u;
  return hash ^ (hash >> 32);
}

bool NamePool::Same::operator()(std::u16string_view left, const Entry& right) const {
  return SameName(left, right.text);
}

NamePool::Id NamePool::Find(std::u16string_view name) const {
  const auto found = names_.find(name);
  return found == names_.end() ? kNone : found->name;
}

NamePool::Id NamePool::Add(std::u16string_view name) {
  const Id first = Find(name);
  if (first == kNone) {
    const auto added = static_cast<Id>(spellings_.size());
    Append(name, added);
    names_.insert({spellings_[added].text, added});
    return added;
  }
  Id spelling = first;
  while (spellings_[spelling].text != name) {
    if (spellings_[spelling].next == kNone) {
      const Id added = Append(name, first);
      spellings_[spelling].next = added;
      return added;
    }
    spelling = spellings_[spelling].next;
  }
  return spelling;
}

NamePool::Id NamePool::Append(std::u16string_view text, Id name) {
  spellings_.push_back({std::u16string(text), name, kNone});
  return static_cast<Id>(spellings_.size() - 1);
}

}  // namespace simulated
