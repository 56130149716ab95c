#include "inventory/NameIndex.h"

#include <functional>
#include <utility>

namespace kestrelbay {
namespace {

std::uint32_t HashOf(std::u16string_view name) {
  const std::uint64_t hash = std::hash<std::u16string_view>()(name);
  return static_cast<std::uint32_t>(hash ^ hash >> 32);
}

}  // namespace

std::size_t NameIndex::Locate(std::u16string_view name, std::uint32_t hash) const {
  std::size_t slot = FirstSlot(hash);
  while (slots[slot].number != kNone && (slots[slot].hash != hash || names[slots[slot].number] != name)) {
    slot = Next(slot);
  }
  return slot;
}

std::uint32_t NameIndex::Find(std::u16string_view name) const {
  return slots[Locate(name, HashOf(name))].number;
}

std::uint32_t NameIndex::FindOrAdd(std::u16string_view name) {
  const std::uint32_t hash = HashOf(name);
  const std::size_t slot = Locate(name, hash);
  if (slots[slot].number != kNone) return slots[slot].number;
  const auto number = static_cast<std::uint32_t>(names.size());
  names.push_back(name);
  slots[slot] = {hash, number};
  if (names.size() > slots.size() / 2) DoubleSlots();
  return number;
}

void NameIndex::DoubleSlots() {
  const std::vector<Slot> before = std::exchange(slots, std::vector<Slot>(slots.size() * 2));
  for (const Slot& taken : before) {
    if (taken.number == kNone) continue;
    std::size_t slot = FirstSlot(taken.hash);
    while (slots[slot].number != kNone) slot = Next(slot);
    slots[slot] = taken;
  }
}

}  // namespace kestrelbay
