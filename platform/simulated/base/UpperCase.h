/** The registry's upper case, by which it compares and sorts names. */
#pragma once

#include <string_view>

namespace simulated {

/** UpperCase for units from U+0080 on. */
char16_t UpperCaseBeyondAscii(char16_t unit);

/** Upper-cases one UTF-16 code unit as the registry does: without regard to the units around it. */
inline char16_t UpperCase(char16_t unit) {
  if (unit >= 0x80) return UpperCaseBeyondAscii(unit);
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
}

/** Compares names in the registry's order, without regard to case. @return below 0, 0, or above 0 */
int CompareNames(std::u16string_view left, std::u16string_view right);
bool SameName(std::u16string_view left, std::u16string_view right);

/** The order of names in containers. */
struct NameLess {
  using is_transparent = void;
  bool operator()(std::u16string_view left, std::u16string_view right) const {
    return CompareNames(left, right) < 0;
  }
};

}  // namespace simulated
