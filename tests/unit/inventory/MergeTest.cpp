#include "inventory/Merge.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "NaiveInventory.h"
#include "inventory/Scan.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

/** @return the list after the records are added one after another */
PlainRecords AddAll(const PlainRecords& records) {
  Scan scan;
  for (const InstalledAppInfo& record : records) scan.AddOrMergeApp(record);
  return RecordsOf(scan.TakeApps());
}

InstalledAppInfo First() {
  return {.DisplayName = u"App",
          .InstallLocation = u"C:\\App",
          .DisplayVersion = u"1.0",
          .UninstallString = u"",
          .rootKeyStr = u"HKEY_LOCAL_MACHINE",
          .subKeyPath = u"Uninstall\\First",
          .architecture = 2,
          .DisplayIcon = u"C:\\App\\app.exe",
          .IconText = "",
          .InstallDate = u"20240101",
          .LastWriteTime = u"1"};
}

InstalledAppInfo Second() {
  InstalledAppInfo record = First();
  record.rootKeyStr = u"HKEY_USERS";
  record.subKeyPath = u"Uninstall\\Second";
  record.InstallDate = u"20240202";
  record.LastWriteTime = u"2";
  return record;
}

TEST(AddOrMergeApp, AppendsANewName) {
  InstalledAppInfo other = First();
  other.DisplayName = u"Other";
  EXPECT_EQ(Describe(AddAll({First(), other})), Describe(PlainRecords{First(), other}));
}

TEST(AddOrMergeApp, NamesThatDifferOnlyInCaseAreDifferent) {
  InstalledAppInfo other = First();
  other.DisplayName = u"APP";
  EXPECT_EQ(AddAll({First(), other}).size(), 2U);
}

TEST(AddOrMergeApp, MergedRecordIsTheNewOneWithTheRegistryPathOfTheEarlier) {
  InstalledAppInfo merged = Second();
  merged.rootKeyStr = u"HKEY_LOCAL_MACHINE";
  merged.subKeyPath = u"Uninstall\\First";
  EXPECT_EQ(Describe(AddAll({First(), Second()})), Describe(PlainRecords{merged}));
}

TEST(AddOrMergeApp, DateTimeAndIconTextAreThoseOfTheNewRecordEvenIfEmpty) {
  InstalledAppInfo first = First();
  first.IconText = "icon";
  InstalledAppInfo second = Second();
  second.InstallDate = u"";
  second.LastWriteTime = u"";
  const PlainRecords list = AddAll({first, second});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].InstallDate, u"");
  EXPECT_EQ(list[0].LastWriteTime, u"");
  EXPECT_EQ(list[0].IconText, "");
}

TEST(AddOrMergeApp, MergedRecordIsAtTheEndOfTheList) {
  InstalledAppInfo other = First();
  other.DisplayName = u"Other";
  InstalledAppInfo third = First();
  third.DisplayName = u"Third";
  EXPECT_THAT(NamesOf(AddAll({First(), other, third, Second()})), ElementsAre(u"Other", u"Third", u"App"));
}

TEST(AddOrMergeApp, RegistryPathIsKeptUnlessTheEarlierHasRootAndPath) {
  for (auto field : {&InstalledAppInfo::rootKeyStr, &InstalledAppInfo::subKeyPath}) {
    InstalledAppInfo first = First();
    first.*field = u"";
    const PlainRecords list = AddAll({first, Second()});
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].rootKeyStr, u"HKEY_USERS");
    EXPECT_EQ(list[0].subKeyPath, u"Uninstall\\Second");
  }
}

TEST(AddOrMergeApp, DifferentViewsStayTwoRecords) {
  InstalledAppInfo second = Second();
  second.architecture = 1;
  EXPECT_EQ(Describe(AddAll({First(), second})), Describe(PlainRecords{First(), second}));
}

TEST(AddOrMergeApp, UnknownViewTakesTheOther) {
  InstalledAppInfo unknown = Second();
  unknown.architecture = 0;
  ASSERT_EQ(AddAll({First(), unknown}).size(), 1U);
  EXPECT_EQ(AddAll({First(), unknown})[0].architecture, 2);
  ASSERT_EQ(AddAll({unknown, First()}).size(), 1U);
  EXPECT_EQ(AddAll({unknown, First()})[0].architecture, 2);
}

