// KestrelbayGuard reports lack of memory, and a thread that cannot be started, as a status.
#include <KestrelbayGuard.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <stdexcept>

#include "StatusOfException.h"

namespace {

constexpr int kEndless = 1'000'000'000;
/** Blocks of operator new, and of malloc, that do not fail. */
std::atomic<int> blocksLeft = kEndless;
std::atomic<int> textsLeft = kEndless;

}  // namespace

extern "C" void* __libc_malloc(std::size_t bytes);  // NOLINT: the C runtime's name

// The library allocates the texts of a host with the malloc of the process, everything else with these
// operators.
extern "C" [[gnu::visibility("default")]] void* malloc(std::size_t bytes) {
  return textsLeft-- > 0 ? __libc_malloc(bytes) : nullptr;
}
void* operator new(std::size_t bytes) {
  void* const block = blocksLeft-- > 0 ? __libc_malloc(bytes) : nullptr;
  if (!block) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

template <class Call>
std::int32_t StatusWith(int blocks, Call call) {
  blocksLeft = blocks;
  const std::int32_t status = call();
  blocksLeft = kEndless;
  return status;
}

#define CHECK(condition)                                  \
  do {                                                    \
    if (!(condition)) {                                   \
      std::printf("line %d: %s\n", __LINE__, #condition); \
      return 1;                                           \
    }                                                     \
  } while (0)

/** A list fails as a whole, no matter which allocation fails. */
int ListFailsAsAWhole(std::atomic<int>& left, int fewest) {
  InstalledAppEntry other{};
  for (int blocks = 0;; ++blocks) {
    InstalledAppEntry* entries = &other;
    std::uint32_t count = 77;
    left = blocks;
    const std::int32_t status = GuardGetInstalledAppList(&entries, &count, false);
    left = kEndless;
    if (status == 0) {
      CHECK(count > 0 && blocks >= fewest);
      return GuardReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
    }
    CHECK(status == GUARD_NO_MEMORY && !entries && count == 0);
  }
}

/** The text of a secret that has no memory is null and the status says so. */
int SecretFailsWithoutMemory() {
  char unchanged = 0;
  char* text = &unchanged;
  textsLeft = 0;
  const std::int32_t status = GuardEncrypt("a secret", &text);
  textsLeft = kEndless;
  CHECK(status == GUARD_NO_MEMORY && !text);
  return 0;
}

/** Leaves memory for small blocks, but not for the stack of a thread. */
void LimitAddressSpace() {
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  constexpr rlim_t kRoomBytes = 1024 * 1024;
  const rlimit limit = {pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + kRoomBytes, RLIM_INFINITY};
  setrlimit(RLIMIT_AS, &limit);
}

/** Only the two exceptions of an invalid setting are reported as one. */
int OtherExceptionsAreNoSettings() {
  using kestrelbay::guard::StatusOf;
  CHECK(StatusOf([]() -> std::int32_t { throw std::invalid_argument(""); }) == GUARD_INVALID_SETTING);
  CHECK(StatusOf([]() -> std::int32_t { throw std::out_of_range(""); }) == GUARD_INVALID_SETTING);
  CHECK(StatusOf([]() -> std::int32_t { throw std::length_error(""); }) == GUARD_UNEXPECTED);
  return 0;
}

int CallsFailWithoutMemory() {
  char buffer[1024];
  std::int32_t size = sizeof buffer;
  char* text = buffer;
  std::int64_t mebibytes = 7;
  CHECK(StatusWith(0, [&] { return GuardGetDeviceId(buffer, &size); }) == GUARD_NO_MEMORY);
  CHECK(StatusWith(0, [] { return GuardIsTabletPC(); }) == GUARD_NO_MEMORY);
  CHECK(StatusWith(0, [&] { return GuardEncrypt("a secret that is not a short text", &text); }) ==
        GUARD_NO_MEMORY);
  CHECK(!text);
  CHECK(StatusWith(0, [&] { return GuardGetDiskAvailableSpace("C", &mebibytes); }) == GUARD_NO_MEMORY);
  CHECK(mebibytes == -1);
  CHECK(StatusWith(0, [] { return GuardStartAnyExe("C:\\program.exe", ""); }) == GUARD_NO_MEMORY);
  return 0;
}

int ProgramsAreStarted() {
  CHECK(GuardStartAnyExe("C:\\tool.exe", "") == 1);
  CHECK(GuardStartApp("Tool", "") == 1);
  return 0;
}

int CallsFailWithoutThread() {
  static GuardInstallJob job{};
  std::snprintf(job.request.displayName, sizeof job.request.displayName, "Nobody has this");
  LimitAddressSpace();
  CHECK(GuardGetInstalledAppListAsync([](InstalledAppEntry*, std::int32_t) {}, false) == GUARD_NO_THREAD);
  CHECK(GuardStartAnyExeAsync("C:\\program.exe", "") == GUARD_NO_THREAD);
  CHECK(GuardStartInstall(&job) == GUARD_NO_THREAD && !job.finished);
  const rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
  setrlimit(RLIMIT_AS, &unlimited);
  return 0;
}

}  // namespace

int main() {
  std::int64_t mebibytes = 0;
  if (GuardInitDllLogger([](const char*, std::int32_t, const char*) {}) != 0) return 1;
  GuardGetDiskAvailableSpace("C", &mebibytes);  // loads the machine, which needs memory, too
  constexpr int kFewestBlocks = 10;
  constexpr int kFewestTexts = 7;  // of the only application
  return OtherExceptionsAreNoSettings() || CallsFailWithoutMemory() || SecretFailsWithoutMemory() ||
         ListFailsAsAWhole(blocksLeft, kFewestBlocks) || ListFailsAsAWhole(textsLeft, kFewestTexts) ||
         CallsFailWithoutThread() || ProgramsAreStarted();
}
