#include "simulated/registry/Key.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "simulated/registry/NamePool.h"
#include "simulated/registry/Watches.h"

namespace simulated {
namespace {

/** The first units of a name, so that numbers compare as the names do where they differ. */
std::uint64_t FirstUnits(std::u16string_view name) {
  std::uint64_t units = 0;
  for (std::size_t at = 0; at < sizeof units / sizeof(char16_t); ++at) {
    units = units << 16 | (at < name.size() ? UpperCase(name[at]) : u'\0');
  }
  return units;
}

}  // namespace

/** What all keys of a tree have together. */
struct Key::Shared {
  NamePool names;
  Watches watches;
  std::vector<std::shared_ptr<KeySource>> sources;
  /** How many keys are being filled: what comes to light then is no change. */
  int filling = 0;
  bool listsAsMade = false;
  /** By key, where the tree lists as made: its sub keys in that order. */
  std::unordered_map<const Key*, std::vector<Key*>> listings;
};

Key::Key(std::u16string_view name, Key* parent)
    : name_(name),
      parent_(parent),
      level_(parent ? parent->level_ + 1 : 0),
      ownShared_(parent ? nullptr : std::make_shared<Shared>()),
      shared_(parent ? parent->shared_ : ownShared_.get()) {}

Key::~Key() = default;

void Key::ListAsMade() { shared_->listsAsMade = true; }

const std::u16string& Key::Name() const { return name_; }

Key* Key::Parent() const { return parent_; }

void Key::FillLater(KeySource& source, std::size_t place) {
  source_ = &source;
  place_ = place;
}

void Key::KeepSource(std::shared_ptr<KeySource> source) { shared_->sources.push_back(std::move(source)); }

void Key::Fill() {
  if (!source_) return;
  // Taken out first: what fills the key uses the same operations as everyone else.
  KeySource& source = *std::exchange(source_, nullptr);
  ++shared_->filling;
  const std::unique_ptr<int, void (*)(int*)> end(&shared_->filling, [](int* filling) { --*filling; });
  source.Fill(*this, place_);
}

void Key::TellWatches(platform::DWORD kind) {
  if (shared_->filling == 0) shared_->watches.KeyChanged(*this, kind);
}

std::size_t Key::SubKeyCount() {
  Fill();
  return subKeys_.size();
}

Key& Key::SubKeyAt(std::size_t index) {
  Fill();
  if (shared_->listsAsMade) [[unlikely]]
    return *Listing().at(index);
  return *subKeys_.at(index).key;
}

std::vector<Key*>& Key::Listing() {
  const auto [listing, isNew] = shared_->listings.try_emplace(this);
  if (!isNew) return listing->second;
  // Those that were made before the tree listed so come first, in their own order.
  for (const SubKey& subKey : subKeys_) listing->second.push_back(subKey.key.get());
  return listing->second;
}

std::size_t Key::PositionOf(std::u16string_view name, bool& found) {
  found = true;
  if (nextPosition_ < subKeys_.size() && SameName(subKeys_[nextPosition_].key->name_, name)) {
    return nextPosition_++;
  }
  found = false;
  const auto isBefore = [units = FirstUnits(name), name](const SubKey& subKey, std::u16string_view) {
    return subKey.firstUnits != units ? subKey.firstUnits < units : CompareNames(subKey.key->name_, name) < 0;
  };
  // Files and hives list keys in this very order, so a new one mostly belongs at the end.
  if (subKeys_.empty() || isBefore(subKeys_.back(), name)) return subKeys_.size();
  const auto position = std::lower_bound(subKeys_.begin(), subKeys_.end(), name, isBefore);
  found = SameName(position->key->name_, name);
  const auto index = static_cast<std::size_t>(position - subKeys_.begin());
  if (found) nextPosition_ = index + 1;
  return index;
}

Key* Key::FindSubKey(std::u16string_view name) {
  Fill();
  bool found = false;
  const std::size_t position = PositionOf(name, found);
  return found ? subKeys_[position].key.get() : nullptr;
}

Key& Key::CreateSubKey(std::u16string_view name) {
  Fill();
  bool found = false;
  const std::size_t position = PositionOf(name, found);
  if (found) return *subKeys_[position].key;
  if (name.empty() || name.size() > kLongestName)
    throw std::length_error("a key's name has 1 to 255 characters");
  if (level_ >= kDeepestLevel) throw std::length_error("keys stand at most 512 levels deep");
  auto added = std::make_shared<Key>(name, this);
  if (shared_->listsAsMade) Listing().push_back(added.get());
  Key& made = *added;
  subKeys_.insert(subKeys_.begin() + static_cast<std::ptrdiff_t>(position),
                  {FirstUnits(name), std::move(added)});
  TellWatches(kNameChange);
  return made;
}

bool Key::RemoveSubKey(std::u16string_view name) {
  Fill();
  bool found = false;
  const std::size_t position = PositionOf(name, found);
  if (!found) return false;
  if (shared_->listsAsMade) std::erase(Listing(), subKeys_[position].key.get());
  subKeys_[position].key->MarkDeleted();
  subKeys_.erase(subKeys_.begin() + static_cast<std::ptrdiff_t>(position));
  nextPosition_ = position;
  TellWatches(kNameChange);
  return true;
}

void Key::MarkDeleted() {
  shared_->listings.erase(this);
  shared_->watches.KeyGone(*this);
  deleted = true;
  parent_ = nullptr;
  source_ = nullptr;
  for (const SubKey& subKey : subKeys_) subKey.key->MarkDeleted();
}

ValueView Key::ViewOf(const Value& value) const {
  return {shared_->names.Text(value.spelling), value.type, {bytes_.data() + value.offset, value.size}};
}

std::size_t Key::ValueCount() {
  Fill();
  return values_.size();
}

ValueView Key::ValueAt(std::size_t index) {
  Fill();
  return ViewOf(values_.at(index));
}

Key::Values::iterator Key::LocateValue(std::u16string_view name) {
  Fill();
  if (values_.empty()) return values_.end();
  const NamePool::Id id = shared_->names.Find(name);
  if (id == NamePool::kNone) return values_.end();
  return std::ranges::find(values_, id, &Value::name);
}

bool Key::FindValue(std::u16string_view name, ValueView& value) {
  const auto found = LocateValue(name);
  if (found == values_.end()) return false;
  value = ViewOf(*found);
  return true;
}

void Key::SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) {
  if (bytes_.size() + bytes.size() > UINT32_MAX) throw std::length_error("a key's values hold 4 GiB at most");
  Fill();
  const NamePool::Id spelling = shared_->names.Add(name);
  const NamePool::Id id = shared_->names.NameOf(spelling);
  auto value = std::ranges::find(values_, id, &Value::name);
  if (value == values_.end()) {
    value = values_.insert(value, {id, spelling, 0, 0, 0});
  } else {
    DropBytes(*value);
  }
  PutBytes(*value, type, bytes);
}

