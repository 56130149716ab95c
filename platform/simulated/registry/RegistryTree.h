/**
 * The registry of a simulated machine: all hives below the predefined keys, in two views.
 *
 * Paths are whole, such as u"HKEY_LOCAL_MACHINE\\Software\\App", and case-insensitive. "HKLM", "HKCU", "HKU"
 * and "HKCR" are allowed as well. A path names a key where it is stored: keys of the 32-bit view are below
 * Wow6432Node. HKEY_CURRENT_USER is the hive of the machine's user below HKEY_USERS, which always exists.
 * HKEY_CLASSES_ROOT is HKEY_LOCAL_MACHINE\\Software\\Classes.
 *
 * Thread-safe: every operation holds the tree's lock.
 */
#pragma once

#include <condition_variable>
#include <mutex>

#include "platform/Constants.h"
#include "simulated/registry/Key.h"
#include "simulated/registry/Watches.h"

namespace simulated {

/** The view in which a path is looked up. The native view is the 64-bit one. */
enum class View { Native, Bits32 };

class RegistryTree {
 public:
  RegistryTree();
  RegistryTree(const RegistryTree&) = delete;
  RegistryTree& operator=(const RegistryTree&) = delete;

  /**
   * These functions build the machine. They create missing parents, replace existing values and write nothing
   * to disk.
   * @throws std::invalid_argument if the path does not begin with a predefined key, std::length_error as Key
   * does
   */
  Key& CreateKey(std::u16string_view path);
  void SetValue(std::u16string_view path, std::u16string_view name, platform::DWORD type,
                std::span<const std::uint8_t> bytes);
  /** Sets a text with its null terminator. */
  void SetText(std::u16string_view path, std::u16string_view name, std::u16string_view text,
               platform::DWORD type = platform::REG_SZ);
  /** Sets a REG_DWORD. */
  void SetNumber(std::u16string_view path, std::u16string_view name, std::uint32_t number);
  void SetLastWriteTime(std::u16string_view path, std::uint64_t fileTime);
  /** Refuses rights on that key: an open that asks for one of them fails with ERROR_ACCESS_DENIED. */
  void Deny(std::u16string_view path, platform::DWORD rights);
  /** @return false if there is no such key, or if it is a predefined key */
  bool RemoveKey(std::u16string_view path);
  bool RemoveValue(std::u16string_view path, std::u16string_view name);

  /** Returns the key at a whole path, or null. Borrowed: valid until the key is deleted. */
  Key* Find(std::u16string_view path);
  /** Returns the key that `path` below `start` names in a view, or null. */
  Key* Find(Key& start, std::u16string_view path, View view);
  /** Returns the predefined key of a handle value such as HKEY_USERS, or null. */
  Key* Predefined(platform::HKEY handle);
  /** Returns the whole path of a key where it is stored. */
  std::u16string PathOf(const Key& key) const;

  /** Makes the next change signal an event, once. */
  void Watch(simulated::Watch watch);
  /** For tests: blocks until a watch is set for the key at that path. */
  void WaitForWatch(std::u16string_view path);
  /** Ends the watches of a handle that is closed. */
  void EndWatches(platform::HKEY handle);

  /**
   * From now on subkeys are listed in the order of their creation, for a captured machine that does not sort
   * as Windows does. The user's hive is then created on first use, so that it gets its place among the
   * others.
   */
  void ListAsMade();
  /** From now on both views are the same, as on 32-bit Windows. */
  void HaveOneView();
  /** Makes HKEY_CURRENT_USER the hive of that name below HKEY_USERS. */
  void SetUser(std::u16string_view sid);
  std::u16string User() const;

  std::recursive_mutex& Lock();

 private:
  /** Takes the predefined key off the beginning of `path`. @return null if there is none */
  Key* TakeRoot(std::u16string_view& path);
  /** Removes the hive of the present user if it is empty: the next user has another one. */
  void RemoveEmptyUserHive();

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
