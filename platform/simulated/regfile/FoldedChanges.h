/**
 * Many registry changes folded into one: later ones have replaced earlier ones.
 *
 * The result states for each key and value what became of it. Replaying it once or twice, on the registry of
 * the beginning or on one that has some of the changes, gives the same registry.
 */
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulated/regfile/RegFileSink.h"

namespace simulated {

class FoldedChanges : public RegFileSink {
 public:
  void OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) override;
  void DeleteKey(std::u16string_view path) override;
  void SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) override;
  void DeleteValue(std::u16string_view name) override;

  bool IsEmpty() const { return keys_.empty(); }
  /** Whether the key is there after the changes; empty if they do not touch it. */
  std::optional<bool> HasKey(std::u16string_view path) const;
  /** The same for a value. */
  std::optional<bool> HasValue(std::u16string_view path, std::u16string_view name) const;

  /** Writes the changes in the order in which their keys and values were first named. */
  void WriteTo(RegFileSink& sink) const;

 private:
  struct NameLess {
    using is_transparent = void;
    bool operator()(std::u16string_view left, std::u16string_view right) const;
  };
  struct Value {
    std::size_t order;
    bool isThere;
    platform::DWORD type;
    std::vector<std::uint8_t> bytes;
  };
  struct KeyChanges {
    std::size_t order = 0;
    bool isDeletedFirst = false;
    bool isThere = false;
    std::optional<std::uint64_t> lastWriteTime;
    std::map<std::u16string, Value, NameLess> values;
  };
  using Keys = std::map<std::u16string, KeyChanges, NameLess>;

  KeyChanges& Changes(std::u16string_view path);
  void ChangeValue(std::u16string_view name, bool isThere, platform::DWORD type,
                   std::span<const std::uint8_t> bytes);
  /** Whether a deletion of the key, or of a key above, is among the changes. */
  bool IsDeletedFirst(std::u16string_view path) const;
  static void WriteKey(const std::u16string& path, const KeyChanges& changes, RegFileSink& sink);

  /** By path; the keys below a key follow it. */
  Keys keys_;
  std::size_t nextOrder_ = 0;
  KeyChanges* key_ = nullptr;
};

}  // namespace simulated
