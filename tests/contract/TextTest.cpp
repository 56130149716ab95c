// Conversion between UTF-8 and UTF-16, and the expansion of environment variables.
#include "platform/Text.h"

#include <gtest/gtest.h>

#include "TestMachine.h"
#include "platform/Constants.h"

namespace platform {
namespace {

using namespace std::string_literals;

/** Converts as the library does: asks for the size first. */
std::u16string Widen(const std::string& text) {
  const int bytes = static_cast<int>(text.size());
  const int chars = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
  std::u16string wide(static_cast<std::size_t>(chars), u'?');
  EXPECT_EQ(chars, MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), chars));
  return wide;
}

std::string Narrow(const std::u16string& wide) {
  const int chars = static_cast<int>(wide.size());
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), chars, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(bytes), '?');
  EXPECT_EQ(bytes, WideCharToMultiByte(CP_UTF8, 0, wide.data(), chars, text.data(), bytes, nullptr, nullptr));
  return text;
}

TEST(Text, EveryLengthOfSequenceIsConvertedBothWays) {
  const std::string text = "A\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
  const std::u16string wide = u"A\x7F\x80\x7FF\x800\xFFFF\xD800\xDC00\xDBFF\xDFFF";
  EXPECT_EQ(wide, Widen(text));
  EXPECT_EQ(text, Narrow(wide));
}

TEST(Text, ACountedNulIsConverted) {
  EXPECT_EQ(u"a\0b\0"s, Widen("a\0b\0"s));
  EXPECT_EQ("a\0b\0"s, Narrow(u"a\0b\0"s));
}

TEST(Text, AnEmptyTextConvertsToNothing) {
  char16_t wide = u'x';
  char text = 'x';
  EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, 0, "", 0, &wide, 1));
  EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, u"", 0, &text, 1, nullptr, nullptr));
  EXPECT_EQ(u'x', wide);
  EXPECT_EQ('x', text);
}

TEST(Text, TooSmallABufferFails) {
  char16_t wide[2] = {};
  char text[2] = {};
  EXPECT_EQ(0, MultiByteToWideChar(CP_UTF8, 0, "abc", 3, wide, 2));
  EXPECT_EQ(0, WideCharToMultiByte(CP_UTF8, 0, u"\u20AC", 1, text, 2, nullptr, nullptr));
}

struct InvalidText {
  const char* name;
  std::string text;
  std::u16string wide;
};

class InvalidUtf8 : public testing::TestWithParam<InvalidText> {};

TEST_P(InvalidUtf8, IsReplaced) { EXPECT_EQ(GetParam().wide, Widen(GetParam().text)); }

INSTANTIATE_TEST_SUITE_P(
    Text, InvalidUtf8,
    testing::Values(InvalidText{"LoneContinuation", "a\x80z", u"a\xFFFDz"},
                    InvalidText{"TwoContinuations", "a\x80\xBFz", u"a\xFFFD\xFFFDz"},
                    InvalidText{"Cut2", "a\xC3", u"a\xFFFD"}, InvalidText{"Cut2Inside", "\xC3z", u"\xFFFDz"},
                    InvalidText{"Cut3After1", "a\xE2zz", u"a\xFFFDzz"},
                    InvalidText{"Cut3After2", "a\xE2\x82z", u"a\xFFFDz"},
                    InvalidText{"Cut3AtEnd", "\xE2\x82", u"\xFFFD"},
                    InvalidText{"Cut4After1", "\xF0zzz", u"\xFFFDzzz"},
                    InvalidText{"Cut4After2", "\xF0\x9Fzz", u"\xFFFDzz"},
                    InvalidText{"Cut4After3", "\xF0\x9F\x98z", u"\xFFFDz"},
                    InvalidText{"Cut4AtEnd", "\xF0\x9F\x98", u"\xFFFD"},
                    InvalidText{"Overlong2", "\xC0\xAFz", u"\xFFFD\xFFFDz"},
                    InvalidText{"Overlong3", "\xE0\x80\xAFz", u"\xFFFD\xFFFDz"},
                    InvalidText{"Overlong4", "\xF0\x80\x80\xAFz", u"\xFFFD\xFFFD\xFFFDz"},
                    InvalidText{"Surrogate", "\xED\xA0\x80z", u"\xFFFD\xFFFDz"},
                    InvalidText{"AboveUnicode", "\xF4\x90\x80\x80z", u"\xFFFD\xFFFD\xFFFDz"},
                    InvalidText{"NoLead", "\xF8\x88\x80\x80\x80z", u"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFDz"},
                    InvalidText{"NeverUsed", "\xFE\xFFz", u"\xFFFD\xFFFDz"},
                    InvalidText{"NulInside", "\xC3\0z"s, u"\xFFFD\0z"s}),
    [](const auto& each) { return each.param.name; });

