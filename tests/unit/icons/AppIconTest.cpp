#include "icons/AppIcon.h"

#include <gtest/gtest.h>

#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

TEST(NormalizeIconPath, KeepsTheFirstPieceBeforeAComma) {
  EXPECT_EQ(NormalizeIconPath(u"C:\\App\\app.exe,0"), u"C:\\App\\app.exe");
  EXPECT_EQ(NormalizeIconPath(u"C:\\App\\app.dll,-101"), u"C:\\App\\app.dll");
  EXPECT_EQ(NormalizeIconPath(u",0"), u"");
}

TEST(NormalizeIconPath, CommaInADirectoryNameCutsThePathThere) {
  EXPECT_EQ(NormalizeIconPath(u"C:\\Fine, Ltd\\app.ico"), u"C:\\Fine");
}

TEST(NormalizeIconPath, RemovesEveryQuote) {
  EXPECT_EQ(NormalizeIconPath(u"\"C:\\App\\app.exe\",0"), u"C:\\App\\app.exe");
  EXPECT_EQ(NormalizeIconPath(u"C:\\\"App\"\\app.exe"), u"C:\\App\\app.exe");
}

TEST(NormalizeIconPath, ReplacesEachDoubledBackslashOnce) {
  EXPECT_EQ(NormalizeIconPath(u"C:\\\\App\\\\app.ico"), u"C:\\App\\app.ico");
  EXPECT_EQ(NormalizeIconPath(u"\\\\\\\\server"), u"\\\\server");
  EXPECT_EQ(NormalizeIconPath(u"\\\\\\server"), u"\\\\server");
}

TEST(NormalizeIconPath, RemovesQuotesBeforeDoubledBackslashes) {
  EXPECT_EQ(NormalizeIconPath(u"C:\\\"\\app.ico"), u"C:\\app.ico");
}

TEST(NormalizeIconPath, RemovesOuterBlanksAndNothingElse) {
  EXPECT_EQ(NormalizeIconPath(u"  C:\\My App\\app.ico  "), u"C:\\My App\\app.ico");
  EXPECT_EQ(NormalizeIconPath(u"\" C:\\app.ico \",0"), u"C:\\app.ico");
  EXPECT_EQ(NormalizeIconPath(u"\tC:\\app.ico\u00a0"), u"\tC:\\app.ico\u00a0");
}

TEST(NormalizeIconPath, BlanksAloneBecomeEmpty) {
  EXPECT_EQ(NormalizeIconPath(u"   "), u"");
  EXPECT_EQ(NormalizeIconPath(u""), u"");
  EXPECT_EQ(NormalizeIconPath(u"\" \""), u"");
}

class AppIconText : public OnMachine {};

TEST_F(AppIconText, EmptySourceIsEmptyWithoutACall) {
  const auto calls = CallsOf([] {
    EXPECT_EQ(GetAppIconText(u"", true), "");
    EXPECT_EQ(GetAppIconText(u"", false), "");
  });
  EXPECT_TRUE(calls.empty());
}

TEST_F(AppIconText, IconFileIsItsNormalizedPathWithAndWithoutExtraction) {
  for (const bool extract : {false, true}) {
    EXPECT_EQ(GetAppIconText(u"\"C:\\\\App\\\\app.ico\",0", extract), "C:\\App\\app.ico");
    EXPECT_EQ(GetAppIconText(u"C:\\App\\res.dll,-101", extract), "C:\\App\\res.dll");
    EXPECT_EQ(GetAppIconText(u"C:\\\u65e5\u672c\\a.ico", extract), "C:\\\u65e5\u672c\\a.ico");
  }
}

TEST_F(AppIconText, CapitalEndingIsAPathAndNoExecutable) {
  for (const bool extract : {false, true}) {
    EXPECT_EQ(GetAppIconText(u"C:\\Tool\\tool.EXE,0", extract), "C:\\Tool\\tool.EXE");
  }
}

TEST_F(AppIconText, ExecutableIsEmptyWithoutExtraction) {
  EXPECT_EQ(GetAppIconText(u"C:\\App\\app.exe", false), "");
  EXPECT_EQ(GetAppIconText(u"\"C:\\App\\app.exe\",0", false), "");
}

TEST_F(AppIconText, ExeAnywhereInTheTextMakesAnExecutable) {
  EXPECT_EQ(GetAppIconText(u"C:\\app.exe.d\\app.ico", false), "");
  EXPECT_EQ(GetAppIconText(u"C:\\app.ico,.exe", false), "");
}

TEST_F(AppIconText, MissingExecutableIsEmptyWithExtraction) {
  EXPECT_EQ(GetAppIconText(u"C:\\None\\none.exe,0", true), "");
}

TEST_F(AppIconText, ExecutableWithoutExtractionMakesNoCall) {
  EXPECT_TRUE(CallsOf([] { GetAppIconText(u"C:\\App\\app.exe", false); }).empty());
}

}  // namespace
}  // namespace kestrelbay
