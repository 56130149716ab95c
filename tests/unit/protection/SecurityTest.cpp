#include "protection/Security.h"

#include <gmock/gmock.h>

#include "LogText.h"
#include "simulated/base/Memory.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using simulated::Faults;
using testing::ElementsAre;

using CallMatcher = testing::Matcher<std::string>;

testing::Matcher<std::vector<std::string>> HasAll(std::vector<CallMatcher> calls) {
  return testing::IsSupersetOf(calls);
}

/** @return the lines of a call, without file, level and function */
std::vector<std::string> Lines(const std::string& function, std::initializer_list<std::string> messages) {
  std::vector<std::string> lines;
  std::string current = function;
  for (const std::string& message : messages) {
    // An entry line names the function that logs the lines after it.
    if (message.starts_with("enter ")) current = message.substr(6);
    lines.push_back("Security 3 " + current + ": " + message);
  }
  return lines;
}

class Secrets : public OnMachine {
 protected:
  ~Secrets() override { EXPECT_EQ(simulated::OpenAllocations(), allocationsBefore); }

  const std::size_t allocationsBefore = simulated::OpenAllocations();
  Security& security = Security::GetInstance();
  LogCapture log;
};

TEST_F(Secrets, ATextIsDecryptedAgain) {
  for (const std::string& text :
       {std::string("secret"), std::string("\u65e5\xFF\x01"), std::string(9999, 's')}) {
    const std::string hidden = security.Encrypt(text);
    EXPECT_THAT(hidden, testing::MatchesRegex("[A-Za-z0-9+/=\r\n]+"));
    EXPECT_TRUE(hidden.ends_with("\r\n"));
    EXPECT_EQ(hidden.find("\r\n"), 64U);
    EXPECT_EQ(security.Decrypt(hidden), text);
  }
}

TEST_F(Secrets, LineEndsMayBeMissingOrDifferent) {
  const std::string hidden = security.Encrypt("secret");
  std::string dense = hidden;
  std::erase_if(dense, [](char unit) { return unit == '\r' || unit == '\n'; });
  EXPECT_EQ(security.Decrypt(dense), "secret");
  EXPECT_EQ(security.Decrypt(" " + hidden + "\t\n"), "secret");
}

TEST_F(Secrets, EachStepLogsItsEntry) {
  const std::string hidden = security.Encrypt("secret");
  EXPECT_EQ(TextOf(log), Lines("", {"enter Encrypt", "enter ProtectData", "enter Byte2String"}));
  const LogCapture own;
  security.Decrypt(hidden);
  EXPECT_EQ(TextOf(own), Lines("", {"enter Decrypt", "enter String2Byte", "enter UnprotectData"}));
}

TEST_F(Secrets, AnEmptyTextIsEncryptedAndDecryptedWithoutAFailureLine) {
  const std::string hidden = security.Encrypt("");
  EXPECT_FALSE(hidden.empty());
  EXPECT_EQ(security.Decrypt(hidden), "");
  EXPECT_EQ(log.Lines().size(), 6U);
}

TEST_F(Secrets, TheServiceIsCalledWithoutOptions) {
  std::string hidden;
  EXPECT_THAT(CallsOf([&] { hidden = security.Encrypt("secret"); }),
              HasAll({testing::StrEq("CryptProtectData(6, null, null, null, null, 0x0) = 1"),
                      testing::StrEq("LocalFree() = null"),
                      testing::StartsWith("CryptBinaryToStringA(66, 0x1, 0) = 1"),
                      testing::StartsWith("CryptBinaryToStringA(66, 0x1, 93) = 1")}));
  EXPECT_THAT(CallsOf([&] { security.Decrypt(hidden); }),
              HasAll({"CryptStringToBinaryA(0, 0x1, 0, null, null) = 1",
                      "CryptStringToBinaryA(0, 0x1, 66, null, null) = 1",
                      "CryptUnprotectData(66, null, null, null, null, 0x0) = 1", "LocalFree() = null"}));
}

