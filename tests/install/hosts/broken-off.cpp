// An exception leaves GetInstalledAppList: the count is unchanged, and the array is unchanged or is released
// with count 0.
#include <KestrelbayGeneralSDK.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

constexpr int kEndless = 1'000'000'000;
constexpr std::uint32_t kUntouched = 77;

std::atomic<int> blocksLeft = kEndless;

}  // namespace

// The library allocates with these operators of the process.
void* operator new(std::size_t bytes) {
  void* const block = blocksLeft-- > 0 ? std::malloc(bytes) : nullptr;
  if (!block) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace {

struct Attempt {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = kUntouched;
  bool isBrokenOff = false;
};

Attempt ListWith(int blocks) {
  Attempt attempt;
  blocksLeft = blocks;
  try {
    GetInstalledAppList(&attempt.entries, &attempt.count, false);
  } catch (const std::bad_alloc&) {
    attempt.isBrokenOff = true;
  }
  blocksLeft = kEndless;
  return attempt;
}

}  // namespace

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  Attempt first = ListWith(kEndless);  // creates the objects of the first use
  ReleaseInstalledAppList(&first.entries, static_cast<std::int32_t>(first.count));
  bool isWithout = false;
  bool isWith = false;
  for (int blocks = 0;; ++blocks) {
    Attempt attempt = ListWith(blocks);
    const auto count = static_cast<std::int32_t>(attempt.isBrokenOff ? 0 : attempt.count);
    (attempt.entries ? isWith : isWithout) |= attempt.isBrokenOff;
    if (attempt.isBrokenOff && attempt.count != kUntouched) return 1;
    ReleaseInstalledAppList(&attempt.entries, count);
    if (attempt.entries) return 2;
    if (!attempt.isBrokenOff) return isWithout && isWith ? 0 : 3;
  }
}
