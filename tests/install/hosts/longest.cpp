// The longest facts that the library returns. On this machine the maker has 260 characters of three bytes and
// no NUL. The model has a NUL as well, which makes it too long.
// longest [BYTES]: the length of the name of the only graphics adapter, if there is one.
#include <KestrelbayGeneralSDK.h>

#include <cstdint>
#include <cstdlib>

int main(int count, char** arguments) {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  char buffer[1024];
  std::int32_t size = 781;  // with the NUL
  if (!GetManufacturer(buffer, &size) || size != 780) return 1;
  size = sizeof buffer;
  if (GetProductName(buffer, &size)) return 2;
  size = sizeof buffer;
  if (count > 1 && (!GetGraphics(buffer, &size) || size != std::atoi(arguments[1]))) return 3;
}