TEST(Text, CharactersAfterAnIncompleteSequenceAreKept) {
  // For Wine the sequence includes everything up to the end, also a terminating NUL.
  EXPECT_EQ(!tests::RunsOnWine(), Widen("a\xE2z") == u"a\xFFFDz");
  EXPECT_EQ(!tests::RunsOnWine(), Widen("a\xE2\0"s) == u"a\xFFFD\0"s);
  EXPECT_EQ(!tests::RunsOnWine(), Widen("\xF0\x9F\0"s) == u"\xFFFD\0"s);
}

TEST(Text, LoneSurrogatesAreReplaced) {
  EXPECT_EQ("a\xEF\xBF\xBDz", Narrow(u"a\xD83Dz"));
  EXPECT_EQ("a\xEF\xBF\xBDz", Narrow(u"a\xDE00z"));
  EXPECT_EQ("\xEF\xBF\xBD\xEF\xBF\xBD", Narrow(u"\xDE00\xD83D"));
  EXPECT_EQ("\xEF\xBF\xBD\xF0\x9F\x98\x80", Narrow(u"\xD83D\xD83D\xDE00"));
  EXPECT_EQ("\xEF\xBF\xBD", Narrow(u"\xD83D"));
}

class Expansion : public testing::Test {
 protected:
  Expansion() { machine.SetVariable(u"KestrelbayContract", u"two words"); }

  DWORD Expand(const char16_t* source, DWORD room = 260) {
    std::fill(std::begin(expanded), std::end(expanded), u'?');
    return ExpandEnvironmentStringsW(source, expanded, room);
  }

  tests::TestMachine machine;
  char16_t expanded[300] = {};
};

TEST_F(Expansion, VariablesAreReplacedInAnyCase) {
  EXPECT_EQ(14u, Expand(u"<%KestrelBAYcontract%>\\e"));
  EXPECT_EQ(u"<two words>\\e", std::u16string(expanded));
}

TEST_F(Expansion, UnknownVariablesStay) {
  for (const auto* text : {u"", u"plain", u"50% off", u"%NoSuchVariableHere%", u"%%", u"a%", u"%a b%c"}) {
    EXPECT_EQ(std::u16string(text).size() + 1, Expand(text));
    EXPECT_EQ(text, std::u16string(expanded));
  }
}

// Wine ends the variable at the second sign and continues after it.
TEST_F(Expansion, ASignAfterAnUnknownVariableBeginsTheNext) {
  for (const auto& [text, result] :
       {std::pair{u"%NoSuchVariableHere%KestrelbayContract%", u"%NoSuchVariableHeretwo words"},
        std::pair{u"%%KestrelbayContract%", u"%two words"},
        std::pair{u"100% of %KestrelbayContract%", u"100% of two words"}}) {
    Expand(text);
    EXPECT_EQ(tests::RunsOnWine() ? text : result, std::u16string(expanded));
  }
}

TEST_F(Expansion, ExpandedTextIsNotExpandedAgain) {
  machine.SetVariable(u"KestrelbayOuter", u"%KestrelbayContract%");
  Expand(u"%KestrelbayOuter%");
  EXPECT_EQ(u"%KestrelbayContract%", std::u16string(expanded));
}

TEST_F(Expansion, TheExactSizeIsEnough) {
  EXPECT_EQ(10u, Expand(u"%KestrelbayContract%", 10));
  EXPECT_EQ(u"two words", std::u16string(expanded));
  EXPECT_EQ(u'?', expanded[10]);
}

TEST_F(Expansion, TooSmallABufferReturnsTheRequiredSizeAndIsNotOverrun) {
  EXPECT_EQ(10u, Expand(u"%KestrelbayContract%", 9));
  EXPECT_EQ(u'?', expanded[9]);
  EXPECT_EQ(6u, Expand(u"plain", 3));
  EXPECT_EQ(u'?', expanded[3]);
}

TEST_F(Expansion, TheSystemsFolderIsKnown) {
  Expand(u"%SystemRoot%");
  EXPECT_NE(u"%SystemRoot%", std::u16string(expanded));
}

}  // namespace
}  // namespace platform
