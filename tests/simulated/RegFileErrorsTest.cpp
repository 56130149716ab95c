// An error in a registration file is reported with its line and with what to do.
#include <gmock/gmock.h>

#include <ostream>

#include "MachineFolder.h"

namespace simulated {
namespace {

using namespace std::string_literals;

struct Mistake {
  const char* what;
  std::string file;
  int line;
  std::string told;
};

void PrintTo(const Mistake& mistake, std::ostream* out) { *out << mistake.what; }

const std::string kHeading = "Windows Registry Editor Version 5.00\r\n\r\n";
const std::string kKeyLine = "[HKEY_LOCAL_MACHINE\\Software\\K]\r\n";

/** A value on the fourth line. */
std::string Value(const std::string& text) { return kHeading + kKeyLine + text + "\r\n"; }

const Mistake kMistakes[] = {
    {"WinesFormat", "WINE REGISTRY Version 2\n", 1,
     "Wine's own registry format; export the keys with regedit instead"},
    {"NoHeading", "\n\n[HKEY_LOCAL_MACHINE\\Software]\n", 3,
     "no registration file; its first line must be Windows Registry Editor Version 5.00"},
    {"Empty", "", 1, "no registration file; its first line must be Windows Registry Editor Version 5.00"},
    {"BigEndian", "\xFE\xFF\0W"s, 1, "big-endian UTF-16; save the file as little-endian UTF-16"},
    {"HalfACharacter", "\xFF\xFEW"s, 1, "the UTF-16 file ends in half a character; export it again"},
    {"NotUtf8", Value("\"a\"=\"\xE9\""), 4, "not UTF-8; save the file as UTF-16 or UTF-8"},
    {"CutInACharacter", kHeading + "; \xE5\xA4", 3, "not UTF-8; save the file as UTF-16 or UTF-8"},
    {"NoBracket", kHeading + "[HKEY_LOCAL_MACHINE\\Software\r\n\"a\"=\"b\"\r\n", 3,
     "the key has no closing bracket; end it with ]"},
    {"ForeignRoot", kHeading + "[HKLM\\Software]\r\n", 3,
     "the key begins with no predefined key; write it whole, such as HKEY_LOCAL_MACHINE\\Software"},
    {"DeletesARoot", kHeading + "[-HKEY_LOCAL_MACHINE]\r\n", 3,
     "a predefined key cannot be deleted; remove the line"},
    {"ValueWithoutKey", kHeading + "\"a\"=\"b\"\r\n", 3,
     "a value outside any key; put a [key] line above it"},
    {"ValueAfterDeletion", kHeading + "[-HKEY_LOCAL_MACHINE\\Software\\K]\r\n@=\"b\"\r\n", 4,
     "a value outside any key; put a [key] line above it"},
    {"Nonsense", kHeading + kKeyLine + "\r\nhello\r\n", 5,
     "neither a [key], nor a \"value\"=, nor a ;comment; correct or remove the line"},
    {"TimeNoNumber", kHeading + kKeyLine + ";LastWriteTime=yesterday\r\n", 4,
     "the last write time is not a 64-bit decimal number; write a FILETIME"},
    {"TimeOf65Bits", kHeading + kKeyLine + ";LastWriteTime=18446744073709551616\r\n", 4,
     "the last write time is not a 64-bit decimal number; write a FILETIME"},
    {"NoEquals", Value("\"a\" \"b\""), 4, "no = after the value's name; write \"name\"="},
    {"UnknownData", Value("\"a\"=qword:1"), 4, "unknown data; write \"text\", dword:, hex: or hex(type):"},
    {"DwordWithoutDigits", Value("\"a\"=dword:"), 4,
     "a dword has one to eight hexadecimal digits; correct it"},
    {"DwordTooLong", Value("\"a\"=dword:123456789"), 4,
     "a dword has one to eight hexadecimal digits; correct it"},
    {"DwordNoNumber", Value("\"a\"=dword:12x"), 4,
     "more follows where the line should end; remove it, or begin it with ;"},
    {"TypeTooLong", Value("\"a\"=hex(123456789):00"), 4,
     "unknown data; write hex: or hex(type): with the type in hexadecimal"},
    {"TypeWithoutEnd", Value("\"a\"=hex(2:00"), 4,
     "unknown data; write hex: or hex(type): with the type in hexadecimal"},
    {"ByteOfThreeDigits", Value("\"a\"=hex:000"), 4,
     "more follows where the line should end; remove it, or begin it with ;"},
    {"ContinuedIntoNothing", Value("\"a\"=hex:00,\\"), 4,
     "the value goes on after \\ but no bytes follow; add them"},
    {"ContinuedIntoAValue", Value("\"a\"=hex:00,\\\r\n  01,\\\r\n\"b\"=\"c\""), 5,
     "the value goes on after \\ but no bytes follow; add them"},
    {"SingleBackslash", Value("\"a\"=\"C:\\dir\""), 4, "a single \\ in quotes; write it as \\\\"},
    {"SingleBackslashOnALaterLine", Value("\"a\"=\"one\r\ntwo\r\r\n\\three\""), 6,
     "a single \\ in quotes; write it as \\\\"},
    {"NoQuoteTillTheEnd", Value("\"a\"=\"text"), 4, "the text has no closing quote; end it with \""},
    {"NoQuoteAndMoreValues", Value("\"a\"=\"text\r\n\"b\"=\"more\"\r\n\"c\"=\"more\""), 4,
     "the text has no closing quote; end it with \""},
    {"NoQuoteAndANumber", Value("\"a\"=\"C:\\\\text\r\n\"b\"=dword:1"), 4,
     "the text has no closing quote; end it with \""},
    {"NameWithoutQuote", Value("\"a=dword:1\r\n\"b\"=dword:1"), 4,
     "the text has no closing quote; end it with \""},
    {"BackslashAtTheEnd", Value("\"a\"=\"text\\"), 4, "a single \\ in quotes; write it as \\\\"},
    {"MoreBehindAText", Value("\"a\"=\"text\" more"), 4,
     "more follows where the line should end; remove it, or begin it with ;"},
    {"LinesEndInCarriageReturns",
     "Windows Registry Editor Version 5.00\r\r[HKEY_LOCAL_MACHINE\\Software\\K]\r\"a\"=x\r", 4,
     "unknown data; write \"text\", dword:, hex: or hex(type):"},
};

class RegFileErrors : public MachineFolder, public testing::WithParamInterface<Mistake> {};

TEST_P(RegFileErrors, AreReportedWithTheirLineAndNothingIsLoaded) {
  WriteRegistry("1-good.reg", "[HKEY_LOCAL_MACHINE\\Software\\Good]\n");
  Write("registry/2-bad.reg", GetParam().file);
  const auto before = Files();
  EXPECT_EQ(Refusal(), (folder / "registry/2-bad.reg").string() + ":" + std::to_string(GetParam().line) +
                           ": " + GetParam().told);
  EXPECT_EQ(Files(), before);
}

INSTANTIATE_TEST_SUITE_P(, RegFileErrors, testing::ValuesIn(kMistakes),
                         [](const auto& mistake) { return std::string(mistake.param.what); });

}  // namespace
}  // namespace simulated
