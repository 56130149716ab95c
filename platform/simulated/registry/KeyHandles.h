/**
 * The open registry keys of a machine: what an HKEY of the port refers to, but for the predefined ones.
 *
 * Takes no lock: the registry's own guards it. A handle's value is not given out again soon, and never is
 * that of a predefined key.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "simulated/registry/Key.h"

namespace simulated {

/** What a handle gives: the key, and the rights that it was opened with. */
struct OpenedKey {
  std::shared_ptr<Key> key;
  platform::DWORD rights = 0;
};

class KeyHandles {
 public:
  platform::HKEY Open(Key& key, platform::DWORD rights);
  /** @return false for what is no open handle */
  bool Close(platform::HKEY handle);
  /** Null for what is no open handle; good until a handle is opened or closed. */
  const OpenedKey* Find(platform::HKEY handle) const;
  std::size_t OpenCount() const { return openCount_; }

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  struct Slot {
    OpenedKey opened;
    std::uint32_t generation = 1;
    /** Of a free slot: the one that was left next. */
    std::uint32_t nextFree = kNone;
  };

  std::size_t IndexOf(platform::HKEY handle) const;
  std::uint32_t TakeFree();

  std::vector<Slot> slots_;
  /** The slot that was left longest ago is used first. */
  std::uint32_t firstFree_ = kNone;
  std::uint32_t lastFree_ = kNone;
  std::size_t openCount_ = 0;
};

}  // namespace simulated
