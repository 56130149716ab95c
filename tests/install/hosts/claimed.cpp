// The event of an uninstallation has the name of the application. While a mutex has that name, the
// uninstallation does not wait. Its program changes nothing, so without the mutex it would wait forever.
#include <KestrelbayGeneralSDK.h>
#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <future>

namespace {

// Never freed: the thread of the job may still be ending when the process does.
std::promise<void>& done = *new std::promise<void>;
UninstallRequest& request = *new UninstallRequest{};

}  // namespace

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  if (!CreateMutexA(nullptr, FALSE, "Cancelled")) return 2;
  std::strcpy(request.displayName, "Cancelled");
  Uninstall(&request, [](UninstallRequest*) { done.set_value(); });
  done.get_future().wait();
  std::_Exit(std::strcmp(request.ErrMsg, "The app is still in registry!") == 0 ? 0 : 1);
}
