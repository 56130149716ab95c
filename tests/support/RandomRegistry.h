/**
 * Makes small registries of few names and values, so that much of them clashes and merges.
 *
 * Names are such that all systems sort them alike: letters of ASCII and no sign between Z and a, but where a
 * name ends. What a seed makes is the same everywhere.
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
  /** Refuses that some of the keys be opened. */
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
  /** Sets a value with `odds` to one that it is set. */
  void SetMaybe(PlainKey& key, std::u16string_view name, const Names& texts, std::uint32_t odds);
  void DenySome(PlainKey& key);

  std::mt19937 random;
};

}  // namespace kestrelbay
