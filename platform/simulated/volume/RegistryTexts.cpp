#include "simulated/volume/RegistryTexts.h"

#include <cstring>

namespace simulated {

std::u16string TextIn(Key& key, std::u16string_view name) {
  ValueView value;
  return key.FindValue(name, value) ? TextOf(value) : std::u16string();
}

std::u16string TextOf(const ValueView& value) {
  std::u16string text(value.bytes.size() / 2, u'\0');
  std::memcpy(text.data(), value.bytes.data(), text.size() * 2);
  return text.substr(0, text.find(u'\0'));
}

std::u16string TextAt(Machine& machine, std::u16string_view path, std::u16string_view name) {
  Key* const key = machine.registry.Find(path);
  return key ? TextIn(*key, name) : std::u16string();
}

std::uint32_t NumberIn(Key& key, std::u16string_view name) {
  ValueView value;
  std::uint32_t number = 0;
  if (key.FindValue(name, value) && value.bytes.size() == sizeof number)
    std::memcpy(&number, value.bytes.data(), sizeof number);
  return number;
}

std::optional<std::u16string> Expand(const Machine& machine, std::u16string_view text) {
  std::u16string expanded;
  while (true) {
    const std::size_t begin = text.find(u'%');
    const std::size_t end = begin == text.npos ? begin : text.find(u'%', begin + 1);
    expanded += text.substr(0, end == text.npos ? end : begin);
    // At each variable, because a text of a few variables that name each other would fill the memory.
    if (expanded.size() > kLongestVariable) return std::nullopt;
    if (end == text.npos) return expanded;
    const auto value = machine.environment.Find(text.substr(begin + 1, end - begin - 1));
    expanded += value ? *value : text.substr(begin, end - begin);
    // The percent sign after an unknown name may begin a known one.
    text.remove_prefix(value ? end + 1 : end);
  }
}

}  // namespace simulated
