/** The registry's upper case, by which it compares and sorts names. */
#pragma once

#include <string_view>

namespace simulated {

/** The same as UpperCase, for a unit from U+0080 on. */
char16_t UpperCaseBeyondAscii(char16_t unit);

/** One UTF-16 code unit upper-cased as the registry does it: by itself, whatever stands around it. */
inline char16_t UpperCase(char16_t unit) {
  if (unit >= 0x80) return UpperCaseBeyondAscii(unit);
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
}
/** Below, above or equal to 0: the registry's order of names, without regard to case. */
int CompareNames(std::u16string_view left, std::u16string_view right);
bool SameName(std::u16string_view left, std::u16string_view right);

}  // namespace simulated
