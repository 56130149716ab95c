#include "base/CommonFunc.h"

#include <gmock/gmock.h>

#include "HostCallbacks.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;

class TextConversion : public OnMachine {};

TEST_F(TextConversion, KeepsTextOfEveryPlane) {
  EXPECT_EQ(Utf8ToWide("a\u00e9\u65e5\U0001F600"), u"a\u00e9\u65e5\U0001F600");
  EXPECT_EQ(WideToUtf8(u"a\u00e9\u65e5\U0001F600"), "a\u00e9\u65e5\U0001F600");
}

TEST_F(TextConversion, EmptyUtf8IsEmptyWideAlthoughItsTerminatorIsConverted) {
  std::u16string wide = u"untouched";
  const auto calls = CallsOf([&] { wide = Utf8ToWide(""); });
  EXPECT_EQ(wide, u"");
  EXPECT_EQ(calls.size(), 2U);
}

TEST_F(TextConversion, EmptyWideIsEmptyUtf8AfterOneCall) {
  std::string text = "untouched";
  const auto calls = CallsOf([&] { text = WideToUtf8(u""); });
  EXPECT_EQ(text, "");
  EXPECT_EQ(calls.size(), 1U);
}

TEST_F(TextConversion, AsksForCodePageUtf8WithoutFlags) {
  const auto toWide = CallsOf([] { Utf8ToWide("ab"); });
  const auto toUtf8 = CallsOf([] { WideToUtf8(u"ab"); });
  // The terminator is converted in one direction only.
  EXPECT_THAT(toWide, ElementsAre("MultiByteToWideChar(65001, 0x0, 3, 0) = 3",
                                  "MultiByteToWideChar(65001, 0x0, 3, 3) = 3"));
  EXPECT_THAT(toUtf8, ElementsAre("WideCharToMultiByte(65001, 0x0, 2, 0) = 2",
                                  "WideCharToMultiByte(65001, 0x0, 2, 2) = 2"));
}

TEST_F(TextConversion, EmbeddedNulEndsTheText) {
  EXPECT_EQ(Utf8ToWide("ab\0cd"s), u"ab");
  EXPECT_EQ(WideToUtf8(u"ab\0cd"s), "ab");
  EXPECT_EQ(Utf8ToWide("\0cd"s), u"");
}

TEST_F(TextConversion, ReplacesInvalidSequences) {
  EXPECT_EQ(Utf8ToWide("a\xFF"
                       "b"),
            u"a\uFFFDb");
  const std::u16string loneSurrogate = {u'a', char16_t{0xD800}, u'b'};
  EXPECT_EQ(WideToUtf8(loneSurrogate), "a\uFFFDb");
}

TEST_F(TextConversion, FailedSizeCallYieldsTheEmptyText) {
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "MultiByteToWideChar");
  EXPECT_EQ(Utf8ToWide("ab"), u"");
  EXPECT_TRUE(machine.faults.Fired());
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "WideCharToMultiByte");
  EXPECT_EQ(WideToUtf8(u"ab"), "");
  EXPECT_TRUE(machine.faults.Fired());
}

TEST_F(TextConversion, FailedConversionYieldsTheEmptyText) {
  machine.faults.FailNth(2, simulated::Faults::Extent::Once, "MultiByteToWideChar");
  EXPECT_EQ(Utf8ToWide("ab"), u"");
  EXPECT_TRUE(machine.faults.Fired());
  machine.faults.FailNth(2, simulated::Faults::Extent::Once, "WideCharToMultiByte");
  EXPECT_EQ(WideToUtf8(u"ab"), "");
  EXPECT_TRUE(machine.faults.Fired());
}

std::string Replace(std::string text, std::string_view find, std::string_view replacement) {
  return ReplaceAll<char>(std::move(text), find, replacement);
}

TEST(ReplaceAll, ContinuesAfterEachReplacement) {
  EXPECT_EQ(Replace(R"(a\\\\b)", R"(\\)", R"(\)"), R"(a\\b)");
  EXPECT_EQ(Replace("aaa", "a", "aa"), "aaaaaa");
}

TEST(ReplaceAll, KeepsATextWithoutAHit) {
  EXPECT_EQ(Replace("abc", "x", "y"), "abc");
  EXPECT_EQ(Replace("", "x", "y"), "");
}

TEST(ReplaceAll, SearchesFromTheBeginning) { EXPECT_EQ(Replace("aaa", "aa", "b"), "ba"); }

