#include "facts/SystemInfo.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "LogText.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

const std::u16string kCryptography = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography";
const std::u16string kBios = u"HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\BIOS";
const std::u16string kInternet =
    u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
const std::u16string kTablet = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\Tablet PC";

/** @return type and text of the exception that leaves a call */
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

class Facts : public OnMachine {
 protected:
  void SetProxy(const std::u16string& server, std::uint32_t enabled) {
    SetTexts(kInternet, {{u"ProxyServer", server}});
    machine.registry.SetNumber(kInternet, u"ProxyEnable", enabled);
  }

  SystemInfo& info = SystemInfo::GetInstance();
  LogCapture log;
};

TEST_F(Facts, TextsAreReturnedUnchanged) {
  SetTexts(kCryptography, {{u"MachineGuid", u"{4F2A-Ab}"}});
  SetTexts(kBios, {{u"BaseBoardManufacturer", u" Maker \u00e9\u65e5"}, {u"SystemProductName", u"Model,1"}});
  EXPECT_EQ(info.GetDeviceId(), "{4F2A-Ab}");
  EXPECT_EQ(info.GetManufacturer(), " Maker \u00e9\u65e5");
  EXPECT_EQ(info.GetProductName(), "Model,1");
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(Facts, EachIsReadFromItsKeyInItsViewWhichIsClosed) {
  SetTexts(kCryptography, {{u"MachineGuid", u"id"}});
  SetTexts(kBios, {{u"BaseBoardManufacturer", u"Maker"}, {u"SystemProductName", u"Model"}});
  SetProxy(u"proxy", 1);
  machine.registry.SetNumber(kTablet, u"IsTabletPc", 1);
  const auto registryCallsOf = [this](const std::function<void()>& fact) {
    std::vector<std::string> calls;
    for (const std::string& call : CallsOf(fact)) {
      if (call.starts_with("Reg")) calls.push_back(call);
    }
    return calls;
  };
  const auto callsFor = [&](const std::string& root, const std::string& path, const std::string& view,
                            const std::vector<std::string>& values) {
    const std::string user = "HKEY_USERS\\S-1-5-21-1000000001-1000000002-1000000003-1001";
    const std::string key = (root == "HKEY_CURRENT_USER" ? user : root) + "\\" + path;
    std::vector<std::string> calls = {"RegOpenKeyExW(" + root + ", \"" + path + "\", 0, " + view + ") = 0"};
    for (const std::string& value : values)
      calls.push_back("RegQueryValueExW(" + key + ", \"" + value + "\", 520) = 0");
    calls.push_back("RegCloseKey(" + key + ") = 0");
    // The copy of the user's root closes its handle. A copy of the machine's root does not.
    if (root == "HKEY_CURRENT_USER") calls.push_back("RegCloseKey(HKEY_CURRENT_USER) = 0");
    return calls;
  };
  const std::string bios = "HARDWARE\\DESCRIPTION\\System\\BIOS";
  EXPECT_EQ(registryCallsOf([&] { info.GetDeviceId(); }),
            callsFor("HKEY_LOCAL_MACHINE", "SOFTWARE\\Microsoft\\Cryptography", "0x20119", {"MachineGuid"}));
  EXPECT_EQ(registryCallsOf([&] { info.GetManufacturer(); }),
            callsFor("HKEY_LOCAL_MACHINE", bios, "0x20119", {"BaseBoardManufacturer"}));
  EXPECT_EQ(registryCallsOf([&] { info.GetProductName(); }),
            callsFor("HKEY_LOCAL_MACHINE", bios, "0x20119", {"SystemProductName"}));
  EXPECT_EQ(registryCallsOf([&] { info.GetProxyServer(); }),
            callsFor("HKEY_CURRENT_USER", "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings",
                     "0x20019", {"ProxyServer", "ProxyEnable"}));
  EXPECT_EQ(
      registryCallsOf([&] { info.IsTabletPC(); }),
      callsFor("HKEY_LOCAL_MACHINE", "SOFTWARE\\Microsoft\\Windows\\Tablet PC", "0x20019", {"IsTabletPc"}));
}

TEST_F(Facts, TheUsersRootIsClosedOncePerProxyQuery) {
  const auto closesOfTheRoot = [this] {
    const auto calls = CallsOf([this] { Escaping([this] { info.GetProxyServer(); }); });
    return std::ranges::count(calls, "RegCloseKey(HKEY_CURRENT_USER) = 0");
  };
  EXPECT_EQ(closesOfTheRoot(), 1) << "without the key";
  machine.registry.CreateKey(kInternet);
  EXPECT_EQ(closesOfTheRoot(), 1) << "with an exception";
  SetProxy(u"proxy", 0);
  EXPECT_EQ(closesOfTheRoot(), 1) << "switched off";
  SetProxy(u"proxy", 1);
  EXPECT_EQ(closesOfTheRoot(), 1) << "switched on";
}

TEST_F(Facts, AMissingKeyIsLoggedInTheWordingOfItsFact) {
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

TEST_F(Facts, AProxyWithoutItsSwitchThrows) {
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

TEST_F(Facts, ATabletWithoutItsValueThrows) {
  machine.registry.CreateKey(kTablet);
  EXPECT_EQ(Escaping([&] { info.IsTabletPC(); }), "invalid_argument invalid stoi argument");
  SetTexts(kTablet, {{u"IsTabletPc", u"yes1"}});
  EXPECT_EQ(Escaping([&] { info.IsTabletPC(); }), "invalid_argument invalid stoi argument");
  SetTexts(kTablet, {{u"IsTabletPc", u"-2147483649"}});
  EXPECT_EQ(Escaping([&] { info.IsTabletPC(); }), "out_of_range stoi argument out of range");
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST(ParseDecimal, IgnoresAnEarlierError) {
  errno = ERANGE;
  EXPECT_EQ(ParseDecimal(u"7"), 7);
  EXPECT_THROW(ParseDecimal(u"2147483648"), std::out_of_range);
  EXPECT_EQ(ParseDecimal(u"8"), 8);
}

TEST(ParseDecimal, ReadsTheWhole32BitRangeAndNoMore) {
  EXPECT_EQ(ParseDecimal(u"2147483647"), 2147483647);
  EXPECT_EQ(ParseDecimal(u"-2147483648"), -2147483647 - 1);
  EXPECT_EQ(ParseDecimal(u" +7x"), 7);
  // Fits into a long of 64 bits, but must be out of range.
  EXPECT_THROW(ParseDecimal(u"2147483648"), std::out_of_range);
  EXPECT_THROW(ParseDecimal(u"-2147483649"), std::out_of_range);
  EXPECT_THROW(ParseDecimal(u"99999999999999999999"), std::out_of_range);
  EXPECT_THROW(ParseDecimal(u""), std::invalid_argument);
  EXPECT_THROW(ParseDecimal(u" -"), std::invalid_argument);
}

}  // namespace
}  // namespace kestrelbay
