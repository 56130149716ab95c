/** Texts in bytes: how their characters are stored, and which bytes are hidden already. */
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace capture {

/** How the characters of a text are stored. */
struct View {
  std::size_t offset;  ///< of the first character, in bytes
  std::size_t step;    ///< bytes of a character: 1 or 2
  bool highFirst;
};

inline std::u16string ReadText(std::span<const std::uint8_t> bytes, View view) {
  std::u16string text;
  text.reserve(bytes.size() / view.step);
  for (std::size_t i = view.offset; i + view.step <= bytes.size(); i += view.step) {
    const unsigned first = bytes[i];
    const unsigned second = view.step == 2 ? bytes[i + 1] : 0;
    text += static_cast<char16_t>(view.highFirst ? first << 8 | second : second << 8 | first);
  }
  return text;
}

/** Bytes in which parts are hidden. A byte belongs to the first part that hides it. Borrows the bytes. */
class HiddenBytes {
 public:
  explicit HiddenBytes(std::span<std::uint8_t> bytes) : bytes_(bytes), isHidden_(bytes.size()) {}

  /** Whether all of these bytes are hidden. */
  bool HasAll(std::size_t begin, std::size_t count) const { return HiddenOf(begin, count) == count; }
  /** Whether any of these bytes is hidden. */
  bool HasAny(std::size_t begin, std::size_t count) const { return HiddenOf(begin, count) != 0; }

  /** Writes a stand-in over bytes that are not hidden yet. @param at  place of its first byte */
  void Write(std::size_t at, const std::u16string& standIn, View view) {
    for (const char16_t unit : standIn) {
      Put(at + (view.highFirst ? 1 : 0), static_cast<std::uint8_t>(unit));
      if (view.step == 2) Put(at + (view.highFirst ? 0 : 1), static_cast<std::uint8_t>(unit >> 8));
      at += view.step;
    }
  }

 private:
  std::size_t HiddenOf(std::size_t begin, std::size_t count) const {
    const auto first = isHidden_.begin() + static_cast<std::ptrdiff_t>(begin);
    return static_cast<std::size_t>(std::count(first, first + static_cast<std::ptrdiff_t>(count), true));
  }
  void Put(std::size_t at, std::uint8_t byte) {
    if (!isHidden_[at]) bytes_[at] = byte;
    isHidden_[at] = true;
  }

  std::span<std::uint8_t> bytes_;
  std::vector<bool> isHidden_;
};

}  // namespace capture
