// The lists that look-ups leave, counted by the memory in use. Each look-up leaves its list. A job leaves
// nothing else of that size, and a single request nothing else at all.
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "icons/AppIcon.h"
#include "inventory/InstalledApps.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/JobTest.h"

namespace {

std::atomic<long> bytesInUse = 0;
/** The bytes that this thread has allocated and not freed. No other thread changes it. */
thread_local long bytesOfThread = 0;

void Count(long bytes) {
  bytesInUse += bytes;
  bytesOfThread += bytes;
}

// Each block starts with its requested size, because an allocator rounds the size.
constexpr std::size_t kHeadBytes = alignof(std::max_align_t);

void* TakeOrNull(std::size_t bytes) noexcept {
  auto* const head = static_cast<std::byte*>(std::malloc(kHeadBytes + bytes));
  if (!head) return nullptr;
  Count(*new (head) long(static_cast<long>(bytes)));
  return head + kHeadBytes;
}

void* Take(std::size_t bytes) {
  if (void* const block = TakeOrNull(bytes)) return block;
  throw std::bad_alloc();
}

void Free(void* block) {
  if (!block) return;
  std::byte* const head = static_cast<std::byte*>(block) - kHeadBytes;
  Count(-*reinterpret_cast<long*>(head));
  std::free(head);
}

}  // namespace

