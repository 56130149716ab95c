#include <gtest/gtest.h>

#include "NaiveInventory.h"
#include "RandomRegistry.h"
#include "inventory/InstalledApps.h"
#include "support/Records.h"
#include "support/RenderedRegistry.h"

namespace kestrelbay {
namespace {

TEST(InventoryProperty, OfRandomRegistriesEqualsASecondImplementation) {
  std::size_t records = 0;
  for (std::uint32_t seed = 0; seed < 2500; ++seed) {
    RandomRegistry random(seed);
    PlainRegistry registry = random.Make();
    random.DenySome(registry);
    simulated::Machine& machine = UseMachineWith(registry);
    const PlainRecords apps = RecordsOf(ScanInstalledApps());
    ASSERT_EQ(Describe(apps), Describe(ScanNaively(registry))) << "seed " << seed << "\n"
                                                               << Describe(registry);
    ASSERT_EQ(machine.OpenKeys(), 0U) << "seed " << seed;
    records += apps.size();
  }
  // A check of the test itself: the registries are neither mostly empty nor mostly filtered out.
  EXPECT_GT(records, 2500U * 2);
}

}  // namespace
}  // namespace kestrelbay
