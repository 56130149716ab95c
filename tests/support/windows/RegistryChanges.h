/**
 * Changes to the real registry that can be undone: the keys made are deleted and the values set get back what
 * they had. A list of the keys is kept on disk, so that those of a test that crashed or was killed, which
 * undoes nothing, go when the next one begins. Failures are thrown as std::runtime_error. One thread.
 */
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "TestMachine.h"

namespace tests {

/** The open key at a path, closed with this object; holds null where there is no such key. */
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
  /** Deletes what an earlier test left behind. */
  RegistryChanges();
  ~RegistryChanges();
  RegistryChanges(const RegistryChanges&) = delete;
  RegistryChanges& operator=(const RegistryChanges&) = delete;

  void CreateKey(const KeyPath& path);
  void SetValue(const KeyPath& path, const std::u16string& name, DWORD type, std::span<const BYTE> bytes);
  bool DeleteKey(const KeyPath& path);
  /** Has a key that somebody else is going to make deleted in the end, with those above it that are missing
   * now. */
  void DeleteLater(const KeyPath& path);

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

  void WillMake(const KeyPath& key);
  void DeleteMadeKeys();

  static std::optional<Value> Read(const OpenKey& key, const std::u16string& name);
  static void Restore(const EarlierValue& earlier);

  std::vector<KeyPath> madeKeys;
  std::vector<EarlierValue> earlierValues;
};

inline const wchar_t* Wide(const std::u16string& text) {
  return reinterpret_cast<const wchar_t*>(text.c_str());
}

}  // namespace tests
