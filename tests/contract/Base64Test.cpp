// Base64 text.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "LastErrors.h"
#include "TestMachine.h"
#include "platform/Constants.h"
#include "platform/Processes.h"
#include "platform/Protection.h"

namespace platform {
namespace {

using namespace std::string_literals;

/** The base64 text of the bytes 0 to 47. */
const std::string kFullLine = "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4v";

/** @return the bytes 0, 1, 2 and so on */
std::string CountedBytes(std::size_t count) {
  std::string bytes;
  while (bytes.size() < count) bytes.push_back(static_cast<char>(bytes.size()));
  return bytes;
}

const BYTE* AsBytes(const std::string& bytes) { return reinterpret_cast<const BYTE*>(bytes.data()); }

std::string Write(const std::string& bytes, DWORD flags = CRYPT_STRING_BASE64) {
  const auto byteCount = static_cast<DWORD>(bytes.size());
  DWORD chars = 0;
  EXPECT_NE(0, CryptBinaryToStringA(AsBytes(bytes), byteCount, flags, nullptr, &chars));
  std::string text(chars + 1, '#');
  DWORD written = chars;
  EXPECT_NE(0, CryptBinaryToStringA(AsBytes(bytes), byteCount, flags, text.data(), &written));
  EXPECT_EQ(chars - 1, written);
  EXPECT_EQ('#', text[chars]);
  return text.c_str();
}

class Base64 : public testing::Test {
 protected:
  tests::TestMachine machine;
};

TEST_F(Base64, ALineHas64CharactersAndEndsInCrLf) {
  EXPECT_EQ("AA==\r\n", Write(CountedBytes(1)));
  EXPECT_EQ("AAE=\r\n", Write(CountedBytes(2)));
  EXPECT_EQ("AAEC\r\n", Write(CountedBytes(3)));
  EXPECT_EQ(kFullLine + "\r\n", Write(CountedBytes(48)));
  EXPECT_EQ(kFullLine + "\r\nMDEyMzQ1Njc4OTo7PD0+P0BBQkNERUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5f\r\n",
            Write(CountedBytes(96)));
}

TEST_F(Base64, AShortLastLineEndsInCrLfToo) {
  EXPECT_EQ(kFullLine + "\r\nMDEyMzQ1\r\n", Write(CountedBytes(54)));
  // Wine writes a last group with padding after the line before it, and counts the line end that it omits.
  EXPECT_EQ(!tests::RunsOnWine(), Write(CountedBytes(49)) == kFullLine + "\r\nMA==\r\n");
}

TEST_F(Base64, WithoutLinesThereIsNoLineEnd) {
  constexpr DWORD kOneLine = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
  EXPECT_EQ("AA==", Write(CountedBytes(1), kOneLine));
  EXPECT_EQ(68u, Write(CountedBytes(49), kOneLine).size());
  EXPECT_EQ(std::string::npos, Write(CountedBytes(300), kOneLine).find('\n'));
}

TEST_F(Base64, NoBytesNeedRoomOnlyForTheNul) {
  DWORD chars = 77;
  EXPECT_NE(0, CryptBinaryToStringA(AsBytes("x"), 0, CRYPT_STRING_BASE64, nullptr, &chars));
  EXPECT_EQ(1u, chars);
}

TEST_F(Base64, TooSmallABufferFailsAndReturnsTheRequiredSize) {
  char text[7] = {};
  DWORD chars = 6;
  EXPECT_EQ(0, CryptBinaryToStringA(AsBytes("x"), 1, CRYPT_STRING_BASE64, text, &chars));
  EXPECT_EQ(last_error::kMoreData, GetLastError());
  EXPECT_EQ(7u, chars);
}

struct Reading {
  const char* text;
  std::string bytes;
};

class Base64Reading : public testing::TestWithParam<Reading> {
 protected:
  tests::TestMachine machine;
};

const Reading kReadings[] = {
    {"", ""},
    {" \r\n", ""},
    {"AAEC", "\0\1\2"s},
    {"AAECAw==", "\0\1\2\3"s},
    {"AAECAw==\r\n", "\0\1\2\3"s},
    {" AA\r\nEC\t", "\0\1\2"s},
    {"AAECA\r\nw =\n=", "\0\1\2\3"s},
    {"AAECAw", "\0\1\2\3"s},
    {"AAE", "\0\1"s},
    {"A", "\0"s},
    {"AAEC=", "\0\1\2"s},
    {"AA==AAEC", "\0"s},
    {"AAE=!", "\0\1"s},
    {"=", ""},
};

TEST_P(Base64Reading, IgnoresBlanksAndTextAfterThePadding) {
  const auto& [text, bytes] = GetParam();
  DWORD needed = 77;
  ASSERT_NE(0, CryptStringToBinaryA(text, 0, CRYPT_STRING_BASE64, nullptr, &needed, nullptr, nullptr));
  ASSERT_EQ(bytes.size(), needed);
  std::string read(needed + 1, '#');
  auto* const room = reinterpret_cast<BYTE*>(read.data());
  ASSERT_NE(0, CryptStringToBinaryA(text, 0, CRYPT_STRING_BASE64, room, &needed, nullptr, nullptr));
  EXPECT_EQ(bytes + '#', read);
}

INSTANTIATE_TEST_SUITE_P(Texts, Base64Reading, testing::ValuesIn(kReadings));

class NoBase64 : public testing::TestWithParam<const char*> {
 protected:
  tests::TestMachine machine;
};

TEST_P(NoBase64, IsInvalidData) {
  DWORD needed = 77;
  EXPECT_EQ(0, CryptStringToBinaryA(GetParam(), 0, CRYPT_STRING_BASE64, nullptr, &needed, nullptr, nullptr));
  EXPECT_EQ(last_error::kInvalidData, GetLastError());
  // Wine returns the size of the part that it has read.
  EXPECT_EQ(!tests::RunsOnWine(), needed == 77);
}

INSTANTIATE_TEST_SUITE_P(Texts, NoBase64,
                         testing::Values("!", "A!EC", "AA-_", "AAEC\v", "AAEC\xE9", "AA=", "AA=A",
                                         "A==", "-----BEGIN"));

TEST_F(Base64, AGivenLengthEndsTheText) {
  BYTE read[3] = {};
  DWORD bytes = sizeof read;
  ASSERT_NE(0, CryptStringToBinaryA("AAEC!!", 4, CRYPT_STRING_BASE64, read, &bytes, nullptr, nullptr));
  EXPECT_EQ(3u, bytes);
}

TEST_F(Base64, TooSmallABufferForTheBytesFails) {
  BYTE read[3] = {7, 7, 7};
  DWORD bytes = 2;
  EXPECT_EQ(0, CryptStringToBinaryA("AAEC", 0, CRYPT_STRING_BASE64, read, &bytes, nullptr, nullptr));
  EXPECT_EQ(7, read[2]);
}

}  // namespace
}  // namespace platform
