// Protecting secrets, through the C interface.
#include <gmock/gmock.h>

#include "HostTest.h"

namespace tests {
namespace {

using testing::ElementsAre;

class Secrets : public HostTest {
 protected:
  using Operation = void (*)(const char*, char**);

  static std::string Do(Operation operation, const std::string& input) {
    char* output = nullptr;
    operation(input.c_str(), &output);
    EXPECT_NE(output, nullptr);
    const std::string text = output;
    ReleaseDllStr(&output);
    EXPECT_EQ(output, nullptr);
    return text;
  }
};

TEST_F(Secrets, ATextIsDecryptedAgain) {
  for (const std::string& secret : {std::string("secret"), std::string("\u65e5\xFF\x01"),
                                    std::string("a\r\nb"), std::string(5000, 's')}) {
    const std::string hidden = Do(&Encrypt, secret);
    EXPECT_EQ(hidden.find("\r\n"), 64U);
    EXPECT_EQ(
        hidden.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=\r\n"),
        std::string::npos);
    EXPECT_EQ(Do(&Decrypt, hidden), secret);
  }
}

TEST_F(Secrets, EachStepLogsItsEntryAndNoSecret) {
  const std::string hidden = Do(&Encrypt, "secret");
  Do(&Decrypt, hidden);
  EXPECT_THAT(log.Messages(), ElementsAre("enter Encrypt", "enter ProtectData", "enter Byte2String",
                                          "enter Decrypt", "enter String2Byte", "enter UnprotectData"));
  for (const auto& line : log.Lines()) {
    EXPECT_EQ(line.file, "Security");
    EXPECT_EQ(line.level, 3);
  }
}

TEST_F(Secrets, AnEmptyTextIsEncryptedToo) {
  const std::string hidden = Do(&Encrypt, "");
  EXPECT_NE(hidden, "");
  EXPECT_EQ(Do(&Decrypt, hidden), "");
  EXPECT_EQ(log.Messages().size(), 6U);
}

TEST_F(Secrets, LineEndsMayBeMissing) {
  std::string hidden = Do(&Encrypt, "secret");
  std::erase_if(hidden, [](char unit) { return unit == '\r' || unit == '\n'; });
  EXPECT_EQ(Do(&Decrypt, hidden), "secret");
}

TEST_F(Secrets, ATextWithoutASizeIsLogged) {
  for (const char* text : {"", "\r\n", "!"}) {
    const kestrelbay::LogCapture own;
    EXPECT_EQ(Do(&Decrypt, text), "");
    EXPECT_THAT(own.Messages(),
                ElementsAre("enter Decrypt", "enter String2Byte", "CryptStringToBinaryA nNeed=0",
                            "String2Byte failed:size of buf=0"));
  }
}

TEST_F(Secrets, ATextThatIsNoBase64IsLogged) {
  EXPECT_EQ(Do(&Decrypt, "QUJD!"), "");
  // Wine reports the size of the text before the break.
  EXPECT_EQ(!RunsOnWine(), log.Messages()[2] == "CryptStringToBinaryA nNeed=0");
}

TEST_F(Secrets, BytesThatAreNoBlobFailWithTheErrorNumber) {
  const std::string hidden = Do(&Encrypt, "secret");
  for (const std::string& text : {std::string("QUJD"), hidden.substr(0, 40)}) {
    const kestrelbay::LogCapture own;
    EXPECT_EQ(Do(&Decrypt, text), "");
    EXPECT_THAT(own.Messages(), ElementsAre("enter Decrypt", "enter String2Byte", "enter UnprotectData",
                                            "CryptUnprotectData failed, errCode=13"));
  }
}

}  // namespace
}  // namespace tests
