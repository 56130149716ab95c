// Registration files of every encoding and form are read correctly.
#include <gmock/gmock.h>

#include "MachineFolder.h"

namespace simulated {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::u16string_view kKey = u"HKEY_LOCAL_MACHINE\\Software\\Café";
/** A file with two names that are not ASCII, and a text that is not Latin. */
constexpr std::u16string_view kFile =
    u"Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Café]\r\n\"Größe\"=\"夕凪 "
    u"🎉\"\r\n";

std::string Utf16(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

const std::string kUtf8File =
    "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Caf\xC3\xA9]\r\n"
    "\"Gr\xC3\xB6\xC3\x9F"
    "e\"=\"\xE5\xA4\x95\xE5\x87\xAA \xF0\x9F\x8E\x89\"\r\n";

class RegFileTest : public MachineFolder {
 protected:
  void ExpectRead(std::string_view bytes) {
    Write("registry/a.reg", bytes);
    EXPECT_EQ(TextOf(*Open(), kKey, u"Größe"), u"夕凪 🎉\0"sv);
  }
  std::u16string TextWithData(std::string_view data) {
    WriteRegistry("a.reg", "[HKEY_LOCAL_MACHINE\\Software\\K]\n\"v\"=" + std::string(data) + "\n");
    return TextOf(*Open(), u"HKEY_LOCAL_MACHINE\\Software\\K", u"v");
  }
};

TEST_F(RegFileTest, Utf8IsRead) { ExpectRead(kUtf8File); }

TEST_F(RegFileTest, Utf8WithByteOrderMarkIsRead) { ExpectRead("\xEF\xBB\xBF" + kUtf8File); }

TEST_F(RegFileTest, Utf16WithByteOrderMarkIsRead) { ExpectRead("\xFF\xFE" + Utf16(kFile)); }

TEST_F(RegFileTest, Utf16WithoutByteOrderMarkIsRead) { ExpectRead(Utf16(kFile)); }

TEST_F(RegFileTest, LinesMayEndInLfOrCrAlone) {
  for (const std::string_view end : {"\n"sv, "\r"sv}) {
    std::string file = kUtf8File;
    for (std::size_t at = file.find("\r\n"); at != file.npos; at = file.find("\r\n", at + 1))
      file.replace(at, 2, end);
    ExpectRead(file);
  }
}

TEST_F(RegFileTest, OldFormatIsWindows1252) {
  Write("registry/a.reg",
        "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Caf\xE9]\r\n\"\x80\"=\"\x8A\x9F\x81\"\r\n");
  EXPECT_EQ(TextOf(*Open(), kKey, u"€"), u"ŠŸ\u0081\0"sv);
}

TEST_F(RegFileTest, OldFormatsHexadecimalTextsAreNarrow) {
  Write("registry/a.reg",
        "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Caf\xE9]\r\n\"a\"=hex(2):80,41,00\r\n");
  EXPECT_EQ(TextOf(*Open(), kKey, u"a"), u"€A\0"sv);
}

TEST_F(RegFileTest, FilesAreMergedInByteOrderOfTheirNames) {
  for (const std::string name : {"b.reg", "C.reg", "a.reg", "10.reg", "9.REG"})
    WriteRegistry(name,
                  "[HKEY_LOCAL_MACHINE\\Software\\K]\n\"last\"=\"" + name + "\"\n\"" + name + "\"=\"\"\n");
  const auto machine = Open();
  EXPECT_EQ(TextOf(*machine, u"HKEY_LOCAL_MACHINE\\Software\\K", u"last"), u"b.reg\0"sv);
  Key& key = *machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\K");
  std::vector<std::u16string> names;
  for (std::size_t i = 0; i < key.ValueCount(); ++i) names.emplace_back(key.ValueAt(i).name);
  EXPECT_THAT(names, ElementsAre(u"last", u"10.reg", u"9.REG", u"C.reg", u"a.reg", u"b.reg"));
}

TEST_F(RegFileTest, FilesWithOtherEndingsAreIgnored) {
  WriteRegistry("a.reg", "[HKEY_LOCAL_MACHINE\\Software\\K]\n\"v\"=\"kept\"\n");
  Write("registry/a.reg.bak", "no registration file");
  EXPECT_EQ(TextOf(*Open(), u"HKEY_LOCAL_MACHINE\\Software\\K", u"v"), u"kept\0"sv);
}

TEST_F(RegFileTest, LaterFileRemovesWhatAnEarlierOneSet) {
  WriteRegistry(
      "1.reg",
      "[HKEY_LOCAL_MACHINE\\Software\\Gone\\Below]\n[HKEY_LOCAL_MACHINE\\Software\\K]\n\"a\"=\"x\"\n");
  WriteRegistry("2.reg",
                "[-HKEY_LOCAL_MACHINE\\Software\\Gone]\n[HKEY_LOCAL_MACHINE\\Software\\K]\n\"a\"=-\n");
  const auto machine = Open();
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\Gone"), nullptr);
  EXPECT_EQ(TextOf(*machine, u"HKEY_LOCAL_MACHINE\\Software\\K", u"a"), u"(none)");
}

TEST_F(RegFileTest, EscapesInQuotesAreDecoded) {
  EXPECT_EQ(TextWithData(R"("C:\\a \"b\" \n\r\0z")"), u"C:\\a \"b\" \n\r\0z\0"sv);
}

TEST_F(RegFileTest, TextMayContainALineEnd) {
  EXPECT_EQ(TextWithData("\"one\ntwo\""), u"one\ntwo\0"sv);
  EXPECT_EQ(TextWithData("\"one\r\ntwo\r\r\nthree\" ; a comment"), u"one\ntwo\r\nthree\0"sv);
}

TEST_F(RegFileTest, BytesAreKeptAsWritten) {
  EXPECT_EQ(TextWithData("hex(1):41,00,00,00,42,00"), u"A\0B"sv);
  EXPECT_EQ(TextWithData("hex(1):00,d8,41,00"),
            u"\xD800"
            u"A");
  EXPECT_EQ(TextWithData("hex(1):41,00,\\\n  ; between\n\n  42,00"), u"AB");
}

TEST_F(RegFileTest, ValueOfAMebibyteIsRead) {
  std::string data = "hex(3):00";
  for (int at = 1; at < 1 << 20; ++at) data += at % 256 == 0 ? ",\\\n  5a" : ",5a";
  const std::u16string text = TextWithData(data);
  ASSERT_EQ(text.size(), std::size_t{1} << 19);
  EXPECT_EQ(text.back(), 0x5A5A);
  EXPECT_EQ(TextWithData('"' + std::string(1 << 19, 'x') + '"'), std::u16string(1 << 19, u'x') + u'\0');
}

TEST_F(RegFileTest, NamesAsLongAsWindowsAllowsAreRead) {
  const std::string key = "HKEY_LOCAL_MACHINE\\Software\\" + std::string(255, 'k');
  WriteRegistry("a.reg", "[" + key + "]\n\"" + std::string(16383, 'v') + "\"=\"there\"\n");
  const std::u16string path(key.begin(), key.end());
  EXPECT_EQ(TextOf(*Open(), path, std::u16string(16383, u'v')), u"there\0"sv);
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(RegFileTest, ForbiddenNamesAreLeftOutAndTheRestIsRead) {
  std::string deep = "HKEY_LOCAL_MACHINE";
  for (int level = 1; level <= 512; ++level) deep += "\\d";
  WriteRegistry("a.reg", "\n[HKEY_LOCAL_MACHINE\\Software\\New\\" + std::string(256, 'k') +
                             "\\Below]\n\"a\"=\"lost\"\n[" + deep +
                             "]\n@=\"lost\"\n[HKEY_LOCAL_MACHINE\\Software\\K]\n\"" +
                             std::string(16384, 'v') + "\"=hex:00,\\\n  01\n\"v\"=\"kept\"\n");
  const auto machine = Open();
  EXPECT_EQ(TextOf(*machine, u"HKEY_LOCAL_MACHINE\\Software\\K", u"v"), u"kept\0"sv);
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\K")->ValueCount(), 1U);
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\New"), nullptr);
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\d"), nullptr);
  const std::string file = (folder / "registry/a.reg").string();
  EXPECT_THAT(
      warnings,
      ElementsAre(
          file + ":3: the name of a key has 256 characters, more than Windows allows; it is left out",
          file + ":5: the key is 513 levels deep, more than Windows allows; it is left out",
          file + ":8: the name of a value has 16384 characters, more than Windows allows; it is left out"));
}

TEST_F(RegFileTest, LevelsCountFromTheStoredKey) {
  std::string below;
  for (int level = 0; level < 510; ++level) below += "\\d";
  WriteRegistry("a.reg",
                "[HKEY_CURRENT_USER" + below + "]\n@=\"x\"\n[HKEY_CURRENT_USER" + below + "\\d]\n@=\"y\"\n");
  const auto machine = Open();
  const std::u16string path = u"HKEY_CURRENT_USER" + std::u16string(below.begin(), below.end());
  EXPECT_EQ(TextOf(*machine, path, u""), u"x\0"sv);
  EXPECT_EQ(machine->registry.Find(path)->SubKeyCount(), 0U);
  EXPECT_THAT(warnings, ElementsAre(HasSubstr("513 levels")));
}

TEST_F(RegFileTest, ThousandsAreLeftOutInLinearTime) {
  std::string keys;
  const std::string name(300, 'k');
  for (int i = 0; i < 20000; ++i) keys += "[HKEY_LOCAL_MACHINE\\" + name + "]\n";
  WriteRegistry("a.reg", keys);
  Open();
  ASSERT_EQ(warnings.size(), 20000U);
  EXPECT_THAT(warnings.back(), HasSubstr("a.reg:20001: "));
}

}  // namespace
}  // namespace simulated
