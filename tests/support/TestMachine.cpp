#include "TestMachine.h"

namespace tests {
namespace {

constexpr const char16_t* kUninstall = u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

}  // namespace

void TestMachine::MakeProgram(const std::u16string& path) { MakeProgram(path, {}); }

void TestMachine::SetText(const KeyPath& key, std::u16string_view name, std::u16string_view text,
                          platform::DWORD type) {
  std::vector<std::uint8_t> bytes;
  std::u16string terminated(text);
  terminated.push_back(u'\0');
  for (const char16_t unit : terminated) {
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

std::vector<KeyPath> TestMachine::UninstallKeys() {
  const auto machine = std::u16string(u"HKEY_LOCAL_MACHINE\\") + kUninstall;
  std::vector<KeyPath> parents;
  parents.emplace_back(machine, View::Bits64);
  parents.emplace_back(machine, View::Bits32);
  for (const auto& user : SubKeyNames(u"HKEY_USERS"))
    parents.emplace_back(u"HKEY_USERS\\" + user + u"\\" + kUninstall);
  std::vector<KeyPath> keys;
  for (const auto& parent : parents) {
    for (const auto& name : SubKeyNames(parent)) keys.emplace_back(parent.path + u"\\" + name, parent.view);
  }
  return keys;
}

}  // namespace tests