void Key::AddValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) {
  if (bytes_.size() + bytes.size() > UINT32_MAX) throw std::length_error("a key's values hold 4 GiB at most");
  Fill();
  const NamePool::Id spelling = shared_->names.Add(name);
  values_.push_back({shared_->names.NameOf(spelling), spelling, 0, 0, 0});
  PutBytes(values_.back(), type, bytes);
}

void Key::PutBytes(Value& value, platform::DWORD type, std::span<const std::uint8_t> bytes) {
  value.type = type;
  value.offset = static_cast<std::uint32_t>(bytes_.size());
  value.size = static_cast<std::uint32_t>(bytes.size());
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  TellWatches(kValueChange);
}

bool Key::RemoveValue(std::u16string_view name) {
  const auto value = LocateValue(name);
  if (value == values_.end()) return false;
  DropBytes(*value);
  values_.erase(value);
  TellWatches(kValueChange);
  return true;
}

void Key::DropBytes(const Value& value) {
  const std::uint32_t offset = value.offset;
  const std::uint32_t size = value.size;
  const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(offset);
  bytes_.erase(begin, begin + static_cast<std::ptrdiff_t>(size));
  for (Value& other : values_) {
    if (other.offset > offset) other.offset -= size;
  }
}

Watches& Key::TreeWatches() { return shared_->watches; }

}  // namespace simulated
