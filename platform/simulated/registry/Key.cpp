#include "simulated/registry/Key.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "simulated/registry/Watches.h"

namespace simulated {
namespace {

/** Below this a search without an index is as fast. */
constexpr std::size_t kIndexedValues = 64;

}  // namespace

/** State of a whole tree. */
struct Key::Shared {
  Watches watches;
  std::vector<std::shared_ptr<KeySource>> sources;
  /** Keys that are being filled now. Filling adds keys, but watches do not report it. */
  int filling = 0;
  bool listsAsMade = false;
  /** The subkeys of each key in the order of their creation, if the tree lists so. */
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
  // Reset first, because the source calls CreateSubKey and SetValue, which call this function again.
  KeySource& source = *std::exchange(source_, nullptr);
  ++shared_->filling;
  const std::unique_ptr<int, void (*)(int*)> end(&shared_->filling, [](int* filling) { --*filling; });
  source.Fill(*this, place_);
}

void Key::NotifyWatches(platform::DWORD kind) {
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
  return *subKeys_.at(index);
}

std::vector<Key*>& Key::Listing() {
  const auto [listing, isNew] = shared_->listings.try_emplace(this);
  if (!isNew) return listing->second;
  // Subkeys from before ListAsMade come first, in their sorted order.
  for (const auto& subKey : subKeys_) listing->second.push_back(subKey.get());
  return listing->second;
}

std::size_t Key::PositionOf(std::u16string_view name, bool& found) {
  const auto isBefore = [](const std::shared_ptr<Key>& subKey, std::u16string_view wanted) {
    return CompareNames(subKey->name_, wanted) < 0;
  };
  std::size_t position = nextPosition_;
  // A scan opens subkeys in the order of their listing, so the next one is mostly the right one.
  found = position < subKeys_.size() && SameName(subKeys_[position]->name_, name);
  if (!found) {
    // Files and hives list keys in this very order, so a new one mostly belongs at the end.
    if (subKeys_.empty() || isBefore(subKeys_.back(), name)) return subKeys_.size();
    const auto nearest = std::lower_bound(subKeys_.begin(), subKeys_.end(), name, isBefore);
    found = SameName((*nearest)->name_, name);
    position = static_cast<std::size_t>(nearest - subKeys_.begin());
  }
  if (found) nextPosition_ = position + 1;
  return position;
}

Key* Key::FindSubKey(std::u16string_view name) {
  Fill();
  bool found = false;
  const std::size_t position = PositionOf(name, found);
  return found ? subKeys_[position].get() : nullptr;
}

Key& Key::CreateSubKey(std::u16string_view name) {
  Fill();
  bool found = false;
  const std::size_t position = PositionOf(name, found);
  if (found) return *subKeys_[position];
  if (name.empty() || name.size() > kLongestName)
    throw std::length_error("a key's name has 1 to 255 characters");
  if (level_ >= kDeepestLevel) throw std::length_error("keys are at most 512 levels deep");
  auto added = std::make_shared<Key>(name, this);
  if (shared_->listsAsMade) Listing().push_back(added.get());
  Key& made = *added;
  subKeys_.insert(subKeys_.begin() + static_cast<std::ptrdiff_t>(position), std::move(added));
  NotifyWatches(kNameChange);
  return made;
}

bool Key::RemoveSubKey(std::u16string_view name) {
  Fill();
  bool found = false;
  const std::size_t position = PositionOf(name, found);
  if (!found) return false;
  if (shared_->listsAsMade) std::erase(Listing(), subKeys_[position].get());
  subKeys_[position]->MarkDeleted();
  subKeys_.erase(subKeys_.begin() + static_cast<std::ptrdiff_t>(position));
  nextPosition_ = position;
  NotifyWatches(kNameChange);
  return true;
}

void Key::MarkDeleted() {
  shared_->listings.erase(this);
  shared_->watches.KeyDeleted(*this);
  deleted = true;
  parent_ = nullptr;
  source_ = nullptr;
  for (const auto& subKey : subKeys_) subKey->MarkDeleted();
}

std::size_t Key::ValueCount() {
  Fill();
  return values_.size();
}

ValueView Key::ValueAt(std::size_t index) {
  Fill();
  return values_.at(index).View();
}

Key::Values::iterator Key::LocateValue(std::u16string_view name) {
  Fill();
  const auto isWanted = [name](const Value& value) { return SameName(value.name, name); };
  if (values_.size() < kIndexedValues) return std::ranges::find_if(values_, isWanted);
  const auto entry = LocateEntry(name);
  const bool isFound = entry != index_.end() && isWanted(values_[*entry]);
  return isFound ? values_.begin() + *entry : values_.end();
}

Key::Index::iterator Key::LocateEntry(std::u16string_view name) {
  const auto nameOf = [this](std::uint32_t entry) -> std::u16string_view { return values_[entry].name; };
  if (index_.size() != values_.size()) {
    index_.resize(values_.size());
    std::iota(index_.begin(), index_.end(), 0U);
    std::ranges::sort(index_, NameLess(), nameOf);
  }
  return std::ranges::lower_bound(index_, name, NameLess(), nameOf);
}

bool Key::FindValue(std::u16string_view name, ValueView& value) {
  const auto found = LocateValue(name);
  if (found == values_.end()) return false;
  value = found->View();
  return true;
}

void Key::SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) {
  auto value = LocateValue(name);
  if (value == values_.end()) {
    const auto added = static_cast<std::uint32_t>(values_.size());
    if (!index_.empty()) index_.insert(LocateEntry(name), added);
    value = values_.insert(value, {std::u16string(name), type, {}});
  }
  value->type = type;
  value->own.assign(bytes.begin(), bytes.end());
  value->bytes = value->own;
  NotifyWatches(kValueChange);
}

void Key::AddValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) {
  Fill();
  values_.push_back({std::u16string(name), type, bytes});
  NotifyWatches(kValueChange);
}

bool Key::RemoveValue(std::u16string_view name) {
  const auto value = LocateValue(name);
  if (value == values_.end()) return false;
  if (!index_.empty()) {
    const auto entry = LocateEntry(name);
    const std::uint32_t removed = *entry;
    index_.erase(entry);
    for (std::uint32_t& later : index_) later -= later > removed ? 1U : 0U;
  }
  values_.erase(value);
  NotifyWatches(kValueChange);
  return true;
}

Watches& Key::TreeWatches() { return shared_->watches; }

}  // namespace simulated
