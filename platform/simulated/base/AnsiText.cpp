#include "simulated/base/AnsiText.h"

namespace simulated {
namespace {

/** The characters of the bytes from 0x80 to 0x9F; every other byte is the character of its number. */
constexpr std::u16string_view kFrom80To9F =
    u"\u20AC\u0081\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\u008D\u017D\u008F"
    u"\u0090\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A\u0153\u009D\u017E\u0178";

}  // namespace

char16_t WideFromAnsi(std::uint8_t byte) {
  return byte >= 0x80 && byte < 0xA0 ? kFrom80To9F[byte - 0x80u] : static_cast<char16_t>(byte);
}

std::string ToAnsi(std::u16string_view text) {
  std::string ansi;
  for (const char16_t unit : text) {
    const auto special = kFrom80To9F.find(unit);
    if (special != kFrom80To9F.npos)
      ansi += static_cast<char>(0x80 + special);
    else
      ansi += unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF) ? static_cast<char>(unit) : '?';
  }
  return ansi;
}

}  // namespace simulated
