// Lack of memory, and a thread that cannot be started, leave a function as exceptions.
#include <KestrelbayGeneralSDK.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <new>
#include <system_error>

namespace {

std::atomic<bool> isMemoryUsedUp = false;

}  // namespace

// The library allocates with these operators of the process.
void* operator new(std::size_t bytes) {
  void* const block = isMemoryUsedUp ? nullptr : std::malloc(bytes);
  if (!block) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

template <class Error, class Call>
bool Raises(Call call) {
  try {
    call();
  } catch (const Error&) {
    return true;
  }
  return false;
}

/** Leaves memory for small blocks, but not for the stack of a thread. */
void LimitAddressSpace() {
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  constexpr rlim_t kRoomBytes = 1024 * 1024;
  const rlim_t bytes = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + kRoomBytes;
  const rlimit limit = {bytes, RLIM_INFINITY};
  setrlimit(RLIMIT_AS, &limit);
}

}  // namespace

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  char buffer[1024];
  std::int32_t size = sizeof buffer;
  char* text = nullptr;
  isMemoryUsedUp = true;
  const bool lacksMemory =
      Raises<std::bad_alloc>([&] { GetDeviceId(buffer, &size); }) &&
      Raises<std::bad_alloc>([] { IsTabletPC(); }) &&
      Raises<std::bad_alloc>([&] { Encrypt("a secret that is not a short text", &text); }) &&
      Raises<std::bad_alloc>([] { StartAnyExe("C:\\program.exe", ""); });
  isMemoryUsedUp = false;
  if (!lacksMemory) return 1;

  LimitAddressSpace();
  const auto ignore = [](InstalledAppEntry*, std::int32_t) {};
  if (!Raises<std::system_error>([&] { GetInstalledAppListAsync(ignore, false); })) return 2;
  return Raises<std::system_error>([] { StartAnyExeAsync("C:\\program.exe", ""); }) ? 0 : 3;
}
