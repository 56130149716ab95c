// Starts of installations and uninstallations wait for each other, half a second each.
#include <KestrelbayGeneralSDK.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

using std::chrono::milliseconds;

// A pause may end a tick of the system's clock early.
constexpr milliseconds kHalfSecond(490);

template <class Work>
auto Duration(Work work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::steady_clock::now() - begin;
}

int Run() {
  static InstallRequest installations[2];
  static UninstallRequest removal;
  std::strcpy(installations[0].displayName, "First");
  std::strcpy(installations[1].displayName, "Second");
  std::strcpy(removal.displayName, "An application that nobody has");
  const auto install = [](InstallRequest& request) { Install(&request, [](InstallRequest*) {}); };
  if (Duration([&] { install(installations[0]); }) < kHalfSecond) return 1;
  const auto both = Duration([&] {
    std::thread other([] { Uninstall(&removal, [](UninstallRequest*) {}); });
    install(installations[1]);
    other.join();
  });
  return both < 2 * kHalfSecond ? 2 : 0;
}

}  // namespace

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  std::_Exit(Run());
}
