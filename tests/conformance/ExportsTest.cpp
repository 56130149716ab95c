// Rules of all exports: logging in both modes, buffers, ownership, fixed data.
#include <gmock/gmock.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "HostTest.h"

namespace tests {
namespace {

using kestrelbay::LogLine;
using testing::ElementsAre;

class Frame : public HostTest {};

TEST_F(Frame, CallbackReceivesFileLevelFunctionLineAndMessage) {
  SetStopAppEvent();
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].file, "KestrelbayGeneralSDK");
  EXPECT_EQ(lines[0].level, 3);
  EXPECT_THAT(lines[0].text, testing::StartsWith("SetStopAppEvent:"));
  EXPECT_THAT(lines[0].text, testing::EndsWith(" setStopAppEvent success."));
  EXPECT_GT(std::atoi(lines[0].text.c_str() + std::strlen("SetStopAppEvent:")), 0);
}

TEST_F(Frame, StopEventIsSetAndLoggedEachTime) {
  SetStopAppEvent();
  SetStopAppEvent();
  EXPECT_THAT(log.Messages(), ElementsAre("setStopAppEvent success.", "setStopAppEvent success."));
}

TEST_F(Frame, ListingLogsItsEntries) {
  List();
  EXPECT_THAT(log.Messages(), ElementsAre("enter GetInstalledAppList", "enter ReleaseInstalledAppList"));
}

TEST_F(Frame, NullCallbackSendsRecordsToLogDll) {
  InitDllLogger(nullptr);
  SetStopAppEvent();
  InitDllLogger(&kestrelbay::LogCapture::Receive);
  const std::vector<LogRecord> records = machine.LogRecords();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0],
            (LogRecord{'I', "KestrelbayGeneralSDK", "KestrelbayGeneralSDK log dll init success."}));
  EXPECT_EQ(records[1], (LogRecord{'I', "KestrelbayGeneralSDK", "setStopAppEvent success."}));
  EXPECT_THAT(log.Messages(), ElementsAre("KestrelbayGeneralSDK log call back init success."));
}

TEST_F(Frame, FormatReachesLogDllUnexpanded) {
  machine.DeleteKey(u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\Tablet PC");
  InitDllLogger(nullptr);
  EXPECT_FALSE(IsTabletPC());
  InitDllLogger(&kestrelbay::LogCapture::Receive);
  EXPECT_THAT(machine.LogRecords(),
              ElementsAre(testing::_, LogRecord{'I', "KestrelbayGeneralSDK", "enter IsTabletPC"},
                          LogRecord{'E', "SystemInfo", "failed open registry, the path is %s."}));
}

TEST_F(Frame, BlockListIsTheSameTableAtEachCall) {
  const char* const* first = nullptr;
  const char* const* second = nullptr;
  std::uint32_t count = 0;
  GetAppBlackList(&first, &count);
  ASSERT_EQ(count, 2U);
  EXPECT_STREQ(first[0], "com.tolvan.tvdisk");
  EXPECT_STREQ(first[1], "com.tolvan.baymarket");
  GetAppBlackList(&second, &count);
  EXPECT_EQ(first, second);
  EXPECT_THAT(log.Lines(), testing::IsEmpty());
}

TEST_F(Frame, ReleaseOfANullTextDoesNothing) {
  char* text = nullptr;
  ReleaseDllStr(&text);
  EXPECT_EQ(text, nullptr);
}

struct Entered {
  const char* name;
  void (*call)();
};

template <class Fact>
void Ask(Fact fact) {
  std::int32_t size = 0;
  fact(nullptr, &size);
}

// Without the exports that list or start: their own tests check these lines.
const Entered kEntered[] = {
    {"GetDiskAvailableSpace", [] { GetDiskAvailableSpace(nullptr); }},
    {"GetManufacturer", [] { Ask(&GetManufacturer); }},
    {"GetDeviceId", [] { Ask(&GetDeviceId); }},
    {"GetProductName", [] { Ask(&GetProductName); }},
    {"GetProxyServer", [] { Ask(&GetProxyServer); }},
    {"GetGraphics", [] { Ask(&GetGraphics); }},
    {"GetAppVersion",
     [] { Ask([](char* buffer, std::int32_t* size) { GetAppVersion("None", "", buffer, size); }); }},
    {"IsTabletPC", [] { IsTabletPC(); }},
    {"GetInstalledAppListAsync",
     [] {
       kestrelbay::ListReceiver lists;
       GetInstalledAppListAsync(&kestrelbay::ListReceiver::Receive, false);
       lists.WaitForLists(1);
     }},
    {"GetAppIconAsync",
     [] {
       kestrelbay::IconReceiver icons;
       GetAppIconAsync(&kestrelbay::IconReceiver::Receive, "None");
       icons.WaitForTexts(1);
     }},
    {"DeleteAppRegistryInfo", [] { DeleteAppRegistryInfo("None"); }},
};

void PrintTo(const Entered& entered, std::ostream* out) { *out << entered.name; }

class EntryLine : public HostTest, public testing::WithParamInterface<Entered> {
 protected:
  void SetNumbers() {
    SetTexts(u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\Tablet PC", {{u"IsTabletPc", u"0"}});
    SetTexts(u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings",
             {{u"ProxyEnable", u"0"}});
  }
};

INSTANTIATE_TEST_SUITE_P(Of, EntryLine, testing::ValuesIn(kEntered),
                         [](const auto& entered) { return std::string(entered.param.name); });

TEST_P(EntryLine, IsTheFirstLineOfTheExport) {
  if (!IsInUse()) SetNumbers();
  const std::string name = GetParam().name;
  try {
    GetParam().call();
  } catch (const std::exception&) {
    // A number of a machine in use may be missing.
    if (!IsInUse()) throw;
  }
  const std::vector<LogLine> lines = log.Lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0].file, "KestrelbayGeneralSDK");
  EXPECT_EQ(lines[0].level, 3);
  EXPECT_THAT(lines[0].text, testing::StartsWith(name + ":"));
  EXPECT_THAT(lines[0].text, testing::EndsWith(" enter " + name));
}

