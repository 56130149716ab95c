/**
 * Changes to the real registry that can be undone: created keys are deleted, and replaced values are
 * restored. A list of the keys is on disk, because a test that crashes undoes nothing: the next test then
 * deletes its keys. Failures throw std::runtime_error. Not thread-safe.
 */
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "TestMachine.h"

namespace tests {

/** The open key at a path, closed with this object. Holds null if the key does not exist. */
class OpenKey {
 public:
  OpenKey(const KeyPath& path, REGSAM access);
  ~OpenKey();
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;

  explicit operator bool() const { return handle != nullptr; }
  HKEY Get() const { return handle; }

 private:
  HKEY handle = nullptr;
};

class RegistryChanges {
 public:
  /** Deletes the keys that an earlier test left. */
  RegistryChanges();
  ~RegistryChanges();
  RegistryChanges(const RegistryChanges&) = delete;
  RegistryChanges& operator=(const RegistryChanges&) = delete;

  /** Whether keys of a test that ended are still there, because rights to delete them are missing. */
  static bool HasLeftKeys();

  void CreateKey(const KeyPath& path);
  void SetValue(const KeyPath& path, const std::u16string& name, DWORD type, std::span<const BYTE> bytes);
  /** @return false where there is no such key @throws NotOnThisMachine for a key of others on a machine in
   * use */
  bool DeleteKey(const KeyPath& path);
  /** Deletes at the end a key that another program will create, and those of its parents that are missing
   * now. */
  void DeleteLater(const KeyPath& path);
  /** Whether the key, or one above it, is one that was made or will be. */
  bool Owns(const KeyPath& path) const;
  /** @throws NotOnThisMachine if the machine is in use and others own the key */
  void RequireOwn(const KeyPath& path) const;

 private:
  struct Value {
    DWORD type;
    std::vector<BYTE> bytes;
  };
  struct EarlierValue {
    KeyPath path;
    std::u16string name;
    std::optional<Value> value;
  };

  /** Notes the missing keys of a path, before they are made. @return whether there are any */
  bool WillMake(const KeyPath& path);
  static bool AddToList(const KeyPath& key);
  void RequireOwnPlace(const KeyPath& topmostMissing) const;
  void DeleteMadeKeys();

  static bool Erase(const KeyPath& path);
  /** Deletes a key that others may use as well, unless somebody uses it. */
  static void EraseEmpty(const KeyPath& path);
  static std::optional<Value> Read(const OpenKey& key, const std::u16string& name);
  static void Restore(const EarlierValue& earlier);

  std::vector<KeyPath> madeKeys;
  std::vector<EarlierValue> earlierValues;
};

inline const wchar_t* Wide(const std::u16string& text) {
  return reinterpret_cast<const wchar_t*>(text.c_str());
}

}  // namespace tests
