// No fact is longer than its source can be: longest [BYTES]. The maker's name has 260 characters of three
// bytes and no NUL on this machine, the model's has a NUL as well, and the one adapter's, where there is one,
// is told as BYTES.
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
