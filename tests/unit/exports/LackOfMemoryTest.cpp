// Lack of memory: each allocation of an export fails in turn, on the thread of the caller.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>

#include "KestrelbayGeneralSDK.h"
#include "base/LoadTimeObjects.h"
#include "base/RegistryKey.h"
#include "simulated/directory/CurrentMachine.h"
#include "simulated/port/InvalidParameter.h"

namespace {

/** The number of allocations of this thread that succeed before one fails; negative if none fails. */
thread_local long allocationsLeft = -1;
thread_local bool mallocFails = false;
thread_local std::size_t lastMallocBytes = 0;

}  // namespace

// NOLINTBEGIN: the linker's names. Seen from outside, since a sanitizer's library asks for them too.
extern "C" {

// The linker redirects the calls of this program's objects here, but not those of other libraries.
void* __real_malloc(std::size_t bytes);
[[gnu::visibility("default")]] void* __wrap_malloc(std::size_t bytes) {
  lastMallocBytes = bytes;
  return mallocFails ? nullptr : __real_malloc(bytes);
}

}  // extern "C"
// NOLINTEND

[[gnu::noinline]] void* operator new(std::size_t bytes) {
  if (allocationsLeft >= 0 && allocationsLeft-- == 0) throw std::bad_alloc();
  // Fresh memory may contain zeros by chance. This memory never does.
  if (void* const block = __real_malloc(bytes == 0 ? 1 : bytes)) return std::memset(block, 0xA5, bytes);
  throw std::bad_alloc();
}
// A caller of this form handles null. Not inlined, because the compiler would report a mismatched pair.
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return __real_malloc(bytes == 0 ? 1 : bytes);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }

