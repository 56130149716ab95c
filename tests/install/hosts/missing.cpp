// Two functions throw if the machine lacks their setting. This machine lacks both.
#include <KestrelbayGeneralSDK.h>

#include <stdexcept>

namespace {

template <class Call>
bool IsRefused(Call call) {
  try {
    call();
  } catch (const std::invalid_argument&) {
    return true;
  }
  return false;
}

}  // namespace

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  char buffer[1024];
  std::int32_t size = sizeof buffer;
  if (!IsRefused([] { IsTabletPC(); })) return 1;
  return IsRefused([&] { GetProxyServer(buffer, &size); }) ? 0 : 2;
}
