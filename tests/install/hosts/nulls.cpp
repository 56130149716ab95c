// If memory is missing only for the host's copy of a text, the text is null, and the process continues.
#include <KestrelbayGeneralSDK.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <new>

namespace {

std::atomic<bool> isMemoryUsedUp = false;

}  // namespace

// Only these copies are allocated by malloc.
extern "C" void* __libc_malloc(std::size_t bytes);
extern "C" void* malloc(std::size_t bytes) { return isMemoryUsedUp ? nullptr : __libc_malloc(bytes); }
void* operator new(std::size_t bytes) {
  void* const block = __libc_malloc(bytes);
  if (!block) throw std::bad_alloc();
  return block;
}

namespace {

// Never destroyed: the worker may still be in the callback.
std::promise<bool>& isIconNull = *new std::promise<bool>;

}  // namespace

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  char* hidden = nullptr;
  Encrypt("a secret", &hidden);
  char unwritten;
  char* text = &unwritten;
  isMemoryUsedUp = true;
  Encrypt("a secret", &text);
  if (text) return 1;
  text = &unwritten;
  Decrypt(hidden, &text);
  if (text) return 2;

  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, false);
  if (count == 0 || entries[0].displayName || entries[0].iconText) return 3;
  ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));

  GetAppIconAsync([](char* iconText) { isIconNull.set_value(!iconText); }, "Long version");
  std::_Exit(isIconNull.get_future().get() ? 0 : 4);
}
