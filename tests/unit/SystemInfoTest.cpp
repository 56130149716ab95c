#include "machine/SystemInfo.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "LogText.h"
#include "OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

const std::u16string kCryptography = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography";
const std::u16string kBios = u"HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\BIOS";
const std::u16string kInternet =
    u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
const std::u16string kTablet = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\Tablet PC";

/** What escapes from a call, told as its kind and text. */
template <class Action>
std::string Escaping(Action action) {
  try {
    action();
  } catch (const std::invalid_argument& error) {
    return std::string("invalid_argument ") + error.what();
  } catch (const std::out_of_range& error) {
    return std::string("out_of_range ") + error.what();
  }
  return "nothing";
}

testing::Matcher<std::vector<std::string>> HasAll(std::vector<testing::Matcher<std::string>> calls) {
  return testing::IsSupersetOf(calls);
}

class Facts : public OnMachine {
 protected:
  void SetProxy(const std::u16string& server, std::uint32_t enabled) {
    SetTexts(kInternet, {{u"ProxyServer", server}});
    machine.registry.SetNumber(kInternet, u"ProxyEnable", enabled);
  }

  SystemInfo& info = SystemInfo::GetInstance();
  LogCapture log;
};

TEST_F(Facts, TextsAreTakenExactlyAsTheyStand) {
  SetTexts(kCryptography, {{u"MachineGuid", u"{4F2A-Ab}"}});
  SetTexts(kBios, {{u"BaseBoardManufacturer", u" Maker \u00e9\u65e5"}, {u"SystemProductName", u"Model,1"}});
  EXPECT_EQ(info.GetDeviceId(), "{4F2A-Ab}");
  EXPECT_EQ(info.GetManufacturer(), " Maker \u00e9\u65e5");
  EXPECT_EQ(info.GetProductName(), "Model,1");
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(Facts, KeysAreOpenedInTheirViewsReadOnceAndClosed) {
  SetTexts(kCryptography, {{u"MachineGuid", u"id"}});
  EXPECT_THAT(
      CallsOf([&] { info.GetDeviceId(); }),
      HasAll({testing::MatchesRegex("RegOpenKeyExW.HKEY_LOCAL_MACHINE, "
                                    "\"SOFTWARE.Microsoft.Cryptography\", 0, 0x20119.* = 0"),
              testing::StartsWith("RegQueryValueExW(HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography, "
                                  "\"MachineGuid\""),
              testing::StartsWith("RegCloseKey(")}));
  SetProxy(u"proxy", 1);
  EXPECT_THAT(CallsOf([&] { info.GetProxyServer(); }),
              testing::Contains(testing::MatchesRegex("RegOpenKeyExW.HKEY_CURRENT_USER, .*, 0, 0x20019.*")));
  machine.registry.SetNumber(kTablet, u"IsTabletPc", 1);
  EXPECT_THAT(CallsOf([&] { info.IsTabletPC(); }),
              testing::Contains(testing::MatchesRegex("RegOpenKeyExW.HKEY_LOCAL_MACHINE, .*, 0, 0x20019.*")));
}

TEST_F(Facts, AMissingKeyIsToldInTheWordingOfItsFact) {
  EXPECT_EQ(info.GetDeviceId(), "");
  EXPECT_EQ(info.GetManufacturer(), "");
  EXPECT_EQ(info.GetProductName(), "");
  EXPECT_EQ(info.GetProxyServer(), "");
  EXPECT_FALSE(info.IsTabletPC());
  EXPECT_THAT(TextOf(log), ElementsAre("SystemInfo 5 GetDeviceId: failed open the registry, the path is "
                                       "SOFTWARE\\Microsoft\\Cryptography.",
                                       "SystemInfo 5 GetManufacturer: failed open the registry, the path is "
                                       "HARDWARE\\DESCRIPTION\\System\\BIOS.",
                                       "SystemInfo 5 GetProductName: failed open registry. the path is "
                                       "HARDWARE\\DESCRIPTION\\System\\BIOS.",
                                       "SystemInfo 5 GetProxyServer: failed open registry. the path is "
                                       "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings.",
                                       "SystemInfo 5 IsTabletPC: failed open registry, the path is "
                                       "SOFTWARE\\Microsoft\\Windows\\Tablet PC."));
}

TEST_F(Facts, AMissingValueIsEmptyWithoutALine) {
  machine.registry.CreateKey(kCryptography);
  SetTexts(kBios, {{u"SystemProductName", u"Model"}});
  EXPECT_EQ(info.GetDeviceId(), "");
  EXPECT_EQ(info.GetManufacturer(), "");
  EXPECT_EQ(info.GetProductName(), "Model");
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(Facts, AProxyListStaysOneText) {
  SetProxy(u"http=a:80;https=b:443", 1);
  EXPECT_EQ(info.GetProxyServer(), "http=a:80;https=b:443");
}

TEST_F(Facts, AProxyThatIsSwitchedOffIsEmpty) {
  for (const std::uint32_t off : {0U, 0x80000000U, 0xFFFFFFFFU}) {
    SetProxy(u"proxy:80", off);
    EXPECT_EQ(info.GetProxyServer(), "");
  }
}

TEST_F(Facts, AProxySwitchedOnWithoutAServerIsEmpty) {
  machine.registry.SetNumber(kInternet, u"ProxyEnable", 1);
  EXPECT_EQ(info.GetProxyServer(), "");
}

TEST_F(Facts, AProxyLongerThanTheRegistryBufferIsEmpty) {
  SetProxy(std::u16string(259, u'p'), 1);
  EXPECT_EQ(info.GetProxyServer(), std::string(259, 'p'));
  SetProxy(std::u16string(260, u'p'), 1);
  EXPECT_EQ(info.GetProxyServer(), "");
}

TEST_F(Facts, AProxyWithoutItsSwitchEscapesAsAnException) {
  SetTexts(kInternet, {{u"ProxyServer", u"proxy"}});
  EXPECT_EQ(Escaping([&] { info.GetProxyServer(); }), "invalid_argument invalid stoi argument");
  SetTexts(kInternet, {{u"ProxyEnable", u"on"}});
  EXPECT_EQ(Escaping([&] { info.GetProxyServer(); }), "invalid_argument invalid stoi argument");
  SetTexts(kInternet, {{u"ProxyEnable", u"2147483648"}});
  EXPECT_EQ(Escaping([&] { info.GetProxyServer(); }), "out_of_range stoi argument out of range");
}

TEST_F(Facts, ATabletIsANumberAboveZero) {
  machine.registry.SetNumber(kTablet, u"IsTabletPc", 1);
  EXPECT_TRUE(info.IsTabletPC());
  machine.registry.SetNumber(kTablet, u"IsTabletPc", 0);
  EXPECT_FALSE(info.IsTabletPC());
  machine.registry.SetNumber(kTablet, u"IsTabletPc", 0xFFFFFFFF);
  EXPECT_FALSE(info.IsTabletPC());
}

TEST_F(Facts, ATabletTextCountsUpToItsFirstLetter) {
  SetTexts(kTablet, {{u"IsTabletPc", u"1yes"}});
  EXPECT_TRUE(info.IsTabletPC());
  SetTexts(kTablet, {{u"IsTabletPc", u"0yes"}});
  EXPECT_FALSE(info.IsTabletPC());
}

TEST_F(Facts, ATabletWithoutItsValueEscapesAsAnException) {
  machine.registry.CreateKey(kTablet);
  EXPECT_EQ(Escaping([&] { info.IsTabletPC(); }), "invalid_argument invalid stoi argument");
  SetTexts(kTablet, {{u"IsTabletPc", u"yes1"}});
  EXPECT_EQ(Escaping([&] { info.IsTabletPC(); }), "invalid_argument invalid stoi argument");
  SetTexts(kTablet, {{u"IsTabletPc", u"-2147483649"}});
  EXPECT_EQ(Escaping([&] { info.IsTabletPC(); }), "out_of_range stoi argument out of range");
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST(ParseDecimal, ReadsTheWhole32BitRangeAndNoMore) {
  EXPECT_EQ(ParseDecimal(u"2147483647"), 2147483647);
  EXPECT_EQ(ParseDecimal(u"-2147483648"), -2147483647 - 1);
  EXPECT_EQ(ParseDecimal(u" +7x"), 7);
  // Fits a long of 64 bits, and is out of range all the same.
  EXPECT_THROW(ParseDecimal(u"2147483648"), std::out_of_range);
  EXPECT_THROW(ParseDecimal(u"-2147483649"), std::out_of_range);
  EXPECT_THROW(ParseDecimal(u"99999999999999999999"), std::out_of_range);
  EXPECT_THROW(ParseDecimal(u""), std::invalid_argument);
  EXPECT_THROW(ParseDecimal(u" -"), std::invalid_argument);
}

}  // namespace
}  // namespace kestrelbay
