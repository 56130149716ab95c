#include "inventory/AppRecords.h"

#include <gmock/gmock.h>

#include <random>
#include <utility>

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

InstalledAppInfo EveryField() {
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

TEST(AppRecords, KeepsEachField) {
  EXPECT_EQ(Describe(RecordsOf(ListOf({EveryField()}))), Describe(PlainRecords{EveryField()}));
}

TEST(AppRecords, EmptyTextsStayEmptyBetweenOthers) {
  const PlainRecords records = {{}, Named(u"App"), {}};
  EXPECT_EQ(Describe(RecordsOf(ListOf(records))), Describe(records));
}

TEST(AppRecords, KeepsNulsInAText) {
  EXPECT_THAT(NamesOf(RecordsOf(ListOf({Named(u"a\0b\0"s)}))), ElementsAre(u"a\0b\0"s));
}

TEST(AppRecords, CopiesTheTexts) {
  InstalledAppInfo record = Named(u"App");
  AppRecords list;
  list.Append(record);
  record.DisplayName = u"gone";
  EXPECT_EQ(list.begin()->DisplayName, u"App");
}

TEST(AppRecords, KeepsRandomRecordsUnchanged) {
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
  records[7].subKeyPath.assign(std::size_t{1} << 20, u'p');
  EXPECT_TRUE(Describe(RecordsOf(ListOf(records))) == Describe(records));
}

TEST(AppRecords, RecordsKeepTheirAddressWhenTheListIsAppendedToSortedAndMoved) {
  AppRecords list;
  const AppRecord* const last = &*list.Append(Named(u"z"));
  for (char16_t name = u'a'; name < u'a' + 5000; ++name) list.Append(Named({u'a', name}));
  list.SortByName();
  const AppRecords moved = std::move(list);
  EXPECT_EQ(&*std::prev(moved.end()), last);
  EXPECT_EQ(last->DisplayName, u"z");
}

TEST(AppRecords, TextsOutliveTheirRecord) {
  AppRecords list = ListOf({Named(u"Gone application"), Named(u"App")});
  const std::u16string_view text = list.begin()->DisplayName;
  list.Erase(list.begin());
  list.Append(Named(u"Other"));
  EXPECT_EQ(text, u"Gone application");
  EXPECT_THAT(NamesOf(RecordsOf(list)), ElementsAre(u"App", u"Other"));
}

}  // namespace
}  // namespace kestrelbay
