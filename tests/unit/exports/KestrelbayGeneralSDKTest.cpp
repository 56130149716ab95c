// Rules of all exports: entry lines, exceptions, and memory that the host releases.
#include "KestrelbayGeneralSDK.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "exports/ExportTest.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

using Exports = ExportTest;

struct Entered {
  const char* name;
  void (*call)();
};

template <class Fact>
void Ask(Fact fact) {
  std::int32_t size = 0;
  fact(nullptr, &size);
}

void ListAndRelease() {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, false);
  ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
}

void AskForList() {
  ListReceiver lists;
  GetInstalledAppListAsync(&ListReceiver::Receive, false);
  lists.WaitForLists(1);
}

void AskForIcon() {
  IconReceiver icons;
  GetAppIconAsync(&IconReceiver::Receive, "None");
  icons.WaitForTexts(1);
}

const Entered kEntered[] = {
    {"GetDiskAvailableSpace", [] { GetDiskAvailableSpace(nullptr); }},
    {"GetManufacturer", [] { Ask(&GetManufacturer); }},
    {"GetDeviceId", [] { Ask(&GetDeviceId); }},
    {"GetAppVersion",
     [] { Ask([](char* buffer, std::int32_t* size) { GetAppVersion("None", "", buffer, size); }); }},
    {"GetInstalledAppList", &ListAndRelease},
    {"ReleaseInstalledAppList",
     [] {
       InstalledAppEntry* none = nullptr;
       ReleaseInstalledAppList(&none, 0);
     }},
    {"GetInstalledAppListAsync", &AskForList},
    {"GetGraphics", [] { Ask(&GetGraphics); }},
    {"GetAppIconAsync", &AskForIcon},
    {"GetProductName", [] { Ask(&GetProductName); }},
    {"StartApp", [] { StartApp("", ""); }},
    {"GetProxyServer", [] { Ask(&GetProxyServer); }},
    {"IsTabletPC", [] { IsTabletPC(); }},
    {"StartAnyExe", [] { StartAnyExe("C:\\none.exe", ""); }},
    {"StartAnyExeAsync", [] { StartAnyExeAsync("C:\\none.exe", ""); }},
    {"DeleteAppRegistryInfo", [] { DeleteAppRegistryInfo("None"); }},
};

void PrintTo(const Entered& entered, std::ostream* out) { *out << entered.name; }

class EntryLine : public ExportTest, public testing::WithParamInterface<Entered> {
 protected:
  std::size_t CountCalls(const std::string& name) const {
    std::size_t count = 0;
    for (const auto& call : machine.journal.Calls()) count += call.name == name;
    return count;
  }
};

INSTANTIATE_TEST_SUITE_P(Of, EntryLine, testing::ValuesIn(kEntered),
                         [](const auto& entered) { return std::string(entered.param.name); });

TEST_P(EntryLine, IsTheFirstLineOfTheExport) {
  InitDllLogger(nullptr);
  const std::string name = GetParam().name;
  machine.journal.Start();
  GetParam().call();
  // Nothing reports the end of an asynchronous start. This is the last call of its thread.
  while (name == "StartAnyExeAsync" && CountCalls("GetLastError") == 0) std::this_thread::yield();
  machine.journal.Stop();
  const simulated::JournalCall first = machine.journal.Calls().at(0);
  EXPECT_EQ(first.name, "QVSLOGI");
  EXPECT_EQ(first.arguments, "\"KestrelbayGeneralSDK\", \"enter " + name + "\"");
  EXPECT_EQ(first.thread, std::this_thread::get_id());
}

TEST_F(Exports, TextsAndFixedDataHaveNoEntryLine) {
  char* hidden = nullptr;
  char* text = nullptr;
  Encrypt("secret", &hidden);
  Decrypt(hidden, &text);
  ReleaseDllStr(&hidden);
  ReleaseDllStr(&text);
  const char* const* table = nullptr;
  std::uint32_t count = 0;
  GetAppBlackList(&table, &count);
  char buffer[260];
  std::int32_t size = sizeof buffer;
  ::GetRootDir(buffer, &size, 2);
  EXPECT_EQ(log.Lines().size(), 7U);
  for (const LogLine& line : log.Lines()) {
    EXPECT_THAT(line.file, testing::AnyOf("Security", "CommonFunc")) << line.text;
  }
}

TEST_F(Exports, ExceptionOfTheLogCallbackLeavesTheExport) {
  InitDllLogger([](const char*, std::int32_t, const char* text) {
    if (std::strstr(text, "enter GetInstalledAppList")) throw std::runtime_error(text);
  });
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 77;
  EXPECT_THROW(GetInstalledAppList(&entries, &count, false), std::runtime_error);
  EXPECT_EQ(entries, nullptr);
  EXPECT_EQ(count, 77U);
}

TEST_F(Exports, BlockListIsTheSameTableAtEachCall) {
  const char* const* table = nullptr;
  std::uint32_t count = 0;
  EXPECT_THAT(CallsOf([&] { GetAppBlackList(&table, &count); }), ElementsAre());
  ASSERT_EQ(count, 2U);
  EXPECT_STREQ(table[0], "com.tolvan.tvdisk");
  EXPECT_STREQ(table[1], "com.tolvan.baymarket");
  const char* const* again = nullptr;
  GetAppBlackList(&again, &count);
  EXPECT_EQ(again, table);
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(Exports, ReleasedTextIsNullAndASecondReleaseDoesNothing) {
  auto* text = static_cast<char*>(std::malloc(4));
  ReleaseDllStr(&text);
  EXPECT_EQ(text, nullptr);
  ReleaseDllStr(&text);
  EXPECT_EQ(text, nullptr);
  EXPECT_THAT(log.Lines(), ElementsAre());
}

}  // namespace
}  // namespace kestrelbay
