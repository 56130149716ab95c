/** Hexadecimal digits, in either case. */
#pragma once

namespace simulated {

/** Returns the value of a digit, or -1 for any other character. */
constexpr int HexDigit(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  const int lower = unit | 0x20;
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace simulated
