#include <gtest/gtest.h>

#include "NaiveInventory.h"
#include "OnMachine.h"
#include "RandomRegistry.h"
#include "Records.h"
#include "inventory/InstalledApps.h"

namespace kestrelbay {
namespace {

void Render(const PlainKey& from, simulated::RegistryTree& registry, const std::u16string& path) {
  registry.CreateKey(path);
  for (const PlainValue& value : from.values) registry.SetValue(path, value.name, value.type, value.bytes);
  if (from.lastWriteTime) registry.SetLastWriteTime(path, from.lastWriteTime);
  if (from.denied) registry.Deny(path, kAllReading);
  for (const PlainKey& subKey : from.subKeys) Render(subKey, registry, path + u"\\" + subKey.name);
}

void Render(const PlainRegistry& from, simulated::RegistryTree& registry) {
  Render(from.machine, registry, u"HKEY_LOCAL_MACHINE");
  for (const PlainKey& software : from.machine32.subKeys) {
    Render(software, registry, u"HKEY_LOCAL_MACHINE\\Software\\Wow6432Node");
  }
  Render(from.users, registry, u"HKEY_USERS");
}

TEST(InventoryProperty, OfRandomRegistriesIsWhatTheRulesWrittenOutMakeOfThem) {
  std::size_t records = 0;
  for (std::uint32_t seed = 0; seed < 2500; ++seed) {
    RandomRegistry random(seed);
    PlainRegistry registry = random.Make();
    random.DenySome(registry);
    simulated::Machine& machine = simulated::Machine::Use(std::make_unique<simulated::Machine>());
    Render(registry, machine.registry);
    const InstalledAppList apps = ScanInstalledApps();
    ASSERT_EQ(Describe(apps), Describe(ScanNaively(registry))) << "seed " << seed << "\n"
                                                               << Describe(registry);
    ASSERT_EQ(machine.OpenKeys(), 0U) << "seed " << seed;
    records += apps.size();
  }
  // The registries are worth comparing: neither mostly empty nor mostly filtered away.
  EXPECT_GT(records, 2500U * 2);
}

}  // namespace
}  // namespace kestrelbay
