// The lists that the look-ups of jobs leave behind, counted by the memory in use: each look-up keeps its own,
// and nothing else of that size stays.
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "JobTest.h"
#include "inventory/InstalledApps.h"
#include "lifecycle/AppInstall.h"

namespace {

std::atomic<std::size_t> bytesInUse = 0;

void* Take(std::size_t bytes) {
  void* const block = std::malloc(bytes == 0 ? 1 : bytes);
  if (!block) throw std::bad_alloc();
  bytesInUse += malloc_usable_size(block);
  return block;
}

void Free(void* block) {
  bytesInUse -= malloc_usable_size(block);
  std::free(block);
}

}  // namespace

void* operator new(std::size_t bytes) { return Take(bytes); }
void operator delete(void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }
// A sanitizer's own of these do not come to the ones above.
void* operator new[](std::size_t bytes) { return Take(bytes); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete[](void* block, std::size_t) noexcept { Free(block); }

namespace kestrelbay {
namespace {

class KeptLists : public JobTest {
 protected:
  KeptLists() {
    // So many that a list outweighs all else that a job leaves.
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
    const std::size_t before = bytesInUse;
    const auto list = GetInstalledApps(false);
    return static_cast<double>(bytesInUse - before);
  }

  /** How many lists an action leaves. What is made once in a process is made by a first round. */
  static double ListsLeftBy(const std::function<void()>& action) {
    action();
    const std::size_t before = bytesInUse;
    action();
    return (static_cast<double>(bytesInUse) - static_cast<double>(before)) / BytesOfAList();
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

TEST_F(KeptLists, RemovalKeepsTwo) { EXPECT_NEAR(ListsLeftByJob(UninstallRecord("App")), 2, kNearlyNothing); }

TEST_F(KeptLists, RemovalOfWhatIsNotThereKeepsOne) {
  EXPECT_NEAR(ListsLeftByJob(UninstallRecord("None")), 1, kNearlyNothing);
}

TEST_F(KeptLists, InstallationThatNeverLooksKeepsNone) {
  EXPECT_NEAR(ListsLeftByJob(InstallRecord("", "App")), 0, kNearlyNothing);
}

TEST_F(KeptLists, GivenRegistryPathTakesNoList) {
  EXPECT_NEAR(ListsLeftByJob(InstallRecord("C:\\setup.exe", "App", "", "any text")), 0, kNearlyNothing);
}

}  // namespace
}  // namespace kestrelbay
