#include "simulated/RegFileText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "simulated/LineNumber.h"
#include "simulated/MachineError.h"

namespace simulated {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::array<char16_t, 32> kAnsi80To9F = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

bool StartsWith(Bytes bytes, std::string_view start) {
  return bytes.size() >= start.size() && std::memcmp(bytes.data(), start.data(), start.size()) == 0;
}

std::string_view AsChars(Bytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

void DecodeUtf16(Bytes bytes, const std::string& fileName, RegFileText& text) {
  if (bytes.size() % 2 != 0)
    throw MachineError(fileName + ":1: the UTF-16 file ends in half a character; export it again");
  const std::size_t chars = bytes.size() / 2;
  text.bytesPerChar = 2;
  // A large export is read where it lies. Its bytes are an array of unsigned char, which may hold UTF-16
  // units.
  const bool inPlace = std::endian::native == std::endian::little &&
                       reinterpret_cast<std::uintptr_t>(bytes.data()) % alignof(char16_t) == 0;
  if (inPlace) {
    text.view = {reinterpret_cast<const char16_t*>(bytes.data()), chars};
    return;
  }
  text.decoded.resize(chars);
  for (std::size_t i = 0; i < chars; ++i)
    text.decoded[i] = static_cast<char16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  text.view = text.decoded;
}

/** One character of two bytes or more. @return its bytes, or 0 where they are no UTF-8 */
std::size_t DecodeLongCharacter(std::string_view text, char32_t& character) {
  const auto lead = static_cast<std::uint8_t>(text[0]);
  const std::size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
  if (length == 0 || text.size() < length) return 0;
  character = static_cast<char32_t>(lead & (0x7F >> length));
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<std::uint8_t>(text[i]);
    if ((byte & 0xC0) != 0x80) return 0;
    character = character << 6 | (byte & 0x3F);
  }
  const bool overlong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
  const bool surrogate = character >= 0xD800 && character < 0xE000;
  return overlong || surrogate || character > 0x10FFFF ? 0 : length;
}

void AppendCharacter(char32_t character, std::u16string& wide) {
  if (character >= 0x10000) {
    wide.push_back(static_cast<char16_t>(0xD7C0 + (character >> 10)));
    character = 0xDC00 | (character & 0x3FF);
  }
  wide.push_back(static_cast<char16_t>(character));
}

/** Appends UTF-8 as UTF-16. @return how many of the bytes are valid and were appended */
std::size_t AppendUtf8(std::string_view text, std::u16string& wide) {
  std::size_t at = 0;
  while (at < text.size()) {
    if (static_cast<std::uint8_t>(text[at]) < 0x80) {
      wide.push_back(static_cast<char16_t>(text[at++]));
      continue;
    }
    char32_t character = 0;
    const std::size_t length = DecodeLongCharacter(text.substr(at), character);
    if (length == 0) return at;
    AppendCharacter(character, wide);
    at += length;
  }
  return at;
}

void DecodeUtf8(Bytes bytes, const std::string& fileName, RegFileText& text) {
  text.decoded.reserve(bytes.size());
  const std::size_t valid = AppendUtf8(AsChars(bytes), text.decoded);
  if (valid != bytes.size()) {
    const std::size_t line = LineBehind(bytes.first(valid));
    throw MachineError(fileName + ":" + std::to_string(line) +
                       ": not UTF-8; save the file as UTF-16 or UTF-8");
  }
  text.view = text.decoded;
}

void DecodeAnsi(Bytes bytes, RegFileText& text) {
  text.decoded.resize(bytes.size());
  std::transform(bytes.begin(), bytes.end(), text.decoded.begin(), WideFromAnsi);
  text.view = text.decoded;
}

}  // namespace

char16_t WideFromAnsi(std::uint8_t byte) {
  return byte >= 0x80 && byte < 0xA0 ? kAnsi80To9F[byte - 0x80u] : static_cast<char16_t>(byte);
}

void DecodeRegFile(Bytes bytes, const std::string& fileName, RegFileText& text) {
  if (StartsWith(bytes, "\xFE\xFF"))
    throw MachineError(fileName + ":1: big-endian UTF-16; save the file as little-endian UTF-16");
  if (StartsWith(bytes, "\xFF\xFE")) return DecodeUtf16(bytes.subspan(2), fileName, text);
  if (bytes.size() >= 2 && bytes[0] != 0 && bytes[1] == 0) return DecodeUtf16(bytes, fileName, text);
  if (StartsWith(bytes, "\xEF\xBB\xBF")) return DecodeUtf8(bytes.subspan(3), fileName, text);
  if (StartsWith(bytes, "REGEDIT4")) return DecodeAnsi(bytes, text);
  DecodeUtf8(bytes, fileName, text);
}

}  // namespace simulated
