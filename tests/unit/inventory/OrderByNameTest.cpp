#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "inventory/ScanResult.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

AppRecords Named(const std::vector<std::u16string>& names) {
  AppRecords apps;
  for (const std::u16string& name : names) {
    InstalledAppInfo record;
    record.DisplayName = name;
    apps.Append(record);
  }
  return apps;
}

// What the order is by definition: a stable sort that compares whole names.
std::vector<std::uint32_t> OrderByComparing(const AppRecords& apps) {
  std::vector<std::uint32_t> order(apps.size());
  std::iota(order.begin(), order.end(), 0U);
  std::ranges::stable_sort(order, AppNameLess, [&](std::uint32_t index) { return apps[index].DisplayName; });
  return order;
}

TEST(OrderByName, OfNothingIsEmpty) { EXPECT_THAT(OrderByName({}), ElementsAre()); }

TEST(OrderByName, EqualNamesStayAsTheyStand) {
  EXPECT_THAT(OrderByName(Named({u"Same name", u"same NAME", u"Other", u"SAME name"})),
              ElementsAre(2, 0, 1, 3));
}

TEST(OrderByName, LongNamesDifferAtTheirEnd) {
  const std::u16string shared = u"Redistributable Package (x64) - ";
  EXPECT_THAT(OrderByName(Named({shared + u"14.2", shared + u"14.10", shared, shared + u"14"})),
              ElementsAre(2, 3, 1, 0));
}

// Few letters, so that names share beginnings of every length, end at each other's middle, or are the same.
TEST(OrderByName, IsTheOrderOfComparingWholeNames) {
  std::mt19937 random(3);
  constexpr char16_t kAlphabet[] = u"aAb\u00c9";
  for (int round = 0; round < 200; ++round) {
    std::vector<std::u16string> names(random() % 60);
    for (std::u16string& name : names) {
      for (std::size_t chars = random() % 14; chars > 0; --chars) name += kAlphabet[random() % 4];
    }
    const AppRecords apps = Named(names);
    ASSERT_EQ(OrderByName(apps), OrderByComparing(apps));
  }
}

TEST(OrderByName, NoOtherFieldPlaysAPart) {
  InstalledAppInfo record;
  record.DisplayName = u"App";
  record.DisplayVersion = u"2";
  record.architecture = 2;
  InstalledAppInfo other = record;
  other.DisplayVersion = u"1";
  other.architecture = 1;
  AppRecords apps;
  apps.Append(record);
  apps.Append(other);
  EXPECT_THAT(OrderByName(apps), ElementsAre(0, 1));
}

}  // namespace
}  // namespace kestrelbay
