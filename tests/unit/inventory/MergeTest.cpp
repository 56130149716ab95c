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
PlainRecords ListOf(const PlainRecords& records) {
  Scan scan;
  for (const InstalledAppInfo& record : records) scan.AddOrMergeApp(record);
  return RecordsOf(scan.TakeApps());
}

InstalledAppInfo Full() {
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
  InstalledAppInfo record = Full();
  record.rootKeyStr = u"HKEY_USERS";
  record.subKeyPath = u"Uninstall\\Second";
  record.InstallDate = u"20240202";
  record.LastWriteTime = u"2";
  return record;
}

TEST(AddOrMergeApp, AppendsANewName) {
  InstalledAppInfo other = Full();
  other.DisplayName = u"Other";
  EXPECT_EQ(Describe(ListOf({Full(), other})), Describe(PlainRecords{Full(), other}));
}

TEST(AddOrMergeApp, NamesThatDifferOnlyInCaseAreDifferent) {
  InstalledAppInfo other = Full();
  other.DisplayName = u"APP";
  EXPECT_EQ(ListOf({Full(), other}).size(), 2U);
}

TEST(AddOrMergeApp, MergedRecordIsTheNewOneWithTheRegistryPathOfTheEarlier) {
  InstalledAppInfo merged = Second();
  merged.rootKeyStr = u"HKEY_LOCAL_MACHINE";
  merged.subKeyPath = u"Uninstall\\First";
  EXPECT_EQ(Describe(ListOf({Full(), Second()})), Describe(PlainRecords{merged}));
}

TEST(AddOrMergeApp, DateTimeAndIconTextAreThoseOfTheNewRecordEvenIfEmpty) {
  InstalledAppInfo first = Full();
  first.IconText = "icon";
  InstalledAppInfo second = Second();
  second.InstallDate = u"";
  second.LastWriteTime = u"";
  const PlainRecords list = ListOf({first, second});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].InstallDate, u"");
  EXPECT_EQ(list[0].LastWriteTime, u"");
  EXPECT_EQ(list[0].IconText, "");
}

TEST(AddOrMergeApp, MergedRecordIsAtTheEndOfTheList) {
  InstalledAppInfo other = Full();
  other.DisplayName = u"Other";
  InstalledAppInfo third = Full();
  third.DisplayName = u"Third";
  EXPECT_THAT(NamesOf(ListOf({Full(), other, third, Second()})), ElementsAre(u"Other", u"Third", u"App"));
}

TEST(AddOrMergeApp, RegistryPathIsKeptUnlessTheEarlierHasRootAndPath) {
  for (auto field : {&InstalledAppInfo::rootKeyStr, &InstalledAppInfo::subKeyPath}) {
    InstalledAppInfo first = Full();
    first.*field = u"";
    const PlainRecords list = ListOf({first, Second()});
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].rootKeyStr, u"HKEY_USERS");
    EXPECT_EQ(list[0].subKeyPath, u"Uninstall\\Second");
  }
}

TEST(AddOrMergeApp, DifferentViewsStayTwoRecords) {
  InstalledAppInfo second = Second();
  second.architecture = 1;
  EXPECT_EQ(Describe(ListOf({Full(), second})), Describe(PlainRecords{Full(), second}));
}

TEST(AddOrMergeApp, UnknownViewTakesTheOther) {
  InstalledAppInfo unknown = Second();
  unknown.architecture = 0;
  ASSERT_EQ(ListOf({Full(), unknown}).size(), 1U);
  EXPECT_EQ(ListOf({Full(), unknown})[0].architecture, 2);
  ASSERT_EQ(ListOf({unknown, Full()}).size(), 1U);
  EXPECT_EQ(ListOf({unknown, Full()})[0].architecture, 2);
}

TEST(AddOrMergeApp, MergedRecordMayHaveTheMachinesViewAndAUsersPath) {
  InstalledAppInfo user = Second();
  user.architecture = 0;
  const PlainRecords list = ListOf({user, Full()});
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
  EXPECT_EQ(Describe(ListOf({Full(), second})), Describe(PlainRecords{Full(), second}));
}

