// The facts of the machine, through the C interface.
#include <gmock/gmock.h>

#include <array>
#include <stdexcept>

#include "HostTest.h"

namespace tests {
namespace {

using testing::ElementsAre;

const KeyPath kCryptography(u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Cryptography", View::Bits64);
const KeyPath kBios(u"HKEY_LOCAL_MACHINE\\Hardware\\Description\\System\\BIOS", View::Bits64);
const KeyPath kInternet =
    u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
const KeyPath kTablet = u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\Tablet PC";

class Facts : public HostTest {
 protected:
  using Fact = bool (*)(char*, std::int32_t*);

  static std::string Ask(Fact fact) {
    std::array<char, 600> buffer{};
    std::int32_t size = buffer.size();
    if (!fact(buffer.data(), &size)) return "(none)";
    EXPECT_EQ(std::string(buffer.data()).size(), static_cast<std::size_t>(size));
    return buffer.data();
  }
};

TEST_F(Facts, TextsAreReportedUnchanged) {
  SetTexts(kCryptography, {{u"MachineGuid", u"{4F2A-Ab}"}});
  SetTexts(kBios, {{u"BaseBoardManufacturer", u"Maker \u00e9\u65e5"}, {u"SystemProductName", u"Model, 1"}});
  EXPECT_EQ(Ask(&GetDeviceId), "{4F2A-Ab}");
  EXPECT_EQ(Ask(&GetManufacturer), "Maker \u00e9\u65e5");
  EXPECT_EQ(Ask(&GetProductName), "Model, 1");
  EXPECT_THAT(log.Messages(),
              ElementsAre("enter GetDeviceId", "enter GetManufacturer", "enter GetProductName"));
}

TEST_F(Facts, AnEmptyFactFailsWithALogRecord) {
  SetTexts(kCryptography, {{u"MachineGuid", u""}});
  EXPECT_EQ(Ask(&GetDeviceId), "(none)");
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetDeviceId", "failed GetDeviceId"));
}

TEST_F(Facts, SizesAroundTheLengthSucceedFromTheLengthOn) {
  SetTexts(kCryptography, {{u"MachineGuid", u"0123456789"}});
  machine.IgnoreInvalidParameters();
  for (const std::int32_t given : {0, 1, 9, 10, 11, 12, -1, INT32_MIN}) {
    std::array<char, 32> buffer;
    buffer.fill('#');
    std::int32_t size = given;
    const bool isRoom = given < 0 || given >= 10;
    EXPECT_EQ(GetDeviceId(buffer.data(), &size), isRoom) << given;
    EXPECT_EQ(size, isRoom ? 10 : given);
    const std::string expected = !isRoom ? "##########" : given == 10 ? "" : "0123456789";
    EXPECT_EQ(std::string(buffer.data(), expected.size()), expected) << given;
    EXPECT_EQ(std::string(&buffer[11], 21), std::string(21, '#')) << given;
  }
  std::int32_t size = 11;
  EXPECT_FALSE(GetDeviceId(nullptr, &size));
}

TEST_F(Facts, AProxyCountsOnlyIfItIsSwitchedOn) {
  SetTexts(kInternet, {{u"ProxyServer", u"http=a:80;https=b:443"}});
  machine.SetNumber(kInternet, u"ProxyEnable", 1);
  EXPECT_EQ(Ask(&GetProxyServer), "http=a:80;https=b:443");
  for (const std::uint32_t off : {0U, 0xFFFFFFFFU}) {
    machine.SetNumber(kInternet, u"ProxyEnable", off);
    EXPECT_EQ(Ask(&GetProxyServer), "(none)");
  }
  machine.SetText(kInternet, u"ProxyServer", std::u16string(260, u'p'));
  machine.SetNumber(kInternet, u"ProxyEnable", 1);
  EXPECT_EQ(Ask(&GetProxyServer), "(none)");
}

TEST_F(Facts, ATabletIsANumberAboveZero) {
  const std::pair<const char16_t*, bool> texts[] = {
      {u"1", true}, {u"12 and more", true}, {u"0", false}, {u"-1", false}, {u"\u0661", true}};
  for (const auto& [text, expected] : texts) {
    SetTexts(kTablet, {{u"IsTabletPc", text}});
    EXPECT_EQ(IsTabletPC(), expected);
  }
  machine.SetNumber(kTablet, u"IsTabletPc", 0xFFFFFFFF);
  EXPECT_FALSE(IsTabletPC());
}

TEST_F(Facts, ATextThatIsNoNumberThrowsIntoTheHost) {
  SetTexts(kTablet, {{u"IsTabletPc", u"yes"}});
  EXPECT_THROW(IsTabletPC(), std::invalid_argument);
  SetTexts(kTablet, {{u"IsTabletPc", u"2147483648"}});
  EXPECT_THROW(IsTabletPC(), std::out_of_range);
  SetTexts(kInternet, {{u"ProxyEnable", u""}});
  EXPECT_THROW(Ask(&GetProxyServer), std::invalid_argument);
  try {
    IsTabletPC();
    ADD_FAILURE() << "nothing came";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "stoi argument out of range");
  }
}

TEST_F(Facts, AdaptersAreReportedOrTheFailureIsLogged) {
  const std::string graphics = Ask(&GetGraphics);
  const std::vector<std::string> messages = log.Messages();
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages[0], "enter GetGraphics");
  EXPECT_EQ(graphics == "(none)", messages.back() == "failed GetGraphics");
}

TEST_F(Facts, SpaceOfADriveIsInWholeMebibytes) {
  const std::int64_t space = GetDiskAvailableSpace("C:\\any folder");
  EXPECT_GE(space, 0);
  EXPECT_LT(space, std::int64_t{1} << 44);
  EXPECT_EQ(GetDiskAvailableSpace(nullptr), -1);
  for (const char* path : {"", "Q:\\", "1", "\u65e5"}) EXPECT_EQ(GetDiskAvailableSpace(path), -1) << path;
}

}  // namespace
}  // namespace tests
