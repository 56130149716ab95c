#include "Text.h"

#include <algorithm>

#include "platform/Constants.h"
#include "platform/Text.h"
#include "simulated/base/UpperCase.h"

namespace capture {

std::string ToUtf8(std::u16string_view wide) {
  const auto chars = static_cast<int>(wide.size());
  const auto convert = [&](char* room, int roomBytes) {
    return platform::WideCharToMultiByte(platform::CP_UTF8, 0, wide.data(), chars, room, roomBytes, nullptr,
                                         nullptr);
  };
  std::string text(static_cast<std::size_t>(convert(nullptr, 0)), '\0');
  convert(text.data(), static_cast<int>(text.size()));
  return text;
}

std::u16string ToWide(std::string_view text) {
  const auto bytes = static_cast<int>(text.size());
  const auto convert = [&](char16_t* room, int roomChars) {
    return platform::MultiByteToWideChar(platform::CP_UTF8, 0, text.data(), bytes, room, roomChars);
  };
  std::u16string wide(static_cast<std::size_t>(convert(nullptr, 0)), u'\0');
  convert(wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::u16string ToWide(unsigned long long number) { return ToWide(std::to_string(number)); }

std::u16string AsciiUpper(std::u16string_view text) {
  std::u16string upper(text);
  std::ranges::transform(upper, upper.begin(), [](char16_t unit) {
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
  });
  return upper;
}

char16_t Folded(char16_t unit) {
  // Both lower-case forms of sigma are one letter in a name, but two letters for the registry.
  constexpr char16_t kFinalSigma = 0x03C2;
  constexpr char16_t kSigma = 0x03A3;
  return unit == kFinalSigma ? kSigma : simulated::UpperCase(unit);
}

std::u16string Folded(std::u16string_view text) {
  std::u16string folded(text);
  for (char16_t& unit : folded) unit = Folded(unit);
  return folded;
}

bool IsCapital(char16_t unit) {
  static const std::vector<bool> kCapitals = [] {
    std::vector<bool> capitals(0x10000);
    for (char16_t small = 0xFFFF; small != 0; --small) {
      if (Folded(small) != small) capitals[Folded(small)] = true;
    }
    return capitals;
  }();
  return kCapitals[unit];
}

std::vector<std::u16string> SplitPath(std::u16string_view path) {
  std::vector<std::u16string> names;
  for (std::size_t at = 0, end = 0; end != path.npos; at = end + 1) {
    end = path.find(u'\\', at);
    names.emplace_back(path.substr(at, end - at));
  }
  return names;
}

}  // namespace capture
