#include "TestMachine.h"

namespace tests {

void TestMachine::SetText(const KeyPath& key, std::u16string_view name, std::u16string_view text,
                          platform::DWORD type) {
  std::vector<std::uint8_t> bytes;
  for (const char16_t unit : std::u16string(text) + u'\0') {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  SetValue(key, name, type, bytes);
}

void TestMachine::SetNumber(const KeyPath& key, std::u16string_view name, std::uint32_t number) {
  std::vector<std::uint8_t> bytes;
  for (int shift = 0; shift < 32; shift += 8)
    bytes.push_back(static_cast<std::uint8_t>(number >> shift & 0xFF));
  SetValue(key, name, 4, bytes);
}

}  // namespace tests
