// Stand-ins have the length of the name, are the same for the same name, and never equal another name.
#include "capture/Redaction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "capture/PersonalAddresses.h"

namespace capture {
namespace {

using Alphabet = StandIns::Alphabet;

TEST(StandIns, HaveTheLengthOfTheName) {
  StandIns standIns;
  for (std::size_t length = 1; length < 40; ++length) {
    const std::u16string name(length, u'X');
    EXPECT_EQ(standIns.Of(name, Alphabet::Letters, u"user").size(), length);
  }
}

TEST(StandIns, DifferForDifferentNamesAndStayTheSame) {
  StandIns standIns;
  const std::u16string first = standIns.Of(u"ANNA", Alphabet::Letters, u"user");
  EXPECT_NE(first, standIns.Of(u"ADAM", Alphabet::Letters, u"user"));
  EXPECT_EQ(first, standIns.Of(u"ANNA", Alphabet::Letters, u"user"));
}

TEST(StandIns, AreNoneOfTheNames) {
  StandIns standIns;
  for (const char16_t* name : {u"USERAB", u"USERAC", u"SERAD"}) standIns.Avoid(name);
  EXPECT_EQ(standIns.Of(u"SIXTEN", Alphabet::Letters, u"user"), u"userae");
}

TEST(StandIns, OfSidsAreNumbersOf32BitsThatDoNotBeginWithZero) {
  StandIns standIns;
  const std::u16string standIn = standIns.Of(u"4294967295-9-4000000000", Alphabet::Decimal, u"");
  EXPECT_EQ(standIn, u"1000000000-1-1000000001");
  EXPECT_NE(standIn, standIns.Of(u"4294967294-9-4000000000", Alphabet::Decimal, u""));
}

TEST(StandIns, OfGuidsKeepTheirSigns) {
  StandIns standIns;
  EXPECT_EQ(standIns.Of(u"{4CA1-B2F0}", Alphabet::Hexadecimal, u""), u"{0000-0001}");
}

class RedactorTest : public testing::Test {
 protected:
  std::u16string Hidden(std::u16string text) {
    Redactor redactor(identity);
    redactor.Learn(text);
    redactor.EndLearning();
    redactor.Hide(text);
    return text;
  }

  /** The same for the bytes of a registry value. */
  std::u16string HiddenInBytes(std::u16string text) {
    Redactor redactor(identity);
    redactor.EndLearning();
    redactor.Hide({reinterpret_cast<std::uint8_t*>(text.data()), text.size() * sizeof(char16_t)},
                  Search::Text);
    return text;
  }

  const Identity identity{
      .users = {u"Annabel"}, .computers = {u"KITCHEN"}, .places = {.captured = {u"ANNABEL", u"USERNAME"}}};
};

TEST_F(RedactorTest, ANameIsFoundInsideOfWords) { EXPECT_EQ(Hidden(u"xAnnABelx"), u"xUseRAabx"); }

TEST_F(RedactorTest, AVariablesNameIsTheSameInAllPlaces) {
  std::u16string name = u"ANNABEL";
  Redactor redactor(identity);
  redactor.EndLearning();
  redactor.HideVariable(name);
  EXPECT_EQ(name, u"USERAAB");
  EXPECT_EQ(Hidden(u"%Annabel%Annabel"), u"%Useraab%Useraab");
  EXPECT_EQ(HiddenInBytes(u"%Annabel%Annabel"), u"%Useraab%Useraab");
}

TEST_F(RedactorTest, NamesOfWindowsOwnVariablesStay) {
  EXPECT_EQ(Hidden(u"%UserName%\\Annabel"), u"%UserName%\\Useraab");
}

TEST_F(RedactorTest, APathEndsWhereAnotherBegins) {
  EXPECT_EQ(Hidden(u"C:\\Users\\Zoe\\Thing.exe C:\\Thing\\x"), u"C:\\Users\\Uab\\Waaab.exe C:\\Thing\\x");
}

TEST_F(RedactorTest, OnlyCompleteSidsAreHidden) {
  EXPECT_EQ(Hidden(u"S-1-5-21-1-2 S-1-5-18 S-1-5-21--"), u"S-1-5-21-1-2 S-1-5-18 S-1-5-21--");
  EXPECT_EQ(Hidden(u"s-1-5-21-77-88-99-500"), u"s-1-5-21-10-10-11-500");
}

TEST_F(RedactorTest, TheAccountThatCapturesIsHidden) {
  CapturedMachine machine;
  machine.account = u"KITCHEN\\Annabel";
  Redact(machine, identity);
  EXPECT_EQ(machine.account, u"HOSTAAB\\Useraab");
}

TEST(Identity, HasTheAccountThatCaptures) {
  CapturedMachine machine;
  machine.userSid = u"S-1-5-21-1-2-3-1001";
  machine.account = u"FIRM\\Quentin";
  const Identity identity = ReadIdentity(machine);
  EXPECT_EQ(std::ranges::count(identity.users, u"Quentin"), 1);
  EXPECT_EQ(std::ranges::count(identity.computers, u"FIRM"), 1);
}

TEST(Identity, LacksAnAccountOfServices) {
  CapturedMachine machine;
  machine.userSid = u"S-1-5-19";
  machine.account = u"NT AUTHORITY\\LOCAL SERVICE";
  const Identity identity = ReadIdentity(machine);
  EXPECT_EQ(std::ranges::count(identity.users, u"LOCAL SERVICE"), 0);
  EXPECT_EQ(std::ranges::count(identity.computers, u"NT AUTHORITY"), 0);
}

TEST(Accounts, AreSoughtInLinearTime) {
  constexpr std::size_t kSize = 1 << 19;
  const std::u16string text = std::u16string(kSize, u'.') + u"a" + std::u16string(kSize, u'\\');
  PersonalParts parts;
  const auto begin = std::chrono::steady_clock::now();
  FindAccounts(text, parts);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  EXPECT_TRUE(parts.empty());
}

TEST_F(RedactorTest, BytesKeepTheirLength) {
  for (std::size_t size = 0; size < 9; ++size) {
    Redactor redactor(Identity{});
    redactor.EndLearning();
    std::vector<std::uint8_t> bytes(size, '\\');
    redactor.Hide(bytes, Search::Data);
    EXPECT_EQ(bytes, std::vector<std::uint8_t>(size, '\\'));
  }
}

}  // namespace
}  // namespace capture
