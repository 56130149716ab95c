#include "simulated/port/Call.h"

#include <cstdio>

#include "simulated/base/WideText.h"

namespace simulated {
namespace {

std::string HexText(std::uint64_t bits) {
  char text[2 + 16 + 1];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(bits));
  return text;
}

std::string HandleText(const void* handle) {
  return handle ? HexText(reinterpret_cast<std::uintptr_t>(handle)) : "null";
}

}  // namespace

Arguments& Arguments::Append(std::string_view text) {
  if (!text_.empty()) text_ += ", ";
  text_ += text;
  return *this;
}

Arguments& Arguments::Text(const char16_t* text) { return Append(text ? '"' + ToUtf8(text) + '"' : "null"); }

Arguments& Arguments::Text(const char* text) { return Append(text ? '"' + std::string(text) + '"' : "null"); }

Arguments& Arguments::Number(long long number) { return Append(std::to_string(number)); }

Arguments& Arguments::Hex(std::uint64_t bits) { return Append(HexText(bits)); }

Arguments& Arguments::Handle(const void* handle) { return Append(HandleText(handle)); }

Arguments& Arguments::Key(Machine& machine, platform::HKEY handle) {
  constexpr const char* kPredefinedNames[] = {"HKEY_CLASSES_ROOT", "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE",
                                              "HKEY_USERS"};
  const std::lock_guard guard(machine.registry.Lock());
  if (machine.registry.Predefined(handle)) {
    return Append(kPredefinedNames[reinterpret_cast<std::uintptr_t>(handle) & 3]);
  }
  const auto opened = machine.keys.Find(handle);
  return opened ? Append(ToUtf8(machine.registry.PathOf(*opened->key))) : Handle(handle);
}

std::string DescribeResult(const void* handle) { return HandleText(handle); }

}  // namespace simulated
