// Windows' C runtime: formats with UTF-16 arguments, bounded copies, numbers read from text.
#include "platform/RuntimeText.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "TestMachine.h"

namespace platform {
namespace {

using namespace std::string_literals;

int Measure(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int bytes = _vscprintf(format, arguments);
  va_end(arguments);
  return bytes;
}

/** Formats into the first `room` bytes of a buffer that is filled with '#'. */
int FormatInto(std::string& buffer, std::size_t room, const char* format, ...) {
  buffer.assign(64, '#');
  va_list arguments;
  va_start(arguments, format);
  const int bytes = vsprintf_s(buffer.data(), room, format, arguments);
  va_end(arguments);
  return bytes;
}

TEST(RuntimeText, FormatsAreMeasured) {
  EXPECT_EQ(0, Measure(""));
  EXPECT_EQ(10, Measure("%s:%d %%s", "name", 17));
  EXPECT_EQ(11, Measure("%d", -2147483647 - 1));
  EXPECT_EQ(5, Measure("[%ws]", u"abc"));
}

TEST(RuntimeText, FormatsAreFilledIn) {
  std::string buffer;
  EXPECT_EQ(10, FormatInto(buffer, 64, "%s:%d %%s", "name", -7));
  EXPECT_EQ("name:-7 %s"s, buffer.c_str());
}

TEST(RuntimeText, AWideTextIsWrittenAsOneBytePerCharacter) {
  std::string buffer;
  EXPECT_EQ(6, FormatInto(buffer, 64, "<%ws>", u"a\u00E9\u00FFz"));
  EXPECT_EQ("<a\xE9\xFFz>"s, buffer.c_str());
}

TEST(RuntimeText, AWideCharacterAbove255MakesTheCallFail) {
  EXPECT_EQ(-1, Measure("<%ws>", u"a\u0100"));
  std::string buffer;
  EXPECT_EQ(-1, FormatInto(buffer, 64, "<%ws>", u"a\u4E2D"));
}

TEST(RuntimeText, AFormatThatFillsTheBufferFits) {
  std::string buffer;
  EXPECT_EQ(4, FormatInto(buffer, 5, "%s", "four"));
  EXPECT_EQ("four\0#"s, buffer.substr(0, 6));
}

class BoundedText : public testing::Test {
 protected:
  BoundedText() { machine.IgnoreInvalidParameters(); }

