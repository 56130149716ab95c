/**
 * Creates small registries with few names and values, so that many records have equal names and merge.
 *
 * All systems sort the names alike: they have ASCII letters and, except at their end, no character between Z
 * and a. The same seed gives the same registry everywhere.
 */
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "PlainRegistry.h"

namespace kestrelbay {

class RandomRegistry {
 public:
  explicit RandomRegistry(std::uint32_t seed) : random(seed) {}

  PlainRegistry Make();
  /** Denies access to some of the keys. */
  void DenySome(PlainRegistry& registry);

 private:
  using Names = std::vector<std::u16string>;

  bool OneIn(std::uint32_t count) { return random() % count == 0; }
  const std::u16string& Any(const Names& names) { return names[random() % names.size()]; }

  void FillProducts(PlainRegistry& registry);
  void FillProduct(PlainKey& key);
  void FillUninstallKey(PlainKey& root, const std::u16string& path, std::uint32_t mostEntries);
  void FillUserData(PlainKey& root);
  void FillHive(PlainKey& users, const std::u16string& hive);
  void FillEntry(PlainKey& key);
  void SetRarely(PlainKey& key, std::u16string_view name, const Names& texts);
  /** Sets a value with a probability of `odds` to 1. */
  void SetMaybe(PlainKey& key, std::u16string_view name, const Names& texts, std::uint32_t odds);
  void DenySome(PlainKey& key);

  std::mt19937 random;
};

}  // namespace kestrelbay