TEST(SplitWide, KeepsEmptyPieces) {
  EXPECT_THAT(SplitWide(u"a,,b", u','), ElementsAre(u"a", u"", u"b"));
  EXPECT_THAT(SplitWide(u"a,", u','), ElementsAre(u"a", u""));
  EXPECT_THAT(SplitWide(u",a", u','), ElementsAre(u"", u"a"));
}

TEST(SplitWide, EmptyTextIsOneEmptyPiece) { EXPECT_THAT(SplitWide(u"", u','), ElementsAre(u"")); }

TEST(SplitWide, TextWithoutTheSeparatorIsOnePiece) {
  EXPECT_THAT(SplitWide(u"ab;c", u','), ElementsAre(u"ab;c"));
}

TEST(ExtractExePath, DropsQuotesAndIconIndex) {
  EXPECT_EQ(ExtractExePath(R"("C:\Tool\tool.exe",0)"), R"(C:\Tool\tool.exe)");
  EXPECT_EQ(ExtractExePath(R"(C:\To"ol\tool.exe,-101)"), R"(C:\Tool\tool.exe)");
}

TEST(ExtractExePath, KeepsEverythingThroughTheLastExe) {
  EXPECT_EQ(ExtractExePath(R"(C:\tool.exe\bin\tool.exe,0)"), R"(C:\tool.exe\bin\tool.exe)");
}

TEST(ExtractExePath, TurnsAnIconFileIntoAnExecutable) {
  EXPECT_EQ(ExtractExePath(R"(C:\Tool\tool.ico)"), R"(C:\Tool\tool.exe)");
  EXPECT_EQ(ExtractExePath(R"("C:\Tool\tool.ico")"), R"(C:\Tool\tool.exe)");
}

TEST(ExtractExePath, TakesOnlyTheLastIcoOfAPath) {
  EXPECT_EQ(ExtractExePath(R"(C:\a.ico\b.ico)"), R"(C:\a.ico\b.exe)");
}

TEST(ExtractExePath, IconFileWithAnIndexIsNoMatch) {
  EXPECT_EQ(ExtractExePath(R"(C:\Tool\tool.ico,0)"), "");
  EXPECT_EQ(ExtractExePath(R"(C:\Tool\tool.ico )"), "");
}

TEST(ExtractExePath, CapitalEndingIsNoMatch) {
  EXPECT_EQ(ExtractExePath(R"(C:\Tool\TOOL.EXE)"), "");
  EXPECT_EQ(ExtractExePath(R"(C:\Tool\TOOL.ICO)"), "");
}

TEST(ExtractExePath, ExeInAFolderPrecedesIcoAtTheEnd) {
  EXPECT_EQ(ExtractExePath(R"(C:\a.exe\b.ico)"), R"(C:\a.exe)");
}

TEST(ExtractExePath, KeepsUtf8) {
  EXPECT_EQ(ExtractExePath("C:\\\u65e5\u672c\\\u00e9.exe,0"), "C:\\\u65e5\u672c\\\u00e9.exe");
  EXPECT_EQ(ExtractExePath("C:\\\u65e5\u672c\\\u00e9.ico"), "C:\\\u65e5\u672c\\\u00e9.exe");
}

TEST(ExtractExePath, LineBreakIsNoMatch) {
  EXPECT_EQ(ExtractExePath("C:\\a\nb.exe"), "");
  EXPECT_EQ(ExtractExePath("C:\\b.exe\n"), "");
  EXPECT_EQ(ExtractExePath("C:\\a\nb.ico"), "");
}

TEST(ExtractExePath, NothingElseMatches) {
  EXPECT_EQ(ExtractExePath(""), "");
  EXPECT_EQ(ExtractExePath("\"\""), "");
  EXPECT_EQ(ExtractExePath(R"(C:\Tool\tool.dll,3)"), "");
  EXPECT_EQ(ExtractExePath(R"(C:\Tool\toolico)"), "");
  EXPECT_EQ(ExtractExePath(R"(C:\Tool\toolexe)"), "");
}

TEST(ExtractExePath, LongestRegistryTextIsFarBelowTheLimitsOfTheEngine) {
  std::string text;
  for (int character = 0; character < 255; ++character) text += "\u65e5";
  EXPECT_EQ(ExtractExePath(text + ".exe"), text + ".exe");
  EXPECT_EQ(ExtractExePath(text + ".ico"), text + ".exe");
  EXPECT_EQ(ExtractExePath(text + "abcd"), "");
}

class Files : public OnMachine {};

TEST_F(Files, EmptyPathMakesNoCall) {
  bool exists = true;
  EXPECT_THAT(CallsOf([&] { exists = FileExists(""); }), ElementsAre());
  EXPECT_FALSE(exists);
}

TEST_F(Files, DirectoryCountsAsExisting) {
  machine.drives.AddFile(u"C:\\Tools\\tool.exe");
  EXPECT_TRUE(FileExists("C:\\Tools\\tool.exe"));
  EXPECT_TRUE(FileExists("C:\\Tools"));
  EXPECT_FALSE(FileExists("C:\\Tools\\other.exe"));
}

TEST_F(Files, PathIsUtf8AndTheModeIsExistence) {
  machine.drives.AddFile(u"C:\\\u65e5\u672c\\app.exe");
  bool exists = false;
  const auto calls = CallsOf([&] { exists = FileExists("C:\\\u65e5\u672c\\app.exe"); });
  EXPECT_TRUE(exists);
  EXPECT_EQ(calls.back(), "_waccess(\"C:\\\u65e5\u672c\\app.exe\", 0) = 0");
}

class RootDir : public OnMachine {
 protected:
  LogCapture log;
};

TEST_F(RootDir, Mode1IsTheCurrentDirectory) {
  machine.currentDirectory = u"D:\\Work";
  std::string directory;
  const auto calls = CallsOf([&] { directory = GetRootDir(1); });
  EXPECT_EQ(directory, "D:\\Work");
  EXPECT_THAT(calls, testing::Contains("GetCurrentDirectoryA(260) = 7"));
  ASSERT_EQ(log.Lines().size(), 1U);
  EXPECT_EQ(log.Lines()[0].file, "CommonFunc");
  EXPECT_EQ(log.Lines()[0].level, 3);
  EXPECT_THAT(log.Lines()[0].text, testing::MatchesRegex("GetRootDir:[0-9]+ GetRootDir Debug"));
}

TEST_F(RootDir, Mode1IsEmptyIfTheCurrentDirectoryDoesNotFit) {
  machine.currentDirectory = u"C:\\" + std::u16string(256, u'x');
  EXPECT_EQ(GetRootDir(1), "C:\\" + std::string(256, 'x'));
  for (const std::size_t more : {1U, 2U, 1000U}) {
    machine.currentDirectory = u"C:\\" + std::u16string(256 + more, u'x');
    EXPECT_EQ(GetRootDir(1), "") << more;
  }
}

TEST_F(RootDir, Mode2IsTheHostsDirectoryAndNotTheCurrentOne) {
  machine.hostPath = u"C:\\Store\\bin\\host.exe";
  machine.currentDirectory = u"D:\\Work";
  std::string directory;
  const auto calls = CallsOf([&] { directory = GetRootDir(2); });
  EXPECT_EQ(directory, "C:\\Store\\bin");
  EXPECT_THAT(calls, testing::Contains("GetModuleFileNameA(null, 260) = 21"));
  ASSERT_EQ(log.Lines().size(), 1U);
  EXPECT_EQ(log.Lines()[0].file, "CommonFunc");
  EXPECT_EQ(log.Lines()[0].level, 3);
  EXPECT_THAT(log.Messages(), ElementsAre("GetRootDir Release"));
}

TEST_F(RootDir, Mode2CutsOnlyAtTheLastBackslash) {
  machine.hostPath = u"C:\\Store\\bin/host.exe";
  EXPECT_EQ(GetRootDir(2), "C:\\Store");
  machine.hostPath = u"host.exe";
  EXPECT_EQ(GetRootDir(2), "host.exe");
}

TEST_F(RootDir, AnyOtherModeLogsNothingAndIsEmpty) {
  for (const std::uint32_t mode : {0U, 3U, 0xFFFFFFFFU}) EXPECT_EQ(GetRootDir(mode), "");
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(RootDir, FailureOfThePlatformIsTheEmptyText) {
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "GetCurrentDirectoryA");
  EXPECT_EQ(GetRootDir(1), "");
  EXPECT_TRUE(machine.faults.Fired());
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "GetModuleFileNameA");
  EXPECT_EQ(GetRootDir(2), "");
  EXPECT_TRUE(machine.faults.Fired());
}

TEST_F(RootDir, LongPathOfTheHostIsCutTo259Bytes) {
  machine.hostPath = u"C:\\Store\\" + std::u16string(300, u'x');
  EXPECT_EQ(GetRootDir(2), "C:\\Store");
  machine.hostPath.assign(300, u'x');
  EXPECT_EQ(GetRootDir(2), std::string(259, 'x'));
}

}  // namespace
}  // namespace kestrelbay
