/**
 * Conversion between UTF-8 and UTF-16: all input converts, valid text survives it, and no buffer overflows.
 * Also Base64, and variables in texts.
 */
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Expect.h"
#include "platform/Constants.h"
#include "platform/Text.h"
#include "simulated/base/Base64.h"
#include "simulated/base/WideText.h"
#include "simulated/directory/CurrentMachine.h"

namespace {

bool IsHigh(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool IsLow(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

std::u16string WithoutLoneSurrogates(std::u16string text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool paired = IsHigh(text[at]) && at + 1 < text.size() && IsLow(text[at + 1]);
    if (paired) {
      ++at;
    } else if (IsHigh(text[at]) || IsLow(text[at])) {
      text[at] = 0xFFFD;
    }
  }
  return text;
}

void CheckNarrow(std::string_view narrow) {
  const std::u16string wide = simulated::FromUtf8(narrow);
  fuzz::Expect(WithoutLoneSurrogates(wide) == wide, "the result has no lone surrogate");
  const std::string back = simulated::ToUtf8(wide);
  fuzz::Expect(simulated::FromUtf8(back) == wide, "a text without lone surrogates survives conversion");
  const bool replaced = wide.find(char16_t{0xFFFD}) != wide.npos;
  fuzz::Expect(replaced || back == narrow, "valid UTF-8 survives conversion byte for byte");
}

void CheckWide(const std::u16string& wide) {
  const std::string narrow = simulated::ToUtf8(wide);
  fuzz::Expect(simulated::FromUtf8(narrow) == WithoutLoneSurrogates(wide),
               "only lone surrogates are replaced");
}

// Buffers are heap blocks of the exact size, so that a sanitizer detects a write behind the end.
template <class Unit, class Convert>
void CheckRooms(Convert convert) {
  const int needed = convert(nullptr, 0);
  fuzz::Expect(needed > 0, "a text has a length");
  std::vector<Unit> room(static_cast<std::size_t>(needed));
  fuzz::Expect(convert(room.data(), needed) == needed, "a buffer of the returned size is large enough");
  if (needed == 1) return;
  std::vector<Unit> narrower(static_cast<std::size_t>(needed) - 1);
  fuzz::Expect(convert(narrower.data(), needed - 1) == 0, "a smaller buffer fails");
}

void CheckPort(const std::string& narrow, const std::u16string& wide) {
  CheckRooms<char16_t>([&](char16_t* room, int size) {
    return platform::MultiByteToWideChar(platform::CP_UTF8, 0, narrow.data(), static_cast<int>(narrow.size()),
                                         room, size);
  });
  CheckRooms<char>([&](char* room, int size) {
    return platform::WideCharToMultiByte(platform::CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                         room, size, nullptr, nullptr);
  });
}

void CheckBase64(const std::string& text) {
  const auto bytes = simulated::FromBase64(text);
  fuzz::Outcome() = bytes ? std::to_string(bytes->size()) + " bytes" : "no base64";
  if (!bytes) return;
  for (const bool inLines : {false, true}) {
    fuzz::Expect(simulated::FromBase64(simulated::ToBase64(*bytes, inLines)) == bytes,
                 "Base64 survives writing and reading");
  }
}

void CheckExpansion(const std::u16string& text) {
  static simulated::Machine& machine = simulated::UseMachine(std::make_unique<simulated::Machine>());
  machine.environment.Set(u"A", u"%B%");
  const platform::DWORD needed = platform::ExpandEnvironmentStringsW(text.c_str(), nullptr, 0);
  std::u16string expanded(needed, u'x');
  fuzz::Expect(platform::ExpandEnvironmentStringsW(text.c_str(), expanded.data(), needed) == needed,
               "it has the returned length");
  fuzz::Expect(expanded.find(u'\0') == needed - 1, "its only NUL is the terminator");
  fuzz::Outcome() += ", " + simulated::ToUtf8(expanded.substr(0, needed - 1));
  const bool hasVariable = text.find(u'%') != text.npos;
  fuzz::Expect(hasVariable || expanded.c_str() == std::u16string(text.c_str()),
               "a text without % is unchanged");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string narrow(data, data + size);
  std::u16string wide(size / sizeof(char16_t), u'\0');
  if (!wide.empty()) std::memcpy(wide.data(), data, wide.size() * sizeof(char16_t));
  CheckNarrow(narrow);
  CheckWide(wide);
  if (!wide.empty()) CheckPort(narrow, wide);
  CheckBase64(narrow);
  CheckExpansion(simulated::FromUtf8(narrow));
  return 0;
}