class RootDir : public HostTest {
 protected:
  /** Calls with a size, on a buffer that shows which of its bytes were written. */
  std::string Ask(std::uint32_t mode, std::int32_t& size) {
    buffer.fill('#');
    buffer.back() = '\0';  // after the largest offered size: ends the text if nothing is written
    GetRootDir(buffer.data(), &size, mode);
    return buffer.data();
  }

  std::array<char, 1024> buffer{};
};

TEST_F(RootDir, Mode1IsTheCurrentDirectoryAndMode2TheHosts) {
  const auto narrow = [](const std::u16string& text) { return std::string(text.begin(), text.end()); };
  std::int32_t size = 1023;
  EXPECT_EQ(Ask(1, size), narrow(machine.CurrentDirectory()));
  EXPECT_EQ(static_cast<std::size_t>(size), machine.CurrentDirectory().size());
  const std::string host = narrow(machine.HostPath());
  size = 1023;
  EXPECT_EQ(Ask(2, size), host.substr(0, host.rfind('\\')));
  EXPECT_THAT(log.Messages(), ElementsAre("GetRootDir Debug", "GetRootDir Release"));
}

TEST_F(RootDir, NothingIsWrittenAfterTheTextOrIntoATooSmallBuffer) {
  std::int32_t size = 1023;
  const std::size_t length = Ask(2, size).size();
  EXPECT_EQ(buffer[length + 1], '#');
  size = static_cast<std::int32_t>(length) - 1;
  Ask(2, size);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(size, static_cast<std::int32_t>(length) - 1);
  EXPECT_EQ(log.Messages().back(), "buffer length is too small.");
}

TEST_F(RootDir, SizeEqualToTheLengthHasNoRoomForTheNul) {
  machine.IgnoreInvalidParameters();
  std::int32_t size = 1023;
  const auto length = static_cast<std::int32_t>(Ask(2, size).size());
  size = length;
  EXPECT_EQ(Ask(2, size), "");
  EXPECT_EQ(size, length);
  EXPECT_EQ(buffer[static_cast<std::size_t>(length)], '#');
}

TEST_F(RootDir, NegativeSizeIsHuge) {
  std::int32_t size = -1;
  const std::string text = Ask(2, size);
  EXPECT_FALSE(text.empty());
  EXPECT_EQ(static_cast<std::size_t>(size), text.size());
}

TEST_F(RootDir, AnyOtherModeIsAnEmptyText) {
  std::int32_t size = 10;
  EXPECT_EQ(Ask(3, size), "");
  EXPECT_EQ(size, 0);
  EXPECT_THAT(log.Lines(), testing::IsEmpty());
}

}  // namespace
}  // namespace tests
