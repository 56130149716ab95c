#include <KestrelbayGeneralSDK.h>

#include <iostream>
#include <span>

int main() {
  const char* const* table = nullptr;
  std::uint32_t count = 0;
  GetAppBlackList(&table, &count);
  for (const char* name : std::span(table, count)) std::cout << name << "\n";
}
