// Reading values: types, sizes and buffer sizes, as the library uses them.
#include <gtest/gtest.h>

#include <array>

#include "RegistryTest.h"
#include "TestMachine.h"
#include "platform/Constants.h"
#include "platform/Registry.h"

namespace platform {
namespace {

using Bytes = std::vector<std::uint8_t>;

/** The buffer that the library reads a value into. */
constexpr DWORD kRoomBytes = 520;

class RegistryValues : public testing::Test {
 protected:
  RegistryValues() {
    machine.CreateKey(kBase);
    EXPECT_EQ(status::kSuccess,
              RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\KestrelbayContract", 0, KEY_READ, &base));
  }
  ~RegistryValues() override { RegCloseKey(base); }

  /** Reads into a buffer of `room` bytes, at most 520. Sets type, size and buffer. */
  LSTATUS Read(const char16_t* name, DWORD room = kRoomBytes) {
    buffer.fill(0xEE);
    type = 0;
    size = room;
    return RegQueryValueExW(base, name, nullptr, &type, buffer.data(), &size);
  }
  Bytes Stored() const { return {buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(size)}; }

  tests::TestMachine machine;
  HKEY base = nullptr;
  DWORD type = 0;
  DWORD size = 0;
  std::array<BYTE, kRoomBytes> buffer = {};
};

TEST_F(RegistryValues, AMissingValueIsNotFound) { EXPECT_EQ(status::kFileNotFound, Read(u"Missing")); }

TEST_F(RegistryValues, ANumberHasFourBytesLowestFirst) {
  machine.SetNumber(kBase, u"Number", 0x80000001);
  EXPECT_EQ(status::kSuccess, Read(u"Number"));
  EXPECT_EQ(REG_DWORD, type);
  EXPECT_EQ((Bytes{0x01, 0x00, 0x00, 0x80}), Stored());
}

TEST_F(RegistryValues, ATextHasItsNul) {
  machine.SetText(kBase, u"Text", u"Aé");
  EXPECT_EQ(status::kSuccess, Read(u"Text"));
  EXPECT_EQ(REG_SZ, type);
  EXPECT_EQ((Bytes{0x41, 0, 0xE9, 0, 0, 0}), Stored());
}

TEST_F(RegistryValues, ATextWithoutNulIsReadWithoutNul) {
  machine.SetValue(kBase, u"Text", REG_SZ, Bytes{0x41, 0, 0x42, 0});
  EXPECT_EQ(status::kSuccess, Read(u"Text", 4));
  EXPECT_EQ(4u, size);
  EXPECT_EQ((Bytes{0x41, 0, 0x42, 0}), Stored());
  EXPECT_EQ(0xEE, buffer[4]);
}

TEST_F(RegistryValues, OddBytesAndEmbeddedNulsAreKept) {
  const Bytes odd = {0x41, 0, 0, 0, 0x42, 0, 0x43};
  machine.SetValue(kBase, u"Odd", REG_SZ, odd);
  machine.SetValue(kBase, u"Unusual type", 0x7777, odd);
  EXPECT_EQ(status::kSuccess, Read(u"Odd"));
  EXPECT_EQ(odd, Stored());
  EXPECT_EQ(status::kSuccess, Read(u"Unusual type"));
  EXPECT_EQ(0x7777u, type);
  EXPECT_EQ(odd, Stored());
}

TEST_F(RegistryValues, AnExpandableTextIsReadUnexpanded) {
  machine.SetText(kBase, u"Path", u"%SystemRoot%\\x", REG_EXPAND_SZ);
  EXPECT_EQ(status::kSuccess, Read(u"Path"));
  EXPECT_EQ(REG_EXPAND_SZ, type);
  EXPECT_EQ(std::u16string(u"%SystemRoot%\\x").size() * 2 + 2, size);
}

TEST_F(RegistryValues, AnEmptyValueHasNoBytes) {
  machine.SetValue(kBase, u"Empty", REG_SZ, {});
  EXPECT_EQ(status::kSuccess, Read(u"Empty"));
  EXPECT_EQ(REG_SZ, type);
  EXPECT_EQ(0u, size);
  EXPECT_EQ(0xEE, buffer[0]);
}

TEST_F(RegistryValues, AValueThatFillsTheBufferFits) {
  machine.SetText(kBase, u"Full", std::u16string(259, u'f'));
  EXPECT_EQ(status::kSuccess, Read(u"Full"));
  EXPECT_EQ(kRoomBytes, size);
  EXPECT_EQ(0, buffer[518]);
  EXPECT_EQ(0, buffer[519]);
}

TEST_F(RegistryValues, OneByteTooManyIsRefusedWithItsSizeAndType) {
  machine.SetValue(kBase, u"Over", REG_SZ, Bytes(kRoomBytes + 1, 0x41));
  EXPECT_EQ(status::kMoreData, Read(u"Over"));
  EXPECT_EQ(kRoomBytes + 1, size);
  EXPECT_EQ(REG_SZ, type);
}

TEST_F(RegistryValues, WithoutABufferTheSizeIsReturned) {
  machine.SetText(kBase, u"Text", u"four");
  DWORD bytes = 0;
  EXPECT_EQ(status::kSuccess, RegQueryValueExW(base, u"Text", nullptr, nullptr, nullptr, &bytes));
  EXPECT_EQ(10u, bytes);
}

TEST_F(RegistryValues, NamesAreCaseInsensitive) {
  machine.SetNumber(kBase, u"Größe", 7);
  EXPECT_EQ(status::kSuccess, Read(u"GRÖßE"));
  EXPECT_EQ(7, buffer[0]);
  machine.SetNumber(kBase, u"GRÖßE", 8);
  EXPECT_EQ(status::kSuccess, Read(u"Größe"));
  EXPECT_EQ(8, buffer[0]);
}

TEST_F(RegistryValues, TheUnnamedValueIsReadByNullAndByTheEmptyName) {
  EXPECT_EQ(status::kFileNotFound, Read(u""));
  EXPECT_EQ(status::kFileNotFound, Read(nullptr));
  machine.SetNumber(kBase, u"", 9);
  EXPECT_EQ(status::kSuccess, Read(u""));
  EXPECT_EQ(9, buffer[0]);
  EXPECT_EQ(status::kSuccess, Read(nullptr));
  EXPECT_EQ(9, buffer[0]);
}

TEST_F(RegistryValues, AValueSetThroughAnotherHandleIsRead) {
  machine.SetNumber(kBase, u"Number", 1);
  EXPECT_EQ(status::kSuccess, Read(u"Number"));
  machine.SetNumber(kBase, u"Number", 2);
  EXPECT_EQ(status::kSuccess, Read(u"Number"));
  EXPECT_EQ(2, buffer[0]);
}

TEST_F(RegistryValues, AnImportedTextFileIsReadBack) {
  machine.ImportReg(
      "Windows Registry Editor Version 5.00\r\n\r\n"
      "[HKEY_LOCAL_MACHINE\\Software\\KestrelbayContract\\Imported]\r\n"
      "@=\"unnamed\"\r\n\"Text\"=\"a \\\"b\\\" \\\\c \xC3\xA9\"\r\n\"Number\"=dword:0000001f\r\n"
      "\"Raw\"=hex:01,02,\\\r\n  03\r\n\"Path\"=hex(2):25,00,00,00\r\n\r\n");
  RegCloseKey(base);
  ASSERT_EQ(status::kSuccess,
            RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\KestrelbayContract\\Imported", 0, KEY_READ, &base));
  EXPECT_EQ(status::kSuccess, Read(u"Text"));
  EXPECT_EQ(u"a \"b\" \\c é", std::u16string(reinterpret_cast<const char16_t*>(buffer.data())));
  EXPECT_EQ(status::kSuccess, Read(u"Number"));
  EXPECT_EQ((Bytes{0x1F, 0, 0, 0}), Stored());
  EXPECT_EQ(status::kSuccess, Read(u"Raw"));
  EXPECT_EQ((Bytes{1, 2, 3}), Stored());
  EXPECT_EQ(status::kSuccess, Read(u"Path"));
  EXPECT_EQ(REG_EXPAND_SZ, type);
  EXPECT_EQ(status::kSuccess, Read(nullptr));
  EXPECT_EQ(16u, size);
}

}  // namespace
}  // namespace platform
