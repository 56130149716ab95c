#include <gmock/gmock.h>

#include "base/RegistryKey.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;
using namespace std::string_literals;

const std::u16string kKey = u"HKEY_LOCAL_MACHINE\\Software\\Vendor";
constexpr platform::DWORD kText = 1;
constexpr platform::DWORD kExpandable = 2;
constexpr platform::DWORD kBinary = 3;
constexpr platform::DWORD kNumber = 4;
constexpr std::size_t kMostChars = 520 / sizeof(char16_t);

class RegistryValue : public OnMachine {
 protected:
  std::u16string Read(const char16_t* name = u"Value") {
    machine.registry.CreateKey(kKey);
    return ReadRegistryValue(*OpenMachineKey(u"Software\\Vendor"), name);
  }

  std::u16string ReadText(std::u16string_view text, platform::DWORD type = kText) {
    machine.registry.SetText(kKey, u"Value", text, type);
    return Read();
  }

  std::u16string ReadBytes(platform::DWORD type, const std::vector<std::uint8_t>& bytes) {
    SetBytes(kKey, u"Value", type, bytes);
    return Read();
  }
};

TEST_F(RegistryValue, IsReadOnceIntoABufferOf520Bytes) {
  SetTexts(kKey, {{u"Value", u"text"}});
  const auto key = OpenMachineKey(u"Software\\Vendor");
  EXPECT_THAT(CallsOf([&] { ReadRegistryValue(*key, u"Value"); }),
              ElementsAre("RegQueryValueExW(HKEY_LOCAL_MACHINE\\Software\\Vendor, \"Value\", 520) = 0"));
}

TEST_F(RegistryValue, MissingValueIsEmpty) { EXPECT_EQ(Read(u"None"), u""); }

TEST_F(RegistryValue, NameIsCaseInsensitive) {
  SetTexts(kKey, {{u"Value", u"text"}});
  EXPECT_EQ(Read(u"vALUE"), u"text");
}

TEST_F(RegistryValue, FailedReadIsEmpty) {
  SetTexts(kKey, {{u"Value", u"text"}});
  const auto key = OpenMachineKey(u"Software\\Vendor");
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "RegQueryValueExW");
  EXPECT_EQ(ReadRegistryValue(*key, u"Value"), u"");
  EXPECT_TRUE(machine.faults.Fired());
}

TEST_F(RegistryValue, FailedReadEmptiesTheGivenText) {
  SetBytes(kKey, u"Raw", kBinary, {1});
  SetTexts(kKey, {{u"Long", std::u16string(kMostChars, u'x')}, {u"Empty", u""}});
  const auto key = OpenMachineKey(u"Software\\Vendor");
  for (const char16_t* name : {u"None", u"Raw", u"Long", u"Empty"}) {
    std::u16string text = u"of the value read before";
    ReadRegistryValue(*key, name, text);
    EXPECT_EQ(text, u"");
  }
}

TEST_F(RegistryValue, NumberIsSignedDecimalText) {
  const std::vector<std::pair<std::uint32_t, std::u16string>> numbers = {
      {0, u"0"},          {1, u"1"}, {10, u"10"}, {0x7FFFFFFF, u"2147483647"}, {0x80000000, u"-2147483648"},
      {0xFFFFFFFF, u"-1"}};
  for (const auto& [number, text] : numbers) {
    machine.registry.SetNumber(kKey, u"Value", number);
    EXPECT_EQ(Read(), text);
  }
}

TEST_F(RegistryValue, ShortNumberIsCompletedWithZeros) {
  const auto read = [this](const std::vector<std::uint8_t>& bytes) {
    ReadText(std::u16string(259, u'\uFFFF'));  // leaves other bytes where the number will be
    return ReadBytes(kNumber, bytes);
  };
  EXPECT_EQ(read({0x39, 0x30}), u"12345");
  EXPECT_EQ(read({0xFF}), u"255");
  EXPECT_EQ(read({}), u"0");
}

TEST_F(RegistryValue, LongNumberIsItsFirstFourBytes) {
  EXPECT_EQ(ReadBytes(kNumber, {7, 0, 0, 0, 1, 2, 3, 4}), u"7");
}

TEST_F(RegistryValue, TextIsReadUnchanged) {
  EXPECT_EQ(ReadText(u"C:\\App\\\u65e5\u672c"), u"C:\\App\\\u65e5\u672c");
  EXPECT_EQ(ReadText(u""), u"");
}

