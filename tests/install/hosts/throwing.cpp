// An exception that leaves a callback ends the process. Only this end is a success here.
#include <KestrelbayGeneralSDK.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  std::signal(SIGABRT, [](int) { std::_Exit(0); });
  GetInstalledAppListAsync([](InstalledAppEntry*, std::int32_t) { throw std::runtime_error("from a host"); },
                           false);
  std::this_thread::sleep_for(std::chrono::minutes(1));
  std::_Exit(1);
}
