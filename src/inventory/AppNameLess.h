/** The order of a finished list. */
#pragma once

#include <algorithm>
#include <string_view>

namespace kestrelbay {

/** The C runtime's tolower in the "C" locale, which folds no letter outside ASCII. */
constexpr char16_t ToLowerAscii(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

/** Compares names by code unit, ASCII capitals as small letters. By design it is not the order of a language.
 */
inline bool AppNameLess(std::u16string_view left, std::u16string_view right) {
  return std::ranges::lexicographical_compare(left, right, {}, ToLowerAscii, ToLowerAscii);
}

}  // namespace kestrelbay
