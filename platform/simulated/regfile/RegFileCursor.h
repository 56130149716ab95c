/** A place in the text of a registration file, and how those who read it move on from there. */
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "simulated/base/HexDigit.h"

namespace simulated {

/** Takes move on over what they answer; where they answer nothing, the place is as before. */
class RegFileCursor {
 public:
  /** Both stay the caller's. @param fileName  stands before the line number in what an error says */
  RegFileCursor(std::u16string_view text, const std::string& fileName)
      : begin_(text.data()), at_(begin_), end_(begin_ + text.size()), fileName_(fileName) {}

  static constexpr bool IsLineEnd(char16_t unit) { return unit == u'\n' || unit == u'\r'; }
  static constexpr bool IsSpace(char16_t unit) { return unit == u' ' || unit == u'\t'; }
  static constexpr bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

  const char16_t* At() const { return at_; }
  bool IsAtEnd() const { return at_ == end_; }
  bool IsAt(char16_t unit) const { return at_ != end_ && *at_ == unit; }
  /** The number of the hexadecimal digit here, or -1 where there is none. */
  int HexDigit() const { return at_ == end_ ? -1 : simulated::HexDigit(*at_); }

  void GoTo(const char16_t* where) { at_ = where; }
  void SkipUnit() { ++at_; }
  void SkipSpaces() { at_ = std::find_if_not(at_, end_, IsSpace); }
  void SkipLine() { at_ = std::find_if(at_, end_, IsLineEnd); }
  void SkipBlankLines() {
    at_ = std::find_if_not(at_, end_, [](char16_t unit) { return IsSpace(unit) || IsLineEnd(unit); });
  }
  bool Take(char16_t unit) {
    if (!IsAt(unit)) return false;
    ++at_;
    return true;
  }
  bool Take(std::u16string_view word) {
    if (!std::u16string_view(at_, end_).starts_with(word)) return false;
    at_ += word.size();
    return true;
  }
  std::u16string_view TakeDigits() {
    const char16_t* const begin = at_;
    at_ = std::find_if_not(at_, end_, IsDigit);
    return {begin, at_};
  }
  /** As many hexadecimal digits as there are: a number where these are one to eight. */
  std::optional<std::uint32_t> TakeHexNumber();
  /**
   * A text in quotes, which goes on over line ends. The first quote is here.
   * @param room  holds a text with escapes; any other is handed on where it lies
   * @throws MachineError where it does not end
   */
  std::u16string_view TakeQuoted(std::u16string& room);

  /** Nothing but blanks is left of the line; they are skipped. */
  bool IsAtLineEnd() {
    SkipSpaces();
    return at_ == end_ || IsLineEnd(*at_);
  }
  /** Skips what is left of the line. @throws MachineError where that is more than a comment */
  void EndStatement();
  /**
   * Where something else than `wanted` follows a text in quotes that goes over a line end, it is the text
   * that was not ended, and its quote was another text's.
   */
  void ExpectTextEnded(const char16_t* start, char16_t wanted) const;

  /** @throws MachineError "file:line: what" */
  [[noreturn]] void Fail(const char16_t* where, const std::string& what) const;

 private:
  void Unescape(const char16_t* begin, std::u16string& room);
  char16_t Escaped(char16_t unit) const;

  const char16_t* const begin_;
  const char16_t* at_;
  const char16_t* const end_;
  const std::string& fileName_;
};

}  // namespace simulated
