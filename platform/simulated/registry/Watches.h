/**
 * The watches of a registry. A watch signals its event for one change and is then removed.
 *
 * Not thread-safe: the caller holds the lock of the RegistryTree.
 */
#pragma once

#include <memory>
#include <vector>

#include "platform/Constants.h"

namespace simulated {

class Key;
struct Waitable;

/** Kinds of changes, as bits of a filter: a subkey was created or deleted; a value was set or deleted. */
inline constexpr platform::DWORD kNameChange = platform::REG_NOTIFY_CHANGE_NAME;
inline constexpr platform::DWORD kValueChange = 4;

struct Watch {
  const Key* key;
  /** The handle that was passed to RegNotifyChangeKeyValue. Closing it ends the watch. */
  platform::HKEY handle;
  /** Whether changes of the keys below `key` count too. */
  bool isDeep;
  platform::DWORD filter;
  std::shared_ptr<Waitable> event;
};

class Watches {
 public:
  void Add(Watch watch) { watches_.push_back(std::move(watch)); }
  bool IsWatched(const Key& key) const;

  /** Signals and removes the watches of `key`, and the deep watches above it, whose filter has `kind`. */
  void KeyChanged(const Key& key, platform::DWORD kind) {
    // Machines are filled with hundreds of thousands of values while nobody watches.
    if (!watches_.empty()) Notify(key, kind);
  }
  /** Signals the watches of a deleted key. */
  void KeyDeleted(const Key& key);
  /** Signals the watches of a closed handle. */
  void HandleClosed(platform::HKEY handle);

 private:
  void Notify(const Key& key, platform::DWORD kind);
  template <class Predicate>
  void SignalIf(Predicate isConcerned);

  std::vector<Watch> watches_;
};

}  // namespace simulated
