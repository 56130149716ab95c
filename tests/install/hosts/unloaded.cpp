// A thread of the library crashes if the library is unloaded, because its code is gone. Only this crash is a
// success here.
#include <KestrelbayGeneralSDK.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <thread>

#include "library.h"

namespace {

std::promise<void>& entered = *new std::promise<void>;
std::promise<void>& unloaded = *new std::promise<void>;

void Stay(InstalledAppEntry*, std::int32_t) {
  entered.set_value();
  unloaded.get_future().wait();
}

}  // namespace

int main() {
  LoadTheLibrary();
  std::signal(SIGSEGV, [](int) { std::_Exit(0); });
  reinterpret_cast<decltype(&InitDllLogger)>(FindInLibrary("InitDllLogger"))(
      [](const char*, std::int32_t, const char*) {});
  reinterpret_cast<decltype(&GetInstalledAppListAsync)>(FindInLibrary("GetInstalledAppListAsync"))(&Stay,
                                                                                                   false);
  entered.get_future().wait();
  UnloadTheLibrary();
  unloaded.set_value();
  std::this_thread::sleep_for(std::chrono::minutes(1));
  std::_Exit(1);
}
