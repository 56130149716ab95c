/**
 * The registry of a simulated machine: every hive below its predefined keys, and the two views of it.
 *
 * Paths are whole, such as u"HKEY_LOCAL_MACHINE\\Software\\App", without regard to case; "HKLM", "HKCU" and
 * "HKU" serve as well. They name keys where they are stored: what the 32-bit view shows stands below
 * Wow6432Node. HKEY_CURRENT_USER is the hive of the machine's user below HKEY_USERS, which is always there,
 * and HKEY_CLASSES_ROOT is HKEY_LOCAL_MACHINE\\Software\\Classes.
 *
 * Safe for any number of threads: every operation holds the tree's own lock.
 */
#pragma once

#include <condition_variable>
#include <mutex>

#include "platform/Constants.h"
#include "simulated/registry/Key.h"
#include "simulated/registry/Watches.h"

namespace simulated {

/** How a key is looked for; the native view is the 64-bit one. */
enum class View { Native, Bits32 };

class RegistryTree {
 public:
  RegistryTree();
  RegistryTree(const RegistryTree&) = delete;
  RegistryTree& operator=(const RegistryTree&) = delete;

  /**
   * Builds the machine: keys above are made as needed, an existing value is replaced. No change is kept.
   * @throws std::invalid_argument where the path begins with no predefined key, std::length_error as Key does
   */
  Key& CreateKey(std::u16string_view path);
  void SetValue(std::u16string_view path, std::u16string_view name, platform::DWORD type,
                std::span<const std::uint8_t> bytes);
  /** REG_SZ (or another text type) with its NUL. */
  void SetText(std::u16string_view path, std::u16string_view name, std::u16string_view text,
               platform::DWORD type = platform::REG_SZ);
  /** REG_DWORD. */
  void SetNumber(std::u16string_view path, std::u16string_view name, std::uint32_t number);
  void SetLastWriteTime(std::u16string_view path, std::uint64_t fileTime);
  /** Refuses rights on that key alone: an open that asks for one of them fails with ERROR_ACCESS_DENIED. */
  void Deny(std::u16string_view path, platform::DWORD rights);
  /** @return false where there is no such key */
  bool RemoveKey(std::u16string_view path);
  bool RemoveValue(std::u16string_view path, std::u16string_view name);

  /** The key at a whole path, or null. The pointer is good until the key is deleted. */
  Key* Find(std::u16string_view path);
  /** The key that `path` below `start` means in a view, or null. */
  Key* Find(Key& start, std::u16string_view path, View view);
  /** The predefined key of that handle value, such as HKEY_USERS, or null. */
  Key* Predefined(platform::HKEY handle);
  /** Whole path of a key, as it is stored. */
  std::u16string PathOf(const Key& key) const;

  /** Has an event signalled by a change, once. */
  void Watch(simulated::Watch watch);
  /** Waits until a watch is set for the key at that path. */
  void WaitForWatch(std::u16string_view path);
  /** A handle was closed, which ends its watches. */
  void EndWatches(platform::HKEY handle);

  /**
   * From now on sub keys are listed in the order in which they are made, for a machine that sorts otherwise
   * than Windows does. The user's hive is then made when it is first spoken of.
   */
  void ListAsMade();
  /** From now on both views are the same, as on 32-bit Windows. */
  void HaveOneView();
  /** Sets which hive below HKEY_USERS is HKEY_CURRENT_USER. */
  void SetUser(std::u16string_view sid);
  std::u16string User() const;

  std::recursive_mutex& Lock();

 private:
  /** The predefined key that `path` begins with, which is cut off it; null for none. */
  Key* TakeRoot(std::u16string_view& path);
  /** A user's hive that nothing was put into goes when another is the user's. */
  void RemoveStandIn();

  mutable std::recursive_mutex lock_;
  std::condition_variable_any watchSet_;
  Key root_;
  Key* machine_;
  Key* users_;
  std::u16string user_;
  bool listsAsMade_ = false;
  bool hasOneView_ = false;
};

}  // namespace simulated
