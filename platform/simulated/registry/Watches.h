/**
 * Who is to be told of changes to which keys of a registry.
 *
 * Belongs to a tree of keys and is guarded by what guards them. A watch tells of one change and is then gone.
 */
#pragma once

#include <memory>
#include <vector>

#include "platform/Constants.h"

namespace simulated {

class Key;
struct Waitable;

/** Kinds of changes, as bits of a filter: a sub key came or went; a value was set or deleted. */
inline constexpr platform::DWORD kNameChange = platform::REG_NOTIFY_CHANGE_NAME;
inline constexpr platform::DWORD kValueChange = 4;

struct Watch {
  const Key* key;
  /** The handle that the watch was asked for with: closing it ends the watch. */
  platform::HKEY handle;
  /** Whether changes below the key's own count too. */
  bool isDeep;
  platform::DWORD filter;
  std::shared_ptr<Waitable> event;
};

class Watches {
 public:
  void Add(Watch watch) { watches_.push_back(std::move(watch)); }
  bool IsWatched(const Key& key) const;

  /** A change of that kind was made to the key: signals the watches that it is for. */
  void KeyChanged(const Key& key, platform::DWORD kind) {
    // Machines are filled with hundreds of thousands of values while nobody watches.
    if (!watches_.empty()) Notify(key, kind);
  }
  /** The key is deleted, which signals its own watches. */
  void KeyGone(const Key& key);
  /** The handle is closed, which signals the watches asked for with it. */
  void HandleClosed(platform::HKEY handle);

 private:
  void Notify(const Key& key, platform::DWORD kind);
  template <class Predicate>
  void SignalThose(Predicate isMeant);

  std::vector<Watch> watches_;
};

}  // namespace simulated
