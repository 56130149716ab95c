/**
 * Many registry changes as one: what is left of them once later ones have replaced earlier ones.
 *
 * It says for each key and value touched what became of it, so that replaying it once or twice, on the
 * machine of the beginning or on one that has seen some of the changes, gives the same.
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

  void WriteTo(RegFileSink& sink) const;

 private:
  struct NameLess {
    bool operator()(std::u16string_view left, std::u16string_view right) const;
  };
  struct Value {
    platform::DWORD type;
    std::vector<std::uint8_t> bytes;
  };
  struct KeyChanges {
    bool isDeletedFirst = false;
    bool isThere = false;
    std::optional<std::uint64_t> lastWriteTime;
    /** Empty for a value that was deleted. */
    std::map<std::u16string, std::optional<Value>, NameLess> values;
  };

  /** By path, a key before those below it, and those below it before all others. */
  std::map<std::u16string, KeyChanges, NameLess> keys_;
  KeyChanges* key_ = nullptr;
};

}  // namespace simulated
