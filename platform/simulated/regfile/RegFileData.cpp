#include "simulated/regfile/RegFileData.h"

#include <array>

#include "simulated/base/AnsiText.h"
#include "simulated/base/WindowsNumbers.h"

namespace simulated {

void RegFileDataReader::Read(std::u16string_view name, RegFileSink& sink) {
  if (cursor_.IsAt(u'"')) return ReadText(name, sink);
  if (cursor_.Take(u"dword:")) return ReadNumber(name, sink);
  if (cursor_.Take(u"hex")) return ReadHex(name, sink);
  if (cursor_.Take(u'-')) return sink.DeleteValue(name);
  cursor_.Fail(cursor_.At(), "unknown data; write \"text\", dword:, hex: or hex(type):");
}

void RegFileDataReader::ReadText(std::u16string_view name, RegFileSink& sink) {
  const char16_t* const start = cursor_.At();
  const std::u16string_view value = cursor_.TakeQuoted(text_);
  cursor_.SkipSpaces();
  cursor_.ExpectTextEnded(start, u';');
  if (value.data() != text_.data()) text_.assign(value);
  // The null terminator of the string is stored with it.
  const auto* const data = reinterpret_cast<const std::uint8_t*>(text_.c_str());
  sink.SetValue(name, platform::REG_SZ, {data, (text_.size() + 1) * sizeof(char16_t)});
}

void RegFileDataReader::ReadNumber(std::u16string_view name, RegFileSink& sink) {
  cursor_.SkipSpaces();
  const char16_t* const start = cursor_.At();
  const auto number = cursor_.TakeHexNumber();
  if (!number) cursor_.Fail(start, "a dword has one to eight hexadecimal digits; correct it");
  const std::array<std::uint8_t, 4> data = {
      static_cast<std::uint8_t>(*number), static_cast<std::uint8_t>(*number >> 8),
      static_cast<std::uint8_t>(*number >> 16), static_cast<std::uint8_t>(*number >> 24)};
  sink.SetValue(name, platform::REG_DWORD, data);
}

void RegFileDataReader::ReadHex(std::u16string_view name, RegFileSink& sink) {
  const platform::DWORD type = ReadHexType();
  ReadHexBytes();
  if (widensText_ && (type == platform::REG_SZ || type == platform::REG_EXPAND_SZ || type == kRegMultiSz))
    WidenBytes();
  sink.SetValue(name, type, bytes_);
}

platform::DWORD RegFileDataReader::ReadHexType() {
  const char16_t* const start = cursor_.At();
  std::optional<platform::DWORD> type = kRegBinary;
  if (cursor_.Take(u'(')) {
    type = cursor_.TakeHexNumber();
    if (!cursor_.Take(u')')) type.reset();
  }
  if (!type || !cursor_.Take(u':'))
    cursor_.Fail(start, "unknown data; write hex: or hex(type): with the type in hexadecimal");
  return *type;
}

void RegFileDataReader::ReadHexBytes() {
  bytes_.clear();
  while (true) {
    cursor_.SkipSpaces();
    if (cursor_.Take(u'\\')) {
      ContinueLine();
      continue;
    }
    const int high = cursor_.HexDigit();
    if (high < 0) return;
    cursor_.SkipUnit();
    const int low = cursor_.HexDigit();
    if (low >= 0) cursor_.SkipUnit();
    bytes_.push_back(static_cast<std::uint8_t>(low < 0 ? high : high << 4 | low));
    cursor_.SkipSpaces();
    if (!cursor_.Take(u',') && !cursor_.IsAt(u'\\')) return;
  }
}

// Windows allows empty lines and comments between the lines of one value.
void RegFileDataReader::ContinueLine() {
  const char16_t* const start = cursor_.At();
  cursor_.EndStatement();
  for (cursor_.SkipBlankLines(); cursor_.IsAt(u';'); cursor_.SkipBlankLines()) cursor_.SkipLine();
  if (cursor_.HexDigit() < 0) cursor_.Fail(start, "the value goes on after \\ but no bytes follow; add them");
}

void RegFileDataReader::WidenBytes() {
  std::vector<std::uint8_t> wide;
  wide.reserve(bytes_.size() * 2);
  for (const std::uint8_t byte : bytes_) {
    const char16_t unit = WideFromAnsi(byte);
    wide.push_back(static_cast<std::uint8_t>(unit));
    wide.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  bytes_.swap(wide);
}

}  // namespace simulated
