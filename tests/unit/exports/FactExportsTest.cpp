// The exports of the facts: buffers of every size, entry lines, and exceptions that leave the library.
#include <gmock/gmock.h>

#include <array>
#include <stdexcept>

#include "KestrelbayGeneralSDK.h"
#include "LogText.h"
#include "simulated/port/InvalidParameter.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

const std::u16string kBios = u"HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\BIOS";
const std::u16string kCryptography = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography";
const std::u16string kInternet =
    u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
const std::string kTenBytes = "0123456789";
constexpr char kGuard = '#';

struct Fact {
  const char* name;
  bool (*call)(char*, std::int32_t*);
  /** Creates a machine on which the fact has ten bytes. */
  void (*prepare)(simulated::Machine&);
};

const Fact kFacts[] = {
    {"GetManufacturer", &::GetManufacturer,
     [](simulated::Machine& machine) {
       machine.registry.SetText(kBios, u"BaseBoardManufacturer", u"0123456789");
     }},
    {"GetDeviceId", &::GetDeviceId,
     [](simulated::Machine& machine) {
       machine.registry.SetText(kCryptography, u"MachineGuid", u"0123456789");
     }},
    {"GetProductName", &::GetProductName,
     [](simulated::Machine& machine) {
       machine.registry.SetText(kBios, u"SystemProductName", u"0123456789");
     }},
    {"GetProxyServer", &::GetProxyServer,
     [](simulated::Machine& machine) {
       machine.registry.SetText(kInternet, u"ProxyServer", u"0123456789");
       machine.registry.SetNumber(kInternet, u"ProxyEnable", 1);
     }},
    {"GetGraphics", &::GetGraphics,
     [](simulated::Machine& machine) {
       machine.graphicsAdapters = {u"01234", u"6789"};
     }},
    {"GetAppVersion",
     [](char* buffer, std::int32_t* size) { return GetAppVersion("App", nullptr, buffer, size); },
     [](simulated::Machine& machine) {
       machine.registry.CreateKey(kProductsPath);
       for (const char16_t* name : {u"DisplayName", u"UninstallString"}) {
         machine.registry.SetText(kUninstall64Path + u"\\App", name, u"App");
       }
       machine.registry.SetText(kUninstall64Path + u"\\App", u"DisplayVersion", u"0123456789");
     }},
};

void PrintTo(const Fact& fact, std::ostream* out) { *out << fact.name; }

class BufferFacts : public OnMachine, public testing::WithParamInterface<Fact> {
 protected:
  BufferFacts() { GetParam().prepare(machine); }

  /** Calls with a buffer between guard bytes. */
  bool Call(std::int32_t givenSize) {
    buffer.fill(kGuard);
    size = givenSize;
    return GetParam().call(buffer.data() + kBefore, &size);
  }
  std::string Text() const { return buffer.data() + kBefore; }
  bool GuardsStand(std::size_t used) const {
    const auto isGuard = [](char byte) { return byte == kGuard; };
    return std::all_of(buffer.begin(), buffer.begin() + kBefore, isGuard) &&
           std::all_of(buffer.begin() + kBefore + static_cast<std::ptrdiff_t>(used), buffer.end(), isGuard);
  }
  bool IsVersion() const { return GetParam().name == std::string("GetAppVersion"); }
  std::string EntryLine() const {
    return std::string("KestrelbayGeneralSDK 3 ") + GetParam().name + ": enter " + GetParam().name;
  }
  std::string Expected() const {
    return GetParam().name == std::string("GetGraphics") ? "01234,6789" : kTenBytes;
  }

  static constexpr std::ptrdiff_t kBefore = 8;
  std::array<char, 64> buffer;
  std::int32_t size = 0;
  LogCapture log;
};

INSTANTIATE_TEST_SUITE_P(Exports, BufferFacts, testing::ValuesIn(kFacts),
                         [](const auto& fact) { return std::string(fact.param.name); });

TEST_P(BufferFacts, RoomForTheNulIsEnough) {
  for (const std::int32_t room : {11, 12, 40}) {
    EXPECT_TRUE(Call(room));
    EXPECT_EQ(Text(), Expected());
    EXPECT_EQ(size, 10);
    EXPECT_TRUE(GuardsStand(11));
  }
  EXPECT_EQ(TextOf(log)[0], EntryLine());
  EXPECT_EQ(log.Lines().size(), 3U);
}

TEST_P(BufferFacts, ASizeBelowTheLengthTouchesNothing) {
  for (const std::int32_t room : {0, 1, 9}) {
    const LogCapture own;
    EXPECT_FALSE(Call(room));
    EXPECT_EQ(size, room);
    EXPECT_TRUE(GuardsStand(0));
    if (IsVersion()) {
      EXPECT_THAT(TextOf(own), ElementsAre(EntryLine()));
    } else {
      const std::string name = GetParam().name;
      EXPECT_THAT(TextOf(own),
                  ElementsAre(EntryLine(), "KestrelbayGeneralSDK 5 " + name + ": failed " + name));
    }
  }
}

