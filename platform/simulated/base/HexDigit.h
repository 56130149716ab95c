/** Hexadecimal digits, in either case. */
#pragma once

namespace simulated {

/** The digit's number, or -1 for what is none. */
constexpr int HexDigit(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return unit - u'0';
  const int lower = unit | 0x20;
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace simulated
