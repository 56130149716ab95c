#include "simulated/regfile/RegFileText.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "simulated/base/AnsiText.h"
#include "simulated/base/LineNumber.h"
#include "simulated/base/MachineError.h"
#include "simulated/base/WideText.h"

namespace simulated {
namespace {

using Bytes = std::span<const std::uint8_t>;

bool StartsWith(Bytes bytes, std::string_view start) {
  return bytes.size() >= start.size() && std::memcmp(bytes.data(), start.data(), start.size()) == 0;
}

std::string_view AsChars(Bytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

void DecodeUtf16(Bytes bytes, const std::string& fileName, RegFileText& text) {
  if (bytes.size() % 2 != 0)
    throw MachineError(fileName + ":1: the UTF-16 file ends in half a character; export it again");
  const std::size_t chars = bytes.size() / 2;
  text.bytesPerChar = 2;
  // A large export is not copied. Its bytes are an array of unsigned char, which may contain UTF-16 units.
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

void DecodeUtf8(Bytes bytes, const std::string& fileName, RegFileText& text) {
  const std::size_t valid = FromValidUtf8(AsChars(bytes), text.decoded);
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
