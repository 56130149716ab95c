#include "simulated/regfile/RegFileCursor.h"

#include <span>

#include "simulated/base/LineNumber.h"
#include "simulated/base/MachineError.h"

namespace simulated {
namespace {

constexpr const char* kNoClosingQuote = "the text has no closing quote; end it with \"";

}  // namespace

void RegFileCursor::Fail(const char16_t* where, const std::string& what) const {
  throw MachineError(fileName_ + ":" + std::to_string(LineBehind(std::span(begin_, where))) + ": " + what);
}

void RegFileCursor::EndStatement() {
  if (IsAtLineEnd()) return;
  if (*at_ != u';') Fail(at_, "more follows where the line should end; remove it, or begin it with ;");
  SkipLine();
}

void RegFileCursor::ExpectTextEnded(const char16_t* start, char16_t wanted) const {
  const bool isExpected = at_ == end_ || *at_ == wanted || (wanted == u';' && IsLineEnd(*at_));
  if (!isExpected && std::any_of(start, at_, IsLineEnd)) Fail(start, kNoClosingQuote);
}

std::optional<std::uint32_t> RegFileCursor::TakeHexNumber() {
  const char16_t* const start = at_;
  std::uint32_t number = 0;
  for (int digit = HexDigit(); digit >= 0; digit = HexDigit()) {
    number = number << 4 | static_cast<std::uint32_t>(digit);
    ++at_;
  }
  if (at_ != start && at_ - start <= 8) return number;
  at_ = start;
  return std::nullopt;
}

// The fast path is for texts without escapes and line ends, which most texts are.
std::u16string_view RegFileCursor::TakeQuoted(std::u16string& room) {
  const char16_t* const start = at_++;
  const char16_t* const begin = at_;
  at_ = std::find_if(at_, end_, [](char16_t unit) { return unit == u'"' || unit == u'\\' || unit == u'\r'; });
  if (IsAt(u'"')) return {begin, at_++};
  Unescape(begin, room);
  if (!Take(u'"')) Fail(start, kNoClosingQuote);
  return room;
}

// Windows exports each line feed of a text as CRLF, and therefore a CRLF as CRCRLF.
void RegFileCursor::Unescape(const char16_t* begin, std::u16string& room) {
  room.assign(begin, at_);
  for (; at_ != end_ && *at_ != u'"'; ++at_) {
    if (*at_ == u'\r' && end_ - at_ > 1 && at_[1] == u'\n') ++at_;
    const bool isEscape = *at_ == u'\\';
    if (isEscape && ++at_ == end_) return;
    room.push_back(isEscape ? Escaped(*at_) : *at_);
  }
}

// Wine's editor escapes line ends and NULs in its exports. Windows' editor does not.
char16_t RegFileCursor::Escaped(char16_t unit) const {
  switch (unit) {
    case u'\\':
    case u'"':
      return unit;
    case u'n':
      return u'\n';
    case u'r':
      return u'\r';
    case u'0':
      return u'\0';
    default:
      Fail(at_, "a single \\ in quotes; write it as \\\\");
  }
}

}  // namespace simulated