void* operator new(std::size_t bytes) { return Take(bytes); }
void operator delete(void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }
// Memory resources pass an alignment. No block here needs more than malloc has.
void* operator new(std::size_t bytes, std::align_val_t) { return Take(bytes); }
void operator delete(void* block, std::align_val_t) noexcept { Free(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { Free(block); }
// The allocator of a sanitizer does not call the functions above.
void* operator new[](std::size_t bytes) { return Take(bytes); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete[](void* block, std::size_t) noexcept { Free(block); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return TakeOrNull(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return TakeOrNull(bytes); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Free(block); }

namespace kestrelbay {
namespace {

class KeptLists : public JobTest {
 protected:
  KeptLists() {
    // So many that a list is larger than everything else that a job leaves.
    for (int number = 0; number < 400; ++number) {
      const std::string digits = std::to_string(number);
      AddApp(u"An application of some length " + std::u16string(digits.begin(), digits.end()), u"1.0");
    }
    SetProgram(u"C:\\setup.exe", [] { return 0; });
    SetProgram(u"C:\\un.exe", [this] {
      machine.registry.WaitForWatch(KeyOf(u"App"));
      machine.registry.CreateKey(KeyOf(u"App") + u"\\New");
      machine.registry.RemoveKey(KeyOf(u"App") + u"\\New");
      return 0;
    });
    AddApp(u"App", u"1.0", u"C:\\un.exe");
  }

  static double BytesOfAList() {
    const long before = bytesOfThread;
    const auto list = GetInstalledApps(false);
    return static_cast<double>(bytesOfThread - before);
  }

  /** @return the number of lists that an action leaves. A first round creates the objects of first use. */
  static double ListsLeftBy(const std::function<void()>& action) {
    action();
    const long before = bytesInUse;
    action();
    return static_cast<double>(bytesInUse - before) / BytesOfAList();
  }

  template <class Record>
  double ListsLeftByJob(Record record) {
    return ListsLeftBy([&] {
      Run(record);
      machine.programs.WaitForAll();
    });
  }
};

constexpr double kNearlyNothing = 0.1;

TEST_F(KeptLists, InstallationKeepsTwo) {
  EXPECT_NEAR(ListsLeftByJob(InstallRecord("C:\\setup.exe", "New")), 2, kNearlyNothing);
}

TEST_F(KeptLists, UninstallationKeepsTwo) {
  EXPECT_NEAR(ListsLeftByJob(UninstallRecord("App")), 2, kNearlyNothing);
}

TEST_F(KeptLists, UninstallationOfAnUnknownNameKeepsOne) {
  EXPECT_NEAR(ListsLeftByJob(UninstallRecord("None")), 1, kNearlyNothing);
}

TEST_F(KeptLists, InstallationWithoutALookUpKeepsNone) {
  EXPECT_NEAR(ListsLeftByJob(InstallRecord("", "App")), 0, kNearlyNothing);
}

TEST_F(KeptLists, GivenRegistryPathKeepsNone) {
  EXPECT_NEAR(ListsLeftByJob(InstallRecord("C:\\setup.exe", "App", "", "any text")), 0, kNearlyNothing);
}

/** Requests that run on the thread of the caller. They leave nothing but a list, to the byte. */
class KeptListsOfRequests : public KeptLists {
 protected:
  KeptListsOfRequests() {
    InitDllLogger([](const char*, std::int32_t, const char*) {});
    for (const char16_t* path : {u"C:\\tool.exe", u"C:\\other.exe"}) machine.drives.AddFile(path);
    SetTexts(KeyOf(u"App"), {{u"DisplayIcon", u"C:\\tool.exe,0"}});
    SetTexts(KeyOf(u"Other"),
             {{u"DisplayName", u"Other"}, {u"UninstallString", u"u"}, {u"DisplayIcon", u"C:\\other.exe"}});
  }

  static long BytesLeftBy(const std::function<void()>& request) {
    request();
    const long before = bytesOfThread;
    request();
    return bytesOfThread - before;
  }

  static double ListsLeftBy(const std::function<void()>& request) {
    return static_cast<double>(BytesLeftBy(request)) / BytesOfAList();
  }
};

TEST_F(KeptListsOfRequests, IconKeepsOneWithItsText) {
  // So that the text of the icon does not fit into its record.
  machine.registry.RemoveKey(kUninstall64Path);
  const std::u16string longest(259, u'x');
  SetTexts(KeyOf(u"App"), {{u"DisplayName", u"App"},
                           {u"UninstallString", longest},
                           {u"DisplayVersion", longest},
                           {u"InstallLocation", longest},
                           {u"InstallDate", longest},
                           {u"DisplayIcon", u"C:\\tool.exe"}});
  const std::string iconText = GetAppIconByName(u"App");
  ASSERT_TRUE(iconText.starts_with("data:"));
  const long before = bytesOfThread;
  const auto list = GetInstalledApps(false);
  const long ofTheList = bytesOfThread - before;
  list->begin()->IconText = GetAppIconText(u"C:\\tool.exe", true);
  const long ofBoth = bytesOfThread - before;
  ASSERT_GT(ofBoth, ofTheList);
  EXPECT_EQ(BytesLeftBy([] { GetAppIconByName(u"App"); }), ofBoth);
}

TEST_F(KeptListsOfRequests, IconOfAnUnknownNameKeepsOne) {
  EXPECT_EQ(ListsLeftBy([] { GetAppIconByName(u"None"); }), 1);
}

TEST_F(KeptListsOfRequests, VersionKeepsOne) {
  const auto ask = [](const char* name, const char* registryPath) {
    char buffer[8];
    std::int32_t size = sizeof buffer;
    GetAppVersion(name, registryPath, buffer, &size);
  };
  EXPECT_EQ(ListsLeftBy([&] { ask("App", ""); }), 1);
  EXPECT_EQ(ListsLeftBy([&] { ask("None", nullptr); }), 1);
  EXPECT_EQ(ListsLeftBy([&] { ask("App", "any text"); }), 0);
}

TEST_F(KeptListsOfRequests, StartKeepsOneIfItReadsTheInventory) {
  machine.appsFolder.items.push_back({{u"Folder item", u"Folder!App"}});
  EXPECT_EQ(ListsLeftBy([] { StartApp("None", ""); }), 1);
  // No handle of a started process is closed.
  EXPECT_NEAR(ListsLeftBy([] { StartApp("Folder item", ""); }), 0, kNearlyNothing);
}

TEST_F(KeptListsOfRequests, EntryRemovalKeepsOne) {
  EXPECT_EQ(ListsLeftBy([] { DeleteAppRegistryInfo("None"); }), 1);
  AddApp(u"Passing", u"1.0");
  const double bytesOfAList = BytesOfAList();
  const auto remove = [this] {
    AddApp(u"Passing", u"1.0");
    EXPECT_TRUE(DeleteAppRegistryInfo("Passing"));
  };
  EXPECT_EQ(static_cast<double>(BytesLeftBy(remove)), bytesOfAList);
}

TEST_F(KeptListsOfRequests, ListOfTheHostKeepsNone) {
  for (const bool includeIcons : {false, true}) {
    EXPECT_EQ(ListsLeftBy([=] {
                InstalledAppEntry* entries = nullptr;
                std::uint32_t count = 0;
                GetInstalledAppList(&entries, &count, includeIcons);
                ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
              }),
              0);
  }
}

// The texts of a host are allocated by malloc, so they are not among the bytes that are counted above.
TEST_F(KeptListsOfRequests, ReleasedTextsLeaveNothing) {
  const auto askAndRelease = [] {
    for (int round = 0; round < 50; ++round) {
      char* hidden = nullptr;
      Encrypt("a text of some length", &hidden);
      ReleaseDllStr(&hidden);
      InstalledAppEntry* entries = nullptr;
      std::uint32_t count = 0;
      GetInstalledAppList(&entries, &count, false);
      ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
    }
  };
  askAndRelease();
  const std::size_t before = mallinfo2().uordblks;
  askAndRelease();
  EXPECT_EQ(mallinfo2().uordblks, before);
}

}  // namespace
}  // namespace kestrelbay
