#include "inventory/AppRecords.h"

#include <gmock/gmock.h>

#include <random>
#include <set>

#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;

AppRecords ListOf(const PlainRecords& records) {
  AppRecords list;
  for (const InstalledAppInfo& record : records) list.Append(record);
  return list;
}

InstalledAppInfo Full() {
  return {.DisplayName = u"name",
          .InstallLocation = u"location",
          .DisplayVersion = u"version",
          .UninstallString = u"uninstall",
          .rootKeyStr = u"root",
          .subKeyPath = u"path",
          .architecture = 2,
          .DisplayIcon = u"icon",
          .IconText = "icon text",
          .InstallDate = u"date",
          .LastWriteTime = u"time"};
}

TEST(AppRecords, KeepsEachFieldInItsPlace) {
  EXPECT_EQ(Describe(ListOf({Full()})), Describe(PlainRecords{Full()}));
}

TEST(AppRecords, EmptyTextsStayEmptyBetweenOthers) {
  const AppRecords list = ListOf({{}, Named(u"App"), {}});
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(Describe(list), Describe(PlainRecords{{}, Named(u"App"), {}}));
}

TEST(AppRecords, NulsInATextAreKept) {
  const AppRecords list = ListOf({Named(u"a\0b\0"s)});
  EXPECT_EQ(list[0].DisplayName, u"a\0b\0"s);
}

TEST(AppRecords, TextsAreCopies) {
  InstalledAppInfo record = Named(u"App");
  AppRecords list;
  list.Append(record);
  record.DisplayName = u"gone";
  EXPECT_EQ(list[0].DisplayName, u"App");
}

TEST(AppRecords, TextsLongerThanABlockHaveOneOfTheirOwn) {
  PlainRecords records;
  for (const std::size_t chars : {1U, 70000U, 3U, 1U << 20, 5U}) {
    records.push_back(Named(std::u16string(chars, u'n')));
    records.back().subKeyPath = std::u16string(chars, u'p');
  }
  EXPECT_TRUE(NamesOf(ListOf(records)) == NamesOf(records));
  EXPECT_EQ(ListOf(records)[3].subKeyPath.size(), std::size_t{1} << 20);
}

// Lengths of every kind, over many blocks: also those that fill one to its last byte.
TEST(AppRecords, RandomRecordsComeBackWhole) {
  std::mt19937 random(1);
  PlainRecords records(20000);
  for (InstalledAppInfo& record : records) {
    for (auto text : {&InstalledAppInfo::DisplayName, &InstalledAppInfo::InstallLocation,
                      &InstalledAppInfo::UninstallString, &InstalledAppInfo::subKeyPath,
                      &InstalledAppInfo::DisplayIcon, &InstalledAppInfo::LastWriteTime}) {
      (record.*text).assign(random() % 80, static_cast<char16_t>(u'a' + random() % 26));
    }
    record.IconText.assign(random() % 3 * 7, 'i');
    record.architecture = static_cast<RegistryView>(random() % 3);
  }
  EXPECT_TRUE(Describe(ListOf(records)) == Describe(records));
}

TEST(AppRecords, RecordsKeepTheirAddressWhileTheListGrowsAndMoves) {
  AppRecords list;
  std::vector<const AppRecord*> addresses;
  for (char16_t name = u'a'; name < u'a' + 5000; ++name) addresses.push_back(&list.Append(Named({name})));
  const AppRecords moved = std::move(list);
  EXPECT_TRUE(std::ranges::equal(moved.Apps(), addresses));
  EXPECT_EQ(std::set(addresses.begin(), addresses.end()).size(), addresses.size());
  EXPECT_EQ(moved[4999].DisplayName, std::u16string(1, u'a' + 4999));
}

TEST(AppRecords, RecordsAreAlignedBehindTextsOfAnyLength) {
  AppRecords list;
  for (std::size_t chars = 0; chars < 20; ++chars) {
    const AppRecord& app = list.Append(Named(std::u16string(chars, u'n')));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&app) % alignof(AppRecord), 0U) << chars;
    list.SetIconText(chars, std::string(chars, 'i'));
  }
}

TEST(AppRecords, TakesRecordsAfterItWasMovedFrom) {
  AppRecords list = ListOf({Named(u"App")});
  const AppRecords moved = std::exchange(list, {});
  list.Append(Named(u"Other"));
  EXPECT_THAT(NamesOf(moved), ElementsAre(u"App"));
  EXPECT_THAT(NamesOf(list), ElementsAre(u"Other"));
}

TEST(AppRecords, IconTextIsReplacedAndTheOthersStay) {
  AppRecords list = ListOf({Named(u"a"), Named(u"b")});
  const std::string picture(300000, 'p');
  list.SetIconText(0, "path");
  list.SetIconText(1, picture);
  EXPECT_EQ(list[0].IconText, "path");
  EXPECT_TRUE(list[1].IconText == picture);
  list.SetIconText(1, "");
  EXPECT_EQ(list[1].IconText, "");
  EXPECT_EQ(list[0].IconText, "path");
  EXPECT_THAT(NamesOf(list), ElementsAre(u"a", u"b"));
}

TEST(AppRecords, ArrangedIsInTheOrderOfTheIndexes) {
  AppRecords list = ListOf({Named(u"cherry"), Named(u"Banana"), Named(u"apple")});
  list.Arrange(std::vector<std::uint32_t>{2, 1, 0});
  EXPECT_THAT(NamesOf(list), ElementsAre(u"apple", u"Banana", u"cherry"));
}

TEST(AppRecords, RecordsWithoutAnIndexAreNoLongerThere) {
  AppRecords list = ListOf({Named(u"a"), Named(u"b"), Named(u"c")});
  list.Arrange(std::vector<std::uint32_t>{0, 2});
  EXPECT_THAT(NamesOf(list), ElementsAre(u"a", u"c"));
  list.Arrange(std::vector<std::uint32_t>{});
  EXPECT_TRUE(list.empty());
}

}  // namespace
}  // namespace kestrelbay