TEST_F(Secrets, ARefusalIsLoggedWithItsErrorNumber) {
  machine.faults.FailNth(1, Faults::Extent::Once, "CryptProtectData");
  EXPECT_EQ(security.Encrypt("secret"), "");
  EXPECT_THAT(TextOf(log),
              ElementsAre("Security 3 Encrypt: enter Encrypt", "Security 3 ProtectData: enter ProtectData",
                          "Security 3 ProtectData: CryptProtectData failed:8",
                          "Security 3 Encrypt: ProtectData failed"));
}

TEST_F(Secrets, ATextWithoutASizeIsLogged) {
  machine.faults.FailNth(1, Faults::Extent::Once, "CryptBinaryToStringA");
  EXPECT_EQ(security.Encrypt("secret"), "");
  EXPECT_EQ(TextOf(log).back(), "Security 3 Byte2String: CryptBinaryToStringA may be failed because nNeed=0");
}

TEST_F(Secrets, AFailedConversionIsEmptyWithoutALine) {
  machine.faults.FailNth(2, Faults::Extent::Once, "CryptBinaryToStringA");
  EXPECT_EQ(security.Encrypt("secret"), "");
  EXPECT_EQ(log.Lines().size(), 3U);
}

TEST_F(Secrets, AnEmptyOrMalformedTextHasNoSize) {
  for (const char* text : {"", " \r\n", "!", "no base64 at all.", "AA="}) {
    const LogCapture own;
    EXPECT_EQ(security.Decrypt(text), "");
    EXPECT_THAT(TextOf(own),
                ElementsAre("Security 3 Decrypt: enter Decrypt", "Security 3 String2Byte: enter String2Byte",
                            "Security 3 String2Byte: CryptStringToBinaryA nNeed=0",
                            "Security 3 Decrypt: String2Byte failed:size of buf=0"))
        << text;
  }
}

TEST_F(Secrets, BytesThatAreNotConvertedFailInTheDecryption) {
  const std::string hidden = security.Encrypt("secret");
  const LogCapture own;
  machine.faults.FailNth(2, Faults::Extent::Once, "CryptStringToBinaryA");
  EXPECT_EQ(security.Decrypt(hidden), "");
  EXPECT_THAT(TextOf(own),
              ElementsAre("Security 3 Decrypt: enter Decrypt", "Security 3 String2Byte: enter String2Byte",
                          "Security 3 String2Byte: CryptStringToBinaryA failed",
                          "Security 3 UnprotectData: enter UnprotectData",
                          "Security 3 UnprotectData: CryptUnprotectData failed, errCode=13"));
}

TEST_F(Secrets, ATextCutAtAnyPlaceIsRefused) {
  const std::string hidden = security.Encrypt("secret");
  const std::size_t digitsEnd = hidden.size() - 2;
  for (std::size_t length = 0; length < digitsEnd; ++length) {
    EXPECT_EQ(security.Decrypt(hidden.substr(0, length)), "") << length;
  }
  // Without its last line end the text is still complete.
  EXPECT_EQ(security.Decrypt(hidden.substr(0, digitsEnd)), "secret");
}

TEST_F(Secrets, ATextChangedInAnyByteIsRefused) {
  const auto isWhiteSpace = [](int byte) {
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
  };
  const std::string hidden = security.Encrypt("secret");
  std::string changed = hidden;
  for (std::size_t at = 0; at < hidden.size(); ++at) {
    const bool isLineEnd = hidden[at] == '\r' || hidden[at] == '\n';
    for (int byte = 0; byte < 256; ++byte) {
      changed[at] = static_cast<char>(byte);
      // White space instead of other white space changes nothing, and neither does a NUL or a padding after
      // the last digit.
      const bool isSame = changed[at] == hidden[at] || (isLineEnd && isWhiteSpace(byte)) ||
                          (at >= hidden.size() - 2 && (byte == 0 || byte == '='));
      ASSERT_EQ(security.Decrypt(changed), isSame ? "secret" : "") << at << " " << byte;
    }
    changed[at] = hidden[at];
  }
}