TEST_P(AgreeingText, ThatDiffersOnlyInCaseKeepsTwoRecords) {
  InstalledAppInfo first = Full();
  first.*GetParam() = u"text";
  InstalledAppInfo second = Second();
  second.*GetParam() = u"Text";
  EXPECT_EQ(ListOf({first, second}).size(), 2U);
}

TEST_P(AgreeingText, MissingInTheNewRecordIsTakenFromTheEarlier) {
  InstalledAppInfo second = Second();
  second.*GetParam() = u"";
  const PlainRecords list = ListOf({Full(), second});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].*GetParam(), Full().*GetParam());
}

TEST_P(AgreeingText, MissingInTheEarlierStaysAsInTheNewRecord) {
  InstalledAppInfo first = Full();
  first.*GetParam() = u"";
  const PlainRecords list = ListOf({first, Second()});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].*GetParam(), Second().*GetParam());
}

InstalledAppInfo WithUninstall(InstalledAppInfo record, std::u16string command) {
  record.UninstallString = std::move(command);
  return record;
}

TEST(AddOrMergeApp, KeepsTwoRecordsWhenBothHaveAnUninstallCommand) {
  EXPECT_EQ(ListOf({WithUninstall(Full(), u"u.exe"), WithUninstall(Second(), u"v.exe")}).size(), 2U);
  EXPECT_EQ(ListOf({WithUninstall(Full(), u"u.exe"), WithUninstall(Second(), u"u.exe")}).size(), 2U);
}

TEST(AddOrMergeApp, UninstallCommandIsComparedWithTheEarlierVersion) {
  const PlainRecords list = ListOf({WithUninstall(Full(), u"u.exe"), WithUninstall(Second(), u"1.0")});
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].UninstallString, u"1.0");
}

TEST(AddOrMergeApp, OneUninstallCommandServesBoth) {
  for (const PlainRecords& records : {PlainRecords{WithUninstall(Full(), u"u.exe"), Second()},
                                      PlainRecords{Full(), WithUninstall(Second(), u"u.exe")}}) {
    const PlainRecords list = ListOf(records);
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
  const PlainRecords list = ListOf({Full(), second});
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
  const PlainRecords list = ListOf({WithUninstall(Full(), u"u.exe"), second});
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1].DisplayVersion, u"1.0");
  EXPECT_EQ(list[1].UninstallString, u"v.exe");
}

TEST(AddOrMergeApp, TakesNoFieldAfterADisagreement) {
  InstalledAppInfo second = Second();
  second.DisplayIcon = u"different";
  second.InstallLocation = u"";
  second.DisplayVersion = u"";
  const PlainRecords list = ListOf({WithUninstall(Full(), u"u.exe"), second});
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[1].InstallLocation, u"");
  EXPECT_EQ(list[1].DisplayVersion, u"");
  EXPECT_EQ(list[1].UninstallString, u"");
}

TEST(AddOrMergeApp, OnlyTheFirstOfANameIsCompared) {
  InstalledAppInfo narrow = Full();
  narrow.architecture = 1;
  // It agrees with the second record of the name, but only the first one is compared.
  EXPECT_EQ(ListOf({narrow, Full(), Second()}).size(), 3U);
}

TEST(AddOrMergeApp, AfterAMergeTheNextOneIsTheFirstOfTheName) {
  InstalledAppInfo narrow = Full();
  narrow.architecture = 1;
  InstalledAppInfo unknown = Second();
  unknown.architecture = 0;
  const PlainRecords list = ListOf({narrow, Full(), unknown, Second()});
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
  const PlainRecords list = ListOf(records);
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].subKeyPath, u"a");
  EXPECT_EQ(list[0].InstallDate, u"z");
}

TEST(AddOrMergeApp, TenThousandOfOneNameStayOrMergeByTheRule) {
  constexpr std::size_t kCount = 10000;
  EXPECT_EQ(ListOf(PlainRecords(kCount, WithUninstall(Full(), u"u.exe"))).size(), kCount);
  EXPECT_EQ(ListOf(PlainRecords(kCount, Full())).size(), 1U);
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
    ASSERT_EQ(Describe(ListOf(records)), Describe(expected)) << "seed " << seed;
  }
}

}  // namespace
}  // namespace kestrelbay