int invalidParameters = 0;

TEST_P(BufferFacts, ASizeEqualToTheLengthPassesButHasNoRoomForTheNul) {
  invalidParameters = 0;
  const auto before = simulated::SetInvalidParameterHandler([](const char*) { ++invalidParameters; });
  EXPECT_TRUE(Call(10));
  simulated::SetInvalidParameterHandler(before);
  EXPECT_EQ(invalidParameters, 1);
  EXPECT_EQ(Text(), "");
  EXPECT_EQ(size, 10);
  EXPECT_TRUE(GuardsStand(1));
}

TEST_P(BufferFacts, ANegativeSizeIsHuge) {
  for (const std::int32_t room : {-1, -10, INT32_MIN}) {
    EXPECT_TRUE(Call(room));
    EXPECT_EQ(Text(), Expected());
    EXPECT_EQ(size, 10);
    EXPECT_TRUE(GuardsStand(11));
  }
}

TEST_P(BufferFacts, ANullBufferFailsForEachSize) {
  for (const std::int32_t room : {0, 10, 11, -1}) {
    size = room;
    EXPECT_FALSE(GetParam().call(nullptr, &size));
    EXPECT_EQ(size, room);
  }
}

TEST_P(BufferFacts, AnEmptyFactFailsInALargeBuffer) {
  machine.graphicsAdapters.clear();
  for (const auto& [key, name] : {std::pair(kBios, u"BaseBoardManufacturer"),
                                  {kBios, u"SystemProductName"},
                                  {kCryptography, u"MachineGuid"},
                                  {kInternet, u"ProxyServer"},
                                  {kUninstall64Path + u"\\App", u"DisplayVersion"}}) {
    machine.registry.SetText(key, name, u"");
  }
  EXPECT_FALSE(Call(40));
  EXPECT_EQ(size, 40);
  EXPECT_TRUE(GuardsStand(0));
  EXPECT_EQ(log.Lines().size(), IsVersion() ? 1U : 2U);
}

class FactExports : public OnMachine {
 protected:
  LogCapture log;
};

TEST_F(FactExports, AFailureOfTheFactIsLoggedBetweenEntryAndFailure) {
  std::int32_t size = 0;
  EXPECT_FALSE(GetDeviceId(nullptr, &size));
  EXPECT_THAT(TextOf(log), ElementsAre("KestrelbayGeneralSDK 3 GetDeviceId: enter GetDeviceId",
                                       "SystemInfo 5 GetDeviceId: failed open the registry, the path is "
                                       "SOFTWARE\\Microsoft\\Cryptography.",
                                       "KestrelbayGeneralSDK 5 GetDeviceId: failed GetDeviceId"));
}

TEST_F(FactExports, AParseFailureThrowsIntoTheHost) {
  machine.registry.CreateKey(kInternet);
  machine.registry.CreateKey(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\Tablet PC");
  std::array<char, 8> buffer{};
  std::int32_t size = 8;
  EXPECT_THROW(GetProxyServer(buffer.data(), &size), std::invalid_argument);
  EXPECT_EQ(size, 8);
  EXPECT_THROW(IsTabletPC(), std::invalid_argument);
  SetTexts(kInternet, {{u"ProxyEnable", u"4294967296"}});
  EXPECT_THROW(GetProxyServer(buffer.data(), &size), std::out_of_range);
  EXPECT_THAT(TextOf(log), ElementsAre("KestrelbayGeneralSDK 3 GetProxyServer: enter GetProxyServer",
                                       "KestrelbayGeneralSDK 3 IsTabletPC: enter IsTabletPC",
                                       "KestrelbayGeneralSDK 3 GetProxyServer: enter GetProxyServer"));
}

TEST_F(FactExports, DiskSpaceLogsOnlyItsEntry) {
  machine.drives.SetSpace(u'C', {3U << 20, 3U << 20});
  EXPECT_EQ(GetDiskAvailableSpace("C:\\"), 3);
  EXPECT_EQ(GetDiskAvailableSpace(nullptr), -1);
  EXPECT_EQ(GetDiskAvailableSpace("Q:\\"), -1);
  EXPECT_THAT(TextOf(log),
              testing::Each("KestrelbayGeneralSDK 3 GetDiskAvailableSpace: enter GetDiskAvailableSpace"));
  EXPECT_EQ(log.Lines().size(), 3U);
}

}  // namespace
}  // namespace kestrelbay
