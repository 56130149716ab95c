/** Finds a name among many. */
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace kestrelbay {

/**
 * Numbers names in the order in which they are added. A search mostly looks at one place in memory, and at
 * another only for a name that is there: in a long list each such place is waited for. Used by one thread.
 */
class NameIndex {
 public:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  /** @return the number of exactly this name, or kNone */
  std::uint32_t Find(std::u16string_view name) const;
  /** @param name  where it is new, looked at as long as the index lives */
  std::uint32_t FindOrAdd(std::u16string_view name);

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t number = kNone;
  };

  /** The slot of that name, or the free one where it belongs. */
  std::size_t Locate(std::u16string_view name, std::uint32_t hash) const;
  std::size_t FirstSlot(std::uint32_t hash) const { return hash & (slots.size() - 1); }
  std::size_t Next(std::size_t slot) const { return (slot + 1) & (slots.size() - 1); }
  void DoubleSlots();

  std::vector<std::u16string_view> names;
  std::vector<Slot> slots = std::vector<Slot>(64);  // a power of two, at most half of them taken
};

}  // namespace kestrelbay
