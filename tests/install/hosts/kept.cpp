// Each look-up keeps its inventory allocated, in which the longest version alone has 520 bytes. A list that
// is released keeps nothing.
#include <KestrelbayGeneralSDK.h>
#include <malloc.h>

#include <cstdint>

namespace {

constexpr int kCalls = 50;
constexpr std::size_t kInventoryBytes = 520;

/** Returns the bytes that kCalls calls leave allocated. Earlier calls create the objects of the first use. */
template <class Call>
std::size_t BytesKeptBy(Call call) {
  for (int i = 0; i < kCalls; ++i) call();
  const std::size_t before = mallinfo2().uordblks;
  for (int i = 0; i < kCalls; ++i) call();
  return mallinfo2().uordblks - before;
}

void AskForVersion(const char* registryPath) {
  char buffer[1024];
  std::int32_t size = sizeof buffer;
  GetAppVersion("Long version", registryPath, buffer, &size);
}

void List() {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, false);
  ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
}

}  // namespace

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  if (BytesKeptBy(&List) != 0) return 1;
  if (BytesKeptBy([] { AskForVersion("any registry path"); }) != 0) return 2;
  if (BytesKeptBy([] { AskForVersion(nullptr); }) < kCalls * kInventoryBytes) return 3;
  if (BytesKeptBy([] { StartApp("No such application", ""); }) < kCalls * kInventoryBytes) return 4;
  return BytesKeptBy([] { DeleteAppRegistryInfo("No such application"); }) < kCalls * kInventoryBytes ? 5 : 0;
}