TEST(AddOrMergeApp, MergedRecordMayHaveTheMachinesViewAndAUsersPath) {
  InstalledAppInfo user = Second();
  user.architecture = 0;
  const PlainRecords list = AddAll({user, First()});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].architecture, 2);
  EXPECT_EQ(list[0].rootKeyStr, u"HKEY_USERS");
  EXPECT_EQ(list[0].subKeyPath, u"Uninstall\\Second");
}

// The three texts that must agree, in the order of their comparison.
class AgreeingText : public testing::TestWithParam<std::u16string InstalledAppInfo::*> {};

INSTANTIATE_TEST_SUITE_P(AddOrMergeApp, AgreeingText,
                         testing::Values(&InstalledAppInfo::DisplayIcon, &InstalledAppInfo::InstallLocation,
                                         &InstalledAppInfo::DisplayVersion));

TEST_P(AgreeingText, ThatDiffersKeepsTwoRecords) {
  InstalledAppInfo second = Second();
  second.*GetParam() = u"different";
  EXPECT_EQ(Describe(AddAll({First(), second})), Describe(PlainRecords{First(), second}));
}

TEST_P(AgreeingText, ThatDiffersOnlyInCaseKeepsTwoRecords) {
  InstalledAppInfo first = First();
  first.*GetParam() = u"text";
  InstalledAppInfo second = Second();
  second.*GetParam() = u"Text";
  EXPECT_EQ(AddAll({first, second}).size(), 2U);
}

TEST_P(AgreeingText, MissingInTheNewRecordIsTakenFromTheEarlier) {
  InstalledAppInfo second = Second();
  second.*GetParam() = u"";
  const PlainRecords list = AddAll({First(), second});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].*GetParam(), First().*GetParam());
}

TEST_P(AgreeingText, MissingInTheEarlierStaysAsInTheNewRecord) {
  InstalledAppInfo first = First();
  first.*GetParam() = u"";
  const PlainRecords list = AddAll({first, Second()});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].*GetParam(), Second().*GetParam());
}

InstalledAppInfo WithUninstall(InstalledAppInfo record, std::u16string command) {
  record.UninstallString = std::move(command);
  return record;
}

TEST(AddOrMergeApp, KeepsTwoRecordsWhenBothHaveAnUninstallCommand) {
  EXPECT_EQ(AddAll({WithUninstall(First(), u"u.exe"), WithUninstall(Second(), u"v.exe")}).size(), 2U);
  EXPECT_EQ(AddAll({WithUninstall(First(), u"u.exe"), WithUninstall(Second(), u"u.exe")}).size(), 2U);
}

TEST(AddOrMergeApp, UninstallCommandIsComparedWithTheEarlierVersion) {
  const PlainRecords list = AddAll({WithUninstall(First(), u"u.exe"), WithUninstall(Second(), u"1.0")});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].UninstallString, u"1.0");
}

TEST(AddOrMergeApp, OneUninstallCommandServesBoth) {
  for (const PlainRecords& records : {PlainRecords{WithUninstall(First(), u"u.exe"), Second()},
                                      PlainRecords{First(), WithUninstall(Second(), u"u.exe")}}) {
    const PlainRecords list = AddAll(records);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].UninstallString, u"u.exe");
  }
}

TEST(AddOrMergeApp, KeepsTheFieldsTakenBeforeADisagreement) {
  InstalledAppInfo second = Second();
  second.architecture = 0;
  second.DisplayIcon = u"";
  second.InstallLocation = u"";
  second.DisplayVersion = u"2.0";
  const PlainRecords list = AddAll({First(), second});
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1].architecture, 2);
  EXPECT_EQ(list[1].DisplayIcon, u"C:\\App\\app.exe");
  EXPECT_EQ(list[1].InstallLocation, u"C:\\App");
  EXPECT_EQ(list[1].DisplayVersion, u"2.0");
  EXPECT_EQ(list[1].subKeyPath, u"Uninstall\\Second");
}

