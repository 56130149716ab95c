#include "simulated/regfile/RegFileWriter.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <stdexcept>

#include "simulated/base/WindowsNumbers.h"

namespace simulated {
namespace {

using platform::DWORD;
using ByteSpan = std::span<const std::uint8_t>;

static_assert(std::endian::native == std::endian::little, "the text in memory is the file");

// Windows' editor breaks a line before the byte that, with its comma and a backslash, would pass this column.
constexpr std::size_t kLineChars = 77;

/** Whether the bytes are whole characters, with one NUL at the end, and without control characters, which
 * editors may change. */
bool IsPlainText(ByteSpan bytes, std::u16string& text) {
  if (bytes.size() < 2 || bytes.size() % 2 != 0) return false;
  text.resize(bytes.size() / 2);
  std::memcpy(text.data(), bytes.data(), bytes.size());
  if (text.back() != 0) return false;
  text.pop_back();
  return std::ranges::none_of(text, [](char16_t unit) { return unit < 0x20; });
}

std::u16string HexNumber(std::uint32_t number, std::size_t digits) {
  std::u16string text(digits, u'0');
  for (std::size_t i = digits; i-- > 0; number >>= 4) text[i] = u"0123456789abcdef"[number & 15];
  return text;
}

std::u16string HexType(DWORD type) {
  const std::u16string digits = HexNumber(type, 8);
  return digits.substr(std::min(digits.find_first_not_of(u'0'), digits.size() - 1));
}

std::u16string Decimal(std::uint64_t number) {
  const std::string digits = std::to_string(number);
  return {digits.begin(), digits.end()};
}

}  // namespace

RegFileWriter::RegFileWriter() : text_(u"\xFEFFWindows Registry Editor Version 5.00\r\n") {}

void RegFileWriter::OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) {
  AppendKey(u"[", path);
  if (lastWriteTime) AppendLine(u";LastWriteTime=" + Decimal(*lastWriteTime));
}

void RegFileWriter::DeleteKey(std::u16string_view path) { AppendKey(u"[-", path); }

void RegFileWriter::SetValue(std::u16string_view name, DWORD type, ByteSpan bytes) {
  AppendName(name);
  std::u16string text;
  if (type == platform::REG_SZ && IsPlainText(bytes, text)) {
    AppendQuoted(text);
  } else if (type == platform::REG_DWORD && bytes.size() == 4) {
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data(), sizeof number);
    text_ += u"dword:" + HexNumber(number, 8);
  } else {
    AppendHex(type, bytes);
  }
  AppendLine(u"");
}

void RegFileWriter::DeleteValue(std::u16string_view name) {
  AppendName(name);
  AppendLine(u"-");
}

ByteSpan RegFileWriter::Bytes() const {
  return {reinterpret_cast<const std::uint8_t*>(text_.data()), text_.size() * sizeof(char16_t)};
}

void RegFileWriter::AppendKey(std::u16string_view bracket, std::u16string_view path) {
  if (path.find_first_of(u"\r\n") != path.npos)
    throw std::length_error("a key's name holds a line end, which no registration file can express");
  AppendLine(u"");
  text_ += bracket;
  text_ += path;
  AppendLine(u"]");
}

void RegFileWriter::AppendLine(std::u16string_view line) {
  text_ += line;
  text_ += u"\r\n";
}

void RegFileWriter::AppendName(std::u16string_view name) {
  if (name.empty())
    text_ += u'@';
  else
    AppendQuoted(name);
  text_ += u'=';
}

void RegFileWriter::AppendQuoted(std::u16string_view text) {
  text_ += u'"';
  for (const char16_t unit : text) {
    const bool isLineEnd = unit == u'\n' || unit == u'\r';
    if (unit == u'"' || unit == u'\\' || isLineEnd) text_ += u'\\';
    text_ += !isLineEnd ? unit : unit == u'\n' ? u'n' : u'r';
  }
  text_ += u'"';
}

void RegFileWriter::AppendHex(DWORD type, ByteSpan bytes) {
  const std::size_t lineStart = text_.rfind(u'\n') + 1;
  text_ += type == kRegBinary ? u"hex" : u"hex(" + HexType(type) + u")";
  text_ += u':';
  std::size_t column = text_.size() - lineStart;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i != 0) text_ += u',';
    if (i != 0 && (column += 3) > kLineChars) {
      text_ += u"\\\r\n  ";
      column = 2;
    }
    text_ += HexNumber(bytes[i], 2);
  }
}

}  // namespace simulated