TEST_F(RegistryValue, TextIsNotExpanded) { EXPECT_EQ(ReadText(u"%SystemRoot%"), u"%SystemRoot%"); }

TEST_F(RegistryValue, TextEndsAtItsFirstNul) {
  EXPECT_EQ(ReadText(u"ab\0cd"s), u"ab");
  EXPECT_EQ(ReadText(u"\0cd"s), u"");
}

TEST_F(RegistryValue, TextWithoutANulIsReadWhole) { EXPECT_EQ(ReadBytes(kText, BytesOf(u"ab")), u"ab"); }

TEST_F(RegistryValue, OddByteAtTheEndOfATextIsHalfACharacter) {
  auto bytes = BytesOf(u"ab");
  bytes.push_back('c');
  EXPECT_EQ(ReadBytes(kText, bytes), u"abc");
}

TEST_F(RegistryValue, LoneSurrogateIsKept) {
  const std::u16string text = {u'a', char16_t{0xD800}, u'b'};
  EXPECT_EQ(ReadText(text), text);
}

TEST_F(RegistryValue, TextOfExactly520BytesIsRead) {
  const std::u16string longest(kMostChars - 1, u'x');
  EXPECT_EQ(ReadText(longest), longest);
}

TEST_F(RegistryValue, TextOfExactly520BytesWithoutANulIsReadWhole) {
  const std::u16string longest(kMostChars, u'x');
  EXPECT_EQ(ReadBytes(kText, BytesOf(longest)), longest);
}

TEST_F(RegistryValue, TextOfOver520BytesIsEmptyAndNotCut) {
  EXPECT_EQ(ReadText(std::u16string(kMostChars, u'x')), u"");
  auto bytes = BytesOf(std::u16string(kMostChars, u'x'));
  bytes.push_back(0);
  ASSERT_EQ(bytes.size(), 521U);
  EXPECT_EQ(ReadBytes(kText, bytes), u"");
}

TEST_F(RegistryValue, ValueOfAMebibyteIsEmpty) {
  const std::vector<std::uint8_t> bytes(1 << 20, 'x');
  for (const platform::DWORD type : {kText, kExpandable, kBinary, kNumber})
    EXPECT_EQ(ReadBytes(type, bytes), u"");
}

TEST_F(RegistryValue, AnyOtherTypeIsEmpty) {
  for (const platform::DWORD type : {0U, 3U, 5U, 6U, 7U, 8U, 11U, 0xFFFFU}) {
    EXPECT_EQ(ReadText(u"text", type), u"") << type;
  }
}

TEST_F(RegistryValue, ExpandableTextHasItsVariablesExpanded) {
  EXPECT_EQ(ReadText(u"%SystemRoot%\\a.ico", kExpandable), u"C:\\Windows\\a.ico");
  EXPECT_EQ(ReadText(u"%NoSuchVariable%\\a", kExpandable), u"%NoSuchVariable%\\a");
  EXPECT_EQ(ReadText(u"plain", kExpandable), u"plain");
}

TEST_F(RegistryValue, ExpandableTextIsExpandedIntoABufferOf260Characters) {
  SetBytes(kKey, u"Value", kExpandable, BytesOf(u"%SystemRoot%"));
  const auto key = OpenMachineKey(u"Software\\Vendor");
  const auto calls = CallsOf([&] { ReadRegistryValue(*key, u"Value"); });
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_THAT(calls[1], testing::StartsWith("ExpandEnvironmentStringsW(\"%SystemRoot%\", 260)"));
}

TEST_F(RegistryValue, ExpansionOf259CharactersIsReadWhole) {
  machine.environment.Set(u"LONG", std::u16string(259, u'y'));
  EXPECT_EQ(ReadText(u"%LONG%", kExpandable), std::u16string(259, u'y'));
}

TEST_F(RegistryValue, ExpansionThatDoesNotFitIsCut) {
  machine.environment.Set(u"LONG", std::u16string(1000, u'y'));
  EXPECT_EQ(ReadText(u"%LONG%", kExpandable), std::u16string(259, u'y'));
}

TEST_F(RegistryValue, FailedExpansionIsEmpty) {
  SetBytes(kKey, u"Value", kExpandable, BytesOf(u"%SystemRoot%"));
  const auto key = OpenMachineKey(u"Software\\Vendor");
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "ExpandEnvironmentStringsW");
  EXPECT_EQ(ReadRegistryValue(*key, u"Value"), u"");
  EXPECT_TRUE(machine.faults.Fired());
}

}  // namespace
}  // namespace kestrelbay
