/** A position in the text of a registration file, and the steps of its readers. */
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "simulated/base/HexDigit.h"

namespace simulated {

/** A Take function moves behind what it returns. If it returns nothing, it does not move. */
class RegFileCursor {
 public:
  /** @param text      borrowed
   *  @param fileName  borrowed; for error messages */
  RegFileCursor(std::u16string_view text, const std::string& fileName)
      : begin_(text.data()), at_(begin_), end_(begin_ + text.size()), fileName_(fileName) {}

  static constexpr bool IsLineEnd(char16_t unit) { return unit == u'\n' || unit == u'\r'; }
  static constexpr bool IsSpace(char16_t unit) { return unit == u' ' || unit == u'\t'; }
  static constexpr bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

  const char16_t* At() const { return at_; }
  bool IsAtEnd() const { return at_ == end_; }
  bool IsAt(char16_t unit) const { return at_ != end_ && *at_ == unit; }
  /** Returns the value of the hexadecimal digit here, or -1 if there is none. */
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
  /** Takes all hexadecimal digits here. @return nothing unless there are one to eight of them */
  std::optional<std::uint32_t> TakeHexNumber();
  /**
   * Takes a text in quotes, which may contain line ends. REQUIRES: the first quote is here.
   * @param room  stores the result if the text has escapes. Otherwise the result points into the file's text.
   * @throws MachineError if the closing quote is missing
   */
  std::u16string_view TakeQuoted(std::u16string& room);

  /** Skips blanks. @return whether the line ends here */
  bool IsAtLineEnd() {
    SkipSpaces();
    return at_ == end_ || IsLineEnd(*at_);
  }
  /** Skips the rest of the line. @throws MachineError if that is more than a comment */
  void EndStatement();
  /**
   * Detects a missing closing quote. If a text in quotes contains a line end, and `wanted` does not follow
   * it, then the quote that ended it was the opening quote of another text.
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
