#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "inventory/AppNameLess.h"
#include "inventory/AppRecords.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

InstalledAppInfo Record(const std::u16string& name, const std::u16string& version) {
  InstalledAppInfo record = Named(name);
  record.DisplayVersion = version;
  return record;
}

PlainRecords Sorted(const PlainRecords& records) {
  AppRecords apps;
  for (const InstalledAppInfo& record : records) apps.Append(record);
  apps.SortByName();
  return RecordsOf(apps);
}

std::vector<std::u16string> SortedNames(const std::vector<std::u16string>& names) {
  PlainRecords records;
  for (const std::u16string& name : names) records.push_back(Record(name, u""));
  return NamesOf(Sorted(records));
}

TEST(SortByName, OfAnEmptyListIsEmpty) { EXPECT_THAT(SortedNames({}), ElementsAre()); }

TEST(SortByName, KeepsTheOrderOfEqualNames) {
  EXPECT_THAT(SortedNames({u"Same name", u"same NAME", u"Other", u"SAME name"}),
              ElementsAre(u"Other", u"Same name", u"same NAME", u"SAME name"));
}

TEST(SortByName, ComparesLongNamesToTheirEnd) {
  const std::u16string shared = u"Redistributable Package (x64) - ";
  EXPECT_THAT(SortedNames({shared + u"14.2", shared + u"14.10", shared, shared + u"14"}),
              ElementsAre(shared, shared + u"14", shared + u"14.10", shared + u"14.2"));
}

// Few letters, so that names share prefixes of every length, are prefixes of others, or are equal.
TEST(SortByName, IsTheStableOrderOfWholeNames) {
  std::mt19937 random(3);
  constexpr char16_t kAlphabet[] = u"aAb\u00c9";
  for (int round = 0; round < 200; ++round) {
    PlainRecords records(random() % 60);
    for (std::size_t at = 0; at < records.size(); ++at) {
      std::u16string name;
      for (std::size_t chars = random() % 14; chars > 0; --chars) name += kAlphabet[random() % 4];
      records[at] = Record(name, {static_cast<char16_t>(u'0' + at)});
    }
    PlainRecords expected = records;
    std::ranges::stable_sort(expected, AppNameLess, &InstalledAppInfo::DisplayName);
    ASSERT_EQ(Describe(Sorted(records)), Describe(expected));
  }
}

TEST(SortByName, ComparesNoOtherField) {
  InstalledAppInfo first = Record(u"App", u"2");
  first.architecture = 2;
  InstalledAppInfo second = Record(u"App", u"1");
  second.architecture = 1;
  EXPECT_EQ(Describe(Sorted({first, second})), Describe(PlainRecords{first, second}));
}

}  // namespace
}  // namespace kestrelbay
