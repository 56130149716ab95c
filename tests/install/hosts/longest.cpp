// No fact is longer than its source can be: longest [BYTES]. The maker's name has 259 characters of three
// bytes on this machine, the model's has one more, and the one adapter's, where there is one, is told as
// BYTES.
#include <KestrelbayGeneralSDK.h>

#include <cstdint>
#include <cstdlib>

int main(int count, char** arguments) {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  char buffer[1024];
  std::int32_t size = sizeof buffer;
  if (!GetManufacturer(buffer, &size) || size != 777) return 1;
  size = sizeof buffer;
  if (GetProductName(buffer, &size)) return 2;
  size = sizeof buffer;
  if (count > 1 && (!GetGraphics(buffer, &size) || size != std::atoi(arguments[1]))) return 3;
}