  tests::TestMachine machine;
  std::string buffer = std::string(16, '#');
};

TEST_F(BoundedText, AFormatThatDoesNotFitFailsAndLeavesTheEmptyText) {
  const int result = FormatInto(buffer, 4, "%s", "four");
  // Wine fills the whole buffer and does not write the NUL.
  EXPECT_EQ(!tests::RunsOnWine(), result == -1 && buffer[0] == '\0');
  EXPECT_EQ('#', buffer[4]);
}

TEST_F(BoundedText, ACopyThatFillsTheBufferFits) {
  EXPECT_EQ(0, strcpy_s(buffer.data(), 5, "four"));
  EXPECT_EQ("four\0#"s, buffer.substr(0, 6));
}

TEST_F(BoundedText, ACopyOneShortFailsAndLeavesTheEmptyText) {
  EXPECT_EQ(ERANGE, strcpy_s(buffer.data(), 4, "four"));
  EXPECT_EQ('\0', buffer[0]);
  EXPECT_EQ('#', buffer[4]);
}

TEST_F(BoundedText, ACopyIntoNoRoomWritesNothing) {
  EXPECT_NE(0, strcpy_s(buffer.data(), 0, "four"));
  EXPECT_EQ('#', buffer[0]);
}

TEST_F(BoundedText, AHugeSizeIsAccepted) {
  EXPECT_EQ(0, strcpy_s(buffer.data(), static_cast<std::size_t>(-1), "four"));
  EXPECT_EQ("four\0#"s, buffer.substr(0, 6));
}

TEST_F(BoundedText, NullIsRefused) {
  EXPECT_EQ(EINVAL, strcpy_s(nullptr, 5, "four"));
  EXPECT_EQ(EINVAL, strcpy_s(buffer.data(), 5, nullptr));
  EXPECT_EQ('\0', buffer[0]);
}

struct NumberText {
  const char16_t* text;
  int number;
};

class Numbers : public testing::TestWithParam<NumberText> {};

TEST_P(Numbers, AreReadFromTheStartOfAText) { EXPECT_EQ(GetParam().number, _wtoi(GetParam().text)); }

INSTANTIATE_TEST_SUITE_P(RuntimeText, Numbers,
                         testing::Values(NumberText{u"1", 1}, NumberText{u"01", 1}, NumberText{u"+1", 1},
                                         NumberText{u"1x", 1}, NumberText{u" \t\r\n\v\f12 3", 12},
                                         NumberText{u"-5", -5}, NumberText{u"", 0}, NumberText{u"yes", 0},
                                         NumberText{u"- 5", 0}, NumberText{u"--5", 0}, NumberText{u"+-5", 0},
                                         NumberText{u"0x1F", 0}, NumberText{u"2147483647", 2147483647},
                                         NumberText{u"-2147483648", -2147483647 - 1},
                                         NumberText{u"\u00A01", 1}, NumberText{u"\u20031", 1},
                                         NumberText{u"\u3000"
                                                    u"1",
                                                    1},
                                         NumberText{u"\u0661\u0662", 12}, NumberText{u"\uFF11\uFF12", 12},
                                         NumberText{u"1\u0662", 12}, NumberText{u"\u00B2", 0}));

INSTANTIATE_TEST_SUITE_P(OutOfRange, Numbers,
                         testing::Values(NumberText{u"2147483648", 2147483647},
                                         NumberText{u"4294967297", 2147483647},
                                         NumberText{u"99999999999999999999999", 2147483647},
                                         NumberText{u"-2147483649", -2147483647 - 1},
                                         NumberText{u"-99999999999999999999999", -2147483647 - 1}));

struct Parsing {
  const char16_t* text;
  LONG number;
  std::ptrdiff_t chars;
  int error;  ///< 0 if errno must stay as it is
};

TEST(RuntimeText, ANumberEndsWhereItsDigitsEnd) {
  const Parsing cases[] = {{u"", 0, 0, 0},
                           {u"  ", 0, 0, 0},
                           {u"+", 0, 0, 0},
                           {u"+-1", 0, 0, 0},
                           {u"x1", 0, 0, 0},
                           {u"\uFEFF5", 0, 0, 0},
                           {u"12abc", 12, 2, 0},
                           {u"0x10", 0, 1, 0},
                           {u"\t\n-7 ", -7, 4, 0},
                           {u"\u00A0\u20035", 5, 3, 0},
                           {u"\u0661\u0662", 12, 2, 0},
                           {u"\u0E59", 9, 1, 0},
                           {u"\u0BEF", 0, 0, 0},
                           {u"2147483647", 2147483647, 10, 0},
                           {u"2147483648", 2147483647, 10, ERANGE},
                           {u"-2147483648", -2147483647 - 1, 11, 0},
                           {u"-2147483649", -2147483647 - 1, 11, ERANGE},
                           {u"99999999999999999999x", 2147483647, 20, ERANGE}};
  for (const Parsing& parsing : cases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string_view(parsing.text)));
    errno = EDOM;
    char16_t* end = nullptr;
    EXPECT_EQ(parsing.number, wcstol(parsing.text, &end, 10));
    EXPECT_EQ(parsing.chars, end - parsing.text);
    EXPECT_EQ(parsing.error != 0 ? parsing.error : EDOM, errno);
  }
}

TEST(RuntimeText, OnlyAsciiLettersAreComparedWithoutCase) {
  EXPECT_EQ(0, _wcsicmp(u"Folder\\A1", u"fOLDER\\a1"));
  EXPECT_EQ(0, _wcsicmp(u"", u""));
  EXPECT_NE(0, _wcsicmp(u"\u00C4", u"\u00E4"));
  EXPECT_LT(_wcsicmp(u"a", u"B"), 0);
  EXPECT_GT(_wcsicmp(u"ab", u"A"), 0);
  EXPECT_LT(_wcsicmp(u"_", u"A"), 0);
  EXPECT_LT(_wcsicmp(u"", u"a"), 0);
}

}  // namespace
}  // namespace platform
