// Data protection for the calling user.
#include "platform/Protection.h"

#include <gtest/gtest.h>

#include <string>

#include "LastErrors.h"
#include "TestMachine.h"
#include "platform/Processes.h"

namespace platform {
namespace {

DATA_BLOB BlobOf(std::string& bytes) {
  return {static_cast<DWORD>(bytes.size()), reinterpret_cast<BYTE*>(bytes.data())};
}

std::string TakeBytes(DATA_BLOB blob) {
  std::string bytes(reinterpret_cast<char*>(blob.pbData), blob.cbData);
  EXPECT_EQ(nullptr, LocalFree(blob.pbData));
  return bytes;
}

class Protection : public testing::Test {
 protected:
  /** @return the blob, empty on failure */
  static std::string Protect(std::string plain) {
    DATA_BLOB given = BlobOf(plain);
    DATA_BLOB blob = {};
    const BOOL done = CryptProtectData(&given, nullptr, nullptr, nullptr, nullptr, 0, &blob);
    return done ? TakeBytes(blob) : std::string();
  }

  /** @return the last error; 0 after a success */
  static DWORD Unprotect(std::string blob, std::string& plain) {
    DATA_BLOB given = BlobOf(blob);
    DATA_BLOB opened = {};
    if (!CryptUnprotectData(&given, nullptr, nullptr, nullptr, nullptr, 0, &opened)) return GetLastError();
    plain = TakeBytes(opened);
    return 0;
  }

  tests::TestMachine machine;
};

TEST_F(Protection, ProtectedBytesAreDecryptedForTheSameUser) {
  const std::string everyByte = [] {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) bytes.push_back(static_cast<char>(byte));
    return bytes;
  }();
  for (const std::string& plain :
       {std::string("secret"), std::string("a\0b", 3), everyByte, std::string(100'000, 'x')}) {
    const std::string blob = Protect(plain);
    ASSERT_GT(blob.size(), plain.size());
    EXPECT_EQ(std::string::npos, blob.find(plain));
    std::string opened;
    ASSERT_EQ(0u, Unprotect(blob, opened));
    EXPECT_EQ(plain, opened);
  }
}

TEST_F(Protection, TheSameBytesHaveAnotherBlobEachTime) { EXPECT_NE(Protect("secret"), Protect("secret")); }

TEST_F(Protection, NoBytesAreProtectedToo) {
  const std::string blob = Protect("");
  ASSERT_FALSE(blob.empty());
  std::string opened = "before";
  ASSERT_EQ(0u, Unprotect(blob, opened));
  EXPECT_EQ("", opened);
}

TEST_F(Protection, OtherBytesAreInvalidData) {
  std::string opened;
  EXPECT_EQ(last_error::kInvalidData, Unprotect("", opened));
  EXPECT_EQ(last_error::kInvalidData, Unprotect("x", opened));
  EXPECT_EQ(last_error::kInvalidData, Unprotect(std::string(300, '\x5A'), opened));
}

TEST_F(Protection, ACutBlobIsInvalidData) {
  const std::string blob = Protect("secret");
  std::string opened;
  for (std::size_t bytes = 0; bytes < blob.size(); ++bytes) {
    EXPECT_EQ(last_error::kInvalidData, Unprotect(blob.substr(0, bytes), opened)) << bytes;
  }
}

TEST_F(Protection, AChangeOfAnyByteIsNoticed) {
  std::string blob = Protect("secret");
  std::size_t unnoticed = 0;
  for (char& byte : blob) {
    byte ^= 0x11;
    std::string opened;
    const DWORD lastError = Unprotect(blob, opened);
    unnoticed += lastError == 0;
    // For some bytes Wine returns another error, and for others it opens the blob.
    EXPECT_TRUE(tests::RunsOnWine() || lastError == last_error::kInvalidData ||
                lastError == last_error::kBadKeyState);
    byte ^= 0x11;
  }
  EXPECT_EQ(!tests::RunsOnWine(), unnoticed == 0);
}

}  // namespace
}  // namespace platform