namespace kestrelbay {
namespace {

using simulated::Machine;
using simulated::UseMachine;

std::atomic<int> calledBack = 0;
// So long that a text of it has its own block.
constexpr char kName[] = "An application with a name of some length";

void AwaitCallback(int before) {
  while (calledBack == before) std::this_thread::yield();
}

struct Export {
  const char* name;
  void (*call)();
};

template <class Fact>
void Ask(Fact fact) {
  char buffer[64];
  std::int32_t size = sizeof buffer;
  EXPECT_TRUE(fact(buffer, &size));
}

void List(bool includeIcons) {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, includeIcons);
  ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
}

// Of the exports that start a program, only the way to the start: they find no program.
const Export kExports[] = {
    {"GetManufacturer", [] { Ask(&GetManufacturer); }},
    {"GetDeviceId", [] { Ask(&GetDeviceId); }},
    {"GetProxyServer", [] { Ask(&GetProxyServer); }},
    {"GetGraphics", [] { Ask(&GetGraphics); }},
    {"GetAppVersion",
     [] { Ask([](char* buffer, std::int32_t* size) { return GetAppVersion(kName, "", buffer, size); }); }},
    {"GetDiskAvailableSpace", [] { GetDiskAvailableSpace("C"); }},
    {"IsTabletPC", [] { EXPECT_TRUE(IsTabletPC()); }},
    {"GetInstalledAppList", [] { List(false); }},
    {"StartApp", [] { EXPECT_EQ(StartApp(kName, kName), 0); }},
    {"StartAnyExe", [] { EXPECT_FALSE(StartAnyExe("C:\\no such folder\\tool.exe", kName)); }},
    {"DeleteAppRegistryInfo", [] { EXPECT_TRUE(DeleteAppRegistryInfo(kName)); }},
    {"Encrypt",
     [] {
       char* hidden = nullptr;
       Encrypt(kName, &hidden);
       ReleaseDllStr(&hidden);
     }},
    {"GetInstalledAppListAsync",
     [] {
       const int before = calledBack;
       GetInstalledAppListAsync([](InstalledAppEntry*, std::int32_t) { ++calledBack; }, false);
       AwaitCallback(before);
     }},
    {"GetAppIconAsync",
     [] {
       const int before = calledBack;
       GetAppIconAsync([](char*) { ++calledBack; }, kName);
       AwaitCallback(before);
     }},
};

void PrintTo(const Export& entry, std::ostream* out) { *out << entry.name; }

void Fill(Machine& machine) {
  simulated::RegistryTree& registry = machine.registry;
  const std::u16string software = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\";
  registry.CreateKey(software + u"Classes\\Installer\\Products");
  registry.SetText(software + u"Microsoft\\Cryptography", u"MachineGuid", u"an identity of some length");
  registry.SetText(u"HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\BIOS", u"BaseBoardManufacturer",
                   u"a maker with a long name");
  registry.SetNumber(software + u"Microsoft\\Windows\\Tablet PC", u"IsTabletPc", 1);
  const std::u16string internet =
      u"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
  registry.SetText(internet, u"ProxyServer", u"proxy.of.some.length:8080");
  registry.SetNumber(internet, u"ProxyEnable", 1);
  const std::u16string entry = software + u"Microsoft\\Windows\\CurrentVersion\\Uninstall\\App";
  registry.SetText(entry, u"DisplayName", std::u16string(kName, kName + sizeof kName - 1));
  registry.SetText(entry, u"UninstallString", u"\"C:\\no such folder\\remove.exe\" /all");
  registry.SetText(entry, u"DisplayVersion", u"1.0.0.0.0.0.0.0.0.0.0.1");
  registry.SetText(entry, u"DisplayIcon", u"C:\\no such folder\\tool.exe,0");
  const std::u16string other = software + u"Microsoft\\Windows\\CurrentVersion\\Uninstall\\Other";
  registry.SetText(other, u"DisplayName", u"Some other application with a name");
  registry.SetText(other, u"UninstallString", u"u");
  machine.graphicsAdapters = {u"An adapter with a long name", u"Another one"};
}

/** @return whether another thread could start a job, and this one could log */
bool LocksAreFree() {
  bool isFree = false;
  std::thread([&] {
    isFree = LifecycleMutex.try_lock();
    if (isFree) LifecycleMutex.unlock();
    SetStopAppEvent();  // would wait without end
  }).join();
  return isFree;
}

class LackOfMemory : public testing::TestWithParam<Export> {
 protected:
  LackOfMemory() {
    InitDllLogger([](const char*, std::int32_t, const char*) {});
  }
};

INSTANTIATE_TEST_SUITE_P(In, LackOfMemory, testing::ValuesIn(kExports),
                         [](const auto& entry) { return std::string(entry.param.name); });

TEST_P(LackOfMemory, LeavesTheExportAsAnException) {
  long raised = 0;
  for (bool isRaised = true; isRaised; raised += isRaised) {
    Machine& machine = UseMachine(std::make_unique<Machine>());
    Fill(machine);
    allocationsLeft = raised;
    isRaised = false;
    try {
      GetParam().call();
    } catch (const std::bad_alloc&) {
      isRaised = true;
    }
    const bool hasFailed = allocationsLeft < 0;
    allocationsLeft = -1;
    EXPECT_EQ(isRaised, hasFailed) << "allocation " << raised + 1;
    EXPECT_TRUE(LocksAreFree()) << "allocation " << raised + 1;
    EXPECT_EQ(machine.OpenKeys(), 0U) << "allocation " << raised + 1;
    ASSERT_LT(raised, 10000);
  }
  EXPECT_GE(raised, 1);
}

// A root that is opened without a path yields the root itself.
TEST(LackOfMemoryBelowARoot, ClosesNoRoot) {
  long raised = 0;
  for (std::unique_ptr<RegistryKey> opened; !opened; raised += !opened) {
    Machine& machine = UseMachine(std::make_unique<Machine>());
    machine.journal.Start();
    allocationsLeft = raised;
    try {
      opened = OpenKey(LocalMachineRoot(), u"");
    } catch (const std::bad_alloc&) {
    }
    allocationsLeft = -1;
    for (const simulated::JournalCall& call : machine.journal.Calls()) EXPECT_EQ(call.name, "RegOpenKeyExW");
    ASSERT_LT(raised, 100);
  }
  EXPECT_GE(raised, 2);
}

bool HasNoText(const InstalledAppEntry& entry) {
  return !entry.displayName && !entry.installLocation && !entry.displayVersion && !entry.displayIcon &&
         !entry.iconText && !entry.installDate && !entry.lastWriteTime;
}

TEST(LackOfMemoryForTheTextsOfAList, LeavesAnArrayWithoutTexts) {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  Fill(UseMachine(std::make_unique<Machine>()));
  List(false);  // creates the objects that are created on first use
  InstalledAppEntry none;
  InstalledAppEntry* entries = &none;
  std::uint32_t count = 77;
  bool isRaised = true;
  // Up to the first failure after that of the array.
  for (long allocations = 0; isRaised && entries == &none; ++allocations) {
    allocationsLeft = allocations;
    try {
      GetInstalledAppList(&entries, &count, false);
      isRaised = false;
    } catch (const std::bad_alloc&) {
    }
    allocationsLeft = -1;
  }
  ASSERT_TRUE(isRaised);
  ASSERT_NE(entries, nullptr);
  EXPECT_TRUE(HasNoText(entries[0]));
  EXPECT_TRUE(HasNoText(entries[1]));
  EXPECT_EQ(count, 77U) << "which is told at the end";
  ReleaseInstalledAppList(&entries, 0);
}

TEST(HostText, AfterAFailedEncryptionIsABlockOfOneByte) {
  auto machine = std::make_unique<Machine>();
  machine->faults.FailNth(1, simulated::Faults::Extent::Once, "CryptProtectData");
  UseMachine(std::move(machine));
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  char* hidden = nullptr;
  Encrypt("a text", &hidden);
  EXPECT_EQ(lastMallocBytes, 1U);
  ASSERT_NE(hidden, nullptr);
  EXPECT_EQ(*hidden, '\0');
  ReleaseDllStr(&hidden);
}

char* output = nullptr;

// The output is set before the copy, so the handler of the invalid parameter sees it.
TEST(LackOfMemoryForTheHostsText, CallsTheInvalidParameterHandlerWithANullOutput) {
  UseMachine(std::make_unique<Machine>());
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  const auto before =
      simulated::SetInvalidParameterHandler([](const char* operation) { throw std::string(operation); });
  for (const auto call : {&Encrypt, &Decrypt}) {
    char somethingElse = '#';
    output = &somethingElse;
    mallocFails = true;
    EXPECT_THROW(call("a text", &output), std::string);
    mallocFails = false;
    EXPECT_EQ(output, nullptr);
  }
  simulated::SetInvalidParameterHandler(before);
}

}  // namespace
}  // namespace kestrelbay