TEST(AddOrMergeApp, CommandsThatDisagreeKeepTheVersionTaken) {
  InstalledAppInfo second = WithUninstall(Second(), u"v.exe");
  second.DisplayVersion = u"";
  const PlainRecords list = AddAll({WithUninstall(First(), u"u.exe"), second});
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1].DisplayVersion, u"1.0");
  EXPECT_EQ(list[1].UninstallString, u"v.exe");
}

TEST(AddOrMergeApp, TakesNoFieldAfterADisagreement) {
  InstalledAppInfo second = Second();
  second.DisplayIcon = u"different";
  second.InstallLocation = u"";
  second.DisplayVersion = u"";
  const PlainRecords list = AddAll({WithUninstall(First(), u"u.exe"), second});
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1].InstallLocation, u"");
  EXPECT_EQ(list[1].DisplayVersion, u"");
  EXPECT_EQ(list[1].UninstallString, u"");
}

TEST(AddOrMergeApp, OnlyTheFirstOfANameIsCompared) {
  InstalledAppInfo narrow = First();
  narrow.architecture = 1;
  // It agrees with the second record of the name, but only the first one is compared.
  EXPECT_EQ(AddAll({narrow, First(), Second()}).size(), 3U);
}

TEST(AddOrMergeApp, AfterAMergeTheNextOneIsTheFirstOfTheName) {
  InstalledAppInfo narrow = First();
  narrow.architecture = 1;
  InstalledAppInfo unknown = Second();
  unknown.architecture = 0;
  const PlainRecords list = AddAll({narrow, First(), unknown, Second()});
  // The record without a view merged with the 32-bit one, which moved to the end. So the last one meets the
  // 64-bit one.
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].architecture, 1);
  EXPECT_EQ(list[1].architecture, 2);
}

TEST(AddOrMergeApp, ChainOfMergesKeepsTheFirstRegistryPath) {
  PlainRecords records;
  for (char16_t number = u'a'; number <= u'z'; ++number) {
    records.push_back(Second());
    records.back().subKeyPath = number;
    records.back().InstallDate = number;
  }
  const PlainRecords list = AddAll(records);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].subKeyPath, u"a");
  EXPECT_EQ(list[0].InstallDate, u"z");
}

TEST(AddOrMergeApp, TenThousandOfOneNameStayOrMergeByTheRule) {
  constexpr std::size_t kCount = 10000;
  EXPECT_EQ(AddAll(PlainRecords(kCount, WithUninstall(First(), u"u.exe"))).size(), kCount);
  EXPECT_EQ(AddAll(PlainRecords(kCount, First())).size(), 1U);
}

InstalledAppInfo RandomRecord(std::mt19937& random) {
  const auto one = [&](std::vector<std::u16string> texts) { return texts[random() % texts.size()]; };
  return {.DisplayName = one({u"App", u"app", u"Other"}),
          .InstallLocation = one({u"", u"", u"C:\\A", u"C:\\B"}),
          .DisplayVersion = one({u"", u"", u"1", u"2"}),
          .UninstallString = one({u"", u"", u"1", u"u.exe"}),
          .rootKeyStr = one({u"", u"HKEY_USERS", u"HKEY_LOCAL_MACHINE"}),
          .subKeyPath = one({u"", u"P", u"Q", u"R"}),
          .architecture = static_cast<RegistryView>(random() % 3),
          .DisplayIcon = one({u"", u"", u"i", u"j"}),
          .IconText = "",
          .InstallDate = one({u"", u"d"}),
          .LastWriteTime = one({u"1", u"2", u"3"})};
}

TEST(AddOrMergeApp, RandomListsEqualASecondImplementation) {
  for (std::uint32_t seed = 0; seed < 4000; ++seed) {
    std::mt19937 random(seed);
    PlainRecords records(random() % 12);
    std::ranges::generate(records, [&] { return RandomRecord(random); });
    PlainRecords expected;
    for (const InstalledAppInfo& record : records) AddNaively(expected, record);
    ASSERT_EQ(Describe(AddAll(records)), Describe(expected)) << "seed " << seed;
  }
}

}  // namespace
}  // namespace kestrelbay