TEST_F(Secrets, ANulInsideATextIsEncrypted) {
  const std::string secret("be\0hind", 7);
  const std::string hidden = security.Encrypt(secret);
  EXPECT_EQ(security.Decrypt(hidden), secret);
  char* text = nullptr;
  ::Decrypt(hidden.c_str(), &text);
  EXPECT_STREQ(text, "be");
  ReleaseDllStr(&text);
  char* hiddenByExport = nullptr;
  ::Encrypt(secret.c_str(), &hiddenByExport);
  EXPECT_EQ(security.Decrypt(hiddenByExport), "be");
  ReleaseDllStr(&hiddenByExport);
}

TEST_F(Secrets, ATextOfAnotherUserOrMachineIsLoggedWithItsErrorNumber) {
  const std::string hidden = security.Encrypt("secret");
  const LogCapture own;
  machine.registry.SetUser(u"S-1-5-21-1-2-3-1002");
  EXPECT_EQ(security.Decrypt(hidden), "");
  EXPECT_EQ(TextOf(own).back(), "Security 3 UnprotectData: CryptUnprotectData failed, errCode=-2146893813");
  machine.registry.SetUser(u"S-1-5-21-1000000001-1000000002-1000000003-1001");
  EXPECT_EQ(security.Decrypt(hidden), "secret");
  machine.registry.SetText(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography", u"MachineGuid",
                           u"other");
  EXPECT_EQ(security.Decrypt(hidden), "");
  EXPECT_EQ(TextOf(own).back(), "Security 3 UnprotectData: CryptUnprotectData failed, errCode=-2146893813");
}

TEST_F(Secrets, TwoMachinesWithoutAnIdentityShareNoKey) {
  const std::string hidden = security.Encrypt("secret");
  EXPECT_EQ(security.Decrypt(hidden), "secret");
  machine.registry.RemoveValue(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography", u"MachineGuid");
  EXPECT_EQ(security.Decrypt(hidden), "");
  EXPECT_NE(security.Encrypt("other"), "");
  EXPECT_EQ(security.Decrypt(hidden), "");
}

TEST_F(Secrets, NeitherLogNorJournalContainsASecret) {
  const std::string secret = "correct horse battery";
  std::string hidden;
  std::string seen;
  for (const std::string& call : CallsOf([&] {
         hidden = security.Encrypt(secret);
         security.Decrypt(hidden);
         machine.faults.FailNth(1, Faults::Extent::Once, "CryptProtectData");
         security.Encrypt(secret);
         machine.faults.FailNth(1, Faults::Extent::Once, "CryptUnprotectData");
         security.Decrypt(hidden);
       })) {
    seen += call + "\n";
  }
  for (const LogLine& line : log.Lines()) seen += line.text + "\n";
  EXPECT_THAT(seen, testing::HasSubstr("CryptUnprotectData"));
  EXPECT_THAT(seen, testing::Not(testing::HasSubstr("horse")));
  EXPECT_THAT(seen, testing::Not(testing::HasSubstr(hidden.substr(0, 64))));
}

TEST_F(Secrets, TheHostReceivesABlockEvenForAFailure) {
  char* hidden = nullptr;
  ::Encrypt("secret", &hidden);
  char* text = nullptr;
  ::Decrypt(hidden, &text);
  EXPECT_STREQ(text, "secret");
  ReleaseDllStr(&text);
  EXPECT_EQ(text, nullptr);
  ReleaseDllStr(&text);
  ::Decrypt("!", &text);
  EXPECT_STREQ(text, "");
  ReleaseDllStr(&text);
  machine.faults.FailNth(1, Faults::Extent::Once, "CryptProtectData");
  char* failed = nullptr;
  ::Encrypt("secret", &failed);
  ASSERT_NE(failed, nullptr);
  EXPECT_STREQ(failed, "");
  ReleaseDllStr(&failed);
  ReleaseDllStr(&hidden);
}

TEST(Wipe, ReplacesTheTextByZeros) {
  std::string text = "a secret that is too long to stand in the object itself";
  const std::size_t length = text.size();
  Wipe(text.data(), length);
  EXPECT_EQ(text, std::string(length, '\0'));
}

TEST(Wipe, WritesNothingBehindTheText) {
  std::string text = "secret#";
  for (const std::size_t length : {text.size() - 1, std::size_t{0}}) {
    Wipe(text.data(), length);
    EXPECT_EQ(text.back(), '#');
  }
}

}  // namespace
}  // namespace kestrelbay
