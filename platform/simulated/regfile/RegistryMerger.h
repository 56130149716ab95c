/** Merges a registration file into a registry, in memory only. */
#pragma once

#include "simulated/regfile/RegFileSink.h"
#include "simulated/registry/RegistryTree.h"

namespace simulated {

class RegistryMerger : public RegFileSink {
 public:
  /** @param registry  borrowed */
  explicit RegistryMerger(RegistryTree& registry) : registry_(registry) {}
  void OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) override;
  void DeleteKey(std::u16string_view path) override;
  void SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) override;
  void DeleteValue(std::u16string_view name) override;

 private:
  RegistryTree& registry_;
  Key* key_ = nullptr;
};

}  // namespace simulated
