// The list that a host receives and releases.
#include <gmock/gmock.h>

#include <cstddef>

#include "KestrelbayGeneralSDK.h"
#include "exports/ExportTest.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

class ListExport : public ExportTest {};

TEST_F(ListExport, EntryHasSevenTextsAndTheViewInThisOrder) {
  static_assert(offsetof(InstalledAppEntry, displayName) == 0);
  static_assert(offsetof(InstalledAppEntry, installLocation) == sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, displayVersion) == 2 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, displayIcon) == 3 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, iconText) == 4 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, installDate) == 5 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, lastWriteTime) == 6 * sizeof(char*));
  static_assert(offsetof(InstalledAppEntry, architecture) == 7 * sizeof(char*));
  static_assert(sizeof(InstalledAppEntry) == 8 * sizeof(char*));
  AddApp(u"\u65e5\u672c App", {{u"InstallLocation", u"C:\\\u00e9"},
                               {u"DisplayVersion", u"1.0"},
                               {u"DisplayIcon", u"\"C:\\App\\a.ico\",0"},
                               {u"InstallDate", u"20240131"}});
  EXPECT_THAT(List(),
              ElementsAre(ReceivedEntry{"\u65e5\u672c App", "C:\\\u00e9", "1.0", "\"C:\\App\\a.ico\",0",
                                        "C:\\App\\a.ico", "20240131", "-11644473600000", 2}));
}

TEST_F(ListExport, AbsentValuesAreEmptyTextsAndNeverNull) {
  AddApp(u"App");
  EXPECT_THAT(List(), ElementsAre(ReceivedEntry{"App", "", "", "", "", "", "-11644473600000", 2}));
}

TEST_F(ListExport, DisplayIconIsReportedUnchanged) {
  AddApp(u"App", {{u"DisplayIcon", u"C:\\App\\app.exe,0"}});
  const auto entries = List(false);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].displayIcon, "C:\\App\\app.exe,0");
  EXPECT_EQ(entries[0].iconText, "");
}

TEST_F(ListExport, EmptyListIsAValidArrayThatIsReleased) { EXPECT_THAT(List(), ElementsAre()); }

TEST_F(ListExport, ListLogsOnlyItsEntry) {
  List();
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetInstalledAppList", "enter ReleaseInstalledAppList"));
  for (const LogLine& line : log.Lines()) {
    EXPECT_EQ(line.file, "KestrelbayGeneralSDK");
    EXPECT_EQ(line.level, 3);
    EXPECT_THAT(line.text, testing::MatchesRegex("(Get|Release)InstalledAppList:[0-9]+ enter [A-Za-z]+"));
  }
}

TEST_F(ListExport, EntryLineIsTheFirstStep) {
  InitDllLogger(nullptr);
  const auto calls = CallsOf([] { List(); });
  EXPECT_EQ(calls.front(), "QVSLOGI(\"KestrelbayGeneralSDK\", \"enter GetInstalledAppList\") = ");
  EXPECT_EQ(calls.back(), "QVSLOGI(\"KestrelbayGeneralSDK\", \"enter ReleaseInstalledAppList\") = ");
}

TEST_F(ListExport, CountOfZeroOrLessReleasesTheArrayAndNoText) {
  for (const std::int32_t count : {0, -1, INT32_MIN}) {
    auto* entries = new InstalledAppEntry[1]{};
    char text[] = "not from the heap";  // to free it would crash
    entries[0].displayName = text;
    ReleaseInstalledAppList(&entries, count);
    EXPECT_EQ(entries, nullptr);
  }
}

TEST_F(ListExport, SecondReleaseFreesNothing) {
  AddApp(u"App");
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, false);
  ASSERT_EQ(count, 1U);
  ReleaseInstalledAppList(&entries, 1);
  ReleaseInstalledAppList(&entries, 1);
  EXPECT_EQ(entries, nullptr);
}

}  // namespace
}  // namespace kestrelbay
