#include "simulated/registry/KeyHandles.h"

namespace simulated {
namespace {

// A handle's upper half counts the uses of its slot and stays below 2^31, where predefined keys begin.
constexpr std::uint32_t kGenerationMask = 0x3FFFFFFF;
constexpr std::uintptr_t kLowHalf = 0xFFFFFFFF;

}  // namespace

platform::HKEY KeyHandles::Open(Key& key, platform::DWORD rights) {
  const std::uint32_t index = TakeFree();
  slots_[index].opened = {key.shared_from_this(), rights};
  ++openCount_;
  const std::uintptr_t generation = slots_[index].generation;
  return reinterpret_cast<platform::HKEY>(generation << 32 | (std::uintptr_t{index} + 1) << 2);
}

std::uint32_t KeyHandles::TakeFree() {
  if (firstFree_ == kNone) {
    slots_.emplace_back();
    return static_cast<std::uint32_t>(slots_.size() - 1);
  }
  const std::uint32_t index = firstFree_;
  firstFree_ = slots_[index].nextFree;
  slots_[index].nextFree = kNone;
  return index;
}

std::size_t KeyHandles::IndexOf(platform::HKEY handle) const {
  const auto value = reinterpret_cast<std::uintptr_t>(handle);
  const std::size_t index = ((value & kLowHalf) >> 2) - 1;
  const bool open = (value & 3) == 0 && index < slots_.size() && slots_[index].opened.key &&
                    slots_[index].generation == value >> 32;
  return open ? index : slots_.size();
}

bool KeyHandles::Close(platform::HKEY handle) {
  const std::size_t index = IndexOf(handle);
  if (index == slots_.size()) return false;
  Slot& slot = slots_[index];
  slot.opened = {};
  slot.generation = (slot.generation + 1) & kGenerationMask;
  const auto left = static_cast<std::uint32_t>(index);
  (firstFree_ == kNone ? firstFree_ : slots_[lastFree_].nextFree) = left;
  lastFree_ = left;
  --openCount_;
  return true;
}

const OpenedKey* KeyHandles::Find(platform::HKEY handle) const {
  const std::size_t index = IndexOf(handle);
  return index == slots_.size() ? nullptr : &slots_[index].opened;
}

}  // namespace simulated
