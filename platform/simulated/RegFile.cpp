#include "simulated/RegFile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

#include "simulated/KeyPath.h"
#include "simulated/LineNumber.h"
#include "simulated/RegFileText.h"

namespace simulated {
namespace {

using platform::DWORD;

constexpr std::size_t kProgressChars = 1 << 20;
constexpr DWORD kRegSz = 1, kRegExpandSz = 2, kRegBinary = 3, kRegDword = 4, kRegMultiSz = 7;
constexpr const char* kNoClosingQuote = "the text has no closing quote; end it with \"";
constexpr std::u16string_view kTimeComment = u";LastWriteTime=";

struct Root {
  std::u16string_view name;
  /** How many levels it stands for: the user's hive lies below HKEY_USERS, classes below Software. */
  std::size_t levels;
};
constexpr std::array<Root, 4> kRoots = {
    {{u"HKEY_LOCAL_MACHINE", 1}, {u"HKEY_CURRENT_USER", 2}, {u"HKEY_USERS", 1}, {u"HKEY_CLASSES_ROOT", 3}}};

constexpr bool IsLineEnd(char16_t unit) { return unit == u'\n' || unit == u'\r'; }
constexpr bool IsSpace(char16_t unit) { return unit == u' ' || unit == u'\t'; }
constexpr bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

/** A hexadecimal digit's number, or -1. */
constexpr int HexDigit(char16_t unit) {
  if (IsDigit(unit)) return unit - u'0';
  const int lower = unit | 0x20;
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/** Takes what is left out. */
class Nowhere : public RegFileSink {
 public:
  void OpenKey(std::u16string_view, std::optional<std::uint64_t>) override {}
  void DeleteKey(std::u16string_view) override {}
  void SetValue(std::u16string_view, DWORD, std::span<const std::uint8_t>) override {}
  void DeleteValue(std::u16string_view) override {}
};

class Parser {
 public:
  Parser(const RegFileText& text, const std::string& fileName, RegFileSink& sink)
      : begin_(text.view.data()),
        at_(begin_),
        end_(begin_ + text.view.size()),
        bytesPerChar_(text.bytesPerChar),
        fileName_(fileName),
        sink_(sink) {}

  void Run() {
    ReadHeader();
    for (SkipBlankLines(); at_ != end_; SkipBlankLines()) ReadStatement();
  }

 private:
  [[noreturn]] void Fail(const char16_t* where, const std::string& what) const {
    throw MachineError(fileName_ + ":" + std::to_string(LineBehind(std::span(begin_, where))) + ": " + what);
  }
  void LeaveOut(const char16_t* statement, const std::string& what) {
    // There may be many, so that lines are counted on from the last one.
    leftOutLine_ += LineBehind(std::span(leftOut_, statement)) - 1;
    leftOut_ = statement;
    sink_.LeaveOut(fileName_ + ":" + std::to_string(leftOutLine_) + ": " + what +
                   ", more than Windows allows; it is left out");
  }

  // Moving over what has no meaning.
  void SkipSpaces() { at_ = std::find_if_not(at_, end_, IsSpace); }
  void SkipLine() { at_ = std::find_if(at_, end_, IsLineEnd); }
  void SkipBlankLines() {
    at_ = std::find_if_not(at_, end_, [](char16_t unit) { return IsSpace(unit) || IsLineEnd(unit); });
  }
  bool Take(char16_t unit) {
    if (at_ == end_ || *at_ != unit) return false;
    ++at_;
    return true;
  }
  bool Take(std::u16string_view word) {
    if (!std::u16string_view(at_, end_).starts_with(word)) return false;
    at_ += word.size();
    return true;
  }
  bool IsAtLineEnd() {
    SkipSpaces();
    return at_ == end_ || IsLineEnd(*at_);
  }
  void EndStatement() {
    if (IsAtLineEnd()) return;
    if (*at_ != u';') Fail(at_, "more follows where the line should end; remove it, or begin it with ;");
    SkipLine();
  }
  /**
   * Where something else than `wanted` follows a text in quotes that goes over a line end, it is the text
   * that was not ended, and its quote was another text's.
   */
  void ExpectTextEnded(const char16_t* start, char16_t wanted) const {
    const bool isExpected = at_ == end_ || *at_ == wanted || (wanted == u';' && IsLineEnd(*at_));
    if (!isExpected && std::any_of(start, at_, IsLineEnd)) Fail(start, kNoClosingQuote);
  }

  void ReadHeader();
  void ReadStatement();
  void ReadKey();
  bool IsPossible(std::u16string_view path, const char16_t* where);
  std::u16string_view CheckedPath(std::u16string_view written, const char16_t* where);
  std::u16string_view WithoutEmptyParts(std::u16string_view written);
  std::optional<std::uint64_t> TakeTimeComment();
  void ReadValue();
  void ReadData(std::u16string_view name);
  void ReadText(std::u16string_view name);
  void ReadNumber(std::u16string_view name);
  void ReadHex(std::u16string_view name);
  DWORD ReadHexType();
  void ReadHexBytes();
  void ContinueLine();
  void WidenBytes();
  std::u16string_view ReadQuoted(std::u16string& room);
  void Unescape(const char16_t* begin, std::u16string& room);
  char16_t Escaped(char16_t unit) const;

  const char16_t* const begin_;
  const char16_t* at_;
  const char16_t* const end_;
  const double bytesPerChar_;
  const std::string& fileName_;
  RegFileSink& sink_;
  Nowhere nowhere_;
  /** Takes the values of the key: the sink, or nobody. */
  RegFileSink* keySink_ = &sink_;

  bool isAnsi_ = false;
  bool hasKey_ = false;
  const char16_t* nextProgress_ = begin_;
  /** The last statement that was left out, and the number of its line. */
  const char16_t* leftOut_ = begin_;
  std::size_t leftOutLine_ = 1;
  std::u16string pathRoom_;
  std::u16string nameRoom_;
  std::u16string textRoom_;
  std::vector<std::uint8_t> bytes_;
};

void Parser::ReadHeader() {
  SkipBlankLines();
  const char16_t* const start = at_;
  SkipLine();
  std::u16string_view header(start, at_);
  while (!header.empty() && IsSpace(header.back())) header.remove_suffix(1);
  isAnsi_ = header == u"REGEDIT4";
  if (isAnsi_ || header == u"Windows Registry Editor Version 5.00") return;
  if (header.starts_with(u"WINE REGISTRY"))
    Fail(start, "Wine's own registry format; export the keys with regedit instead");
  Fail(start, "no registration file; its first line must be Windows Registry Editor Version 5.00");
}

void Parser::ReadStatement() {
  switch (*at_) {
    case u';':
      return SkipLine();
    case u'[':
      return ReadKey();
    case u'"':
    case u'@':
      return ReadValue();
    default:
      Fail(at_, "neither a [key], nor a \"value\"=, nor a ;comment; correct or remove the line");
  }
}

// A key's name may hold a ], so the line's last one ends it.
void Parser::ReadKey() {
  const char16_t* const start = at_;
  if (start >= nextProgress_) {
    sink_.Progress(static_cast<std::size_t>(static_cast<double>(start - begin_) * bytesPerChar_));
    nextProgress_ = start + std::min<std::ptrdiff_t>(end_ - start, kProgressChars);
  }
  SkipLine();
  const char16_t* close = at_;
  while (close != start && *(close - 1) != u']') --close;
  if (close == start) Fail(start, "the key has no closing bracket; end it with ]");
  at_ = close;
  EndStatement();
  const bool isDeleted = start[1] == u'-';
  const std::u16string_view path = CheckedPath({start + (isDeleted ? 2 : 1), close - 1}, start);
  hasKey_ = !isDeleted;
  if (isDeleted && path.find(u'\\') == path.npos)
    Fail(start, "a predefined key cannot be deleted; remove the line");
  const auto lastWriteTime = isDeleted ? std::nullopt : TakeTimeComment();
  keySink_ = IsPossible(path, start) ? &sink_ : &nowhere_;
  if (isDeleted)
    keySink_->DeleteKey(path);
  else
    keySink_->OpenKey(path, lastWriteTime);
}

/** Told of where not. The path's root is a predefined key. */
bool Parser::IsPossible(std::u16string_view path, const char16_t* where) {
  const std::u16string_view rootName = TakeName(path);
  std::size_t levels =
      std::ranges::find_if(kRoots, [&](const Root& root) { return SameName(root.name, rootName); })->levels;
  std::size_t longest = 0;
  for (auto name = TakeName(path); !name.empty(); name = TakeName(path), ++levels)
    longest = std::max(longest, name.size());
  if (longest > Key::kLongestName)
    LeaveOut(where, "the name of a key has " + std::to_string(longest) + " characters");
  else if (levels > Key::kDeepestLevel)
    LeaveOut(where, "the key stands " + std::to_string(levels) + " levels deep");
  else
    return true;
  return false;
}

std::u16string_view Parser::CheckedPath(std::u16string_view written, const char16_t* where) {
  const std::u16string_view root = written.substr(0, written.find(u'\\'));
  const auto isRoot = [&](const Root& predefined) { return SameName(predefined.name, root); };
  if (std::ranges::none_of(kRoots, isRoot))
    Fail(where,
         "the key begins with no predefined key; write it whole, such as HKEY_LOCAL_MACHINE\\Software");
  return WithoutEmptyParts(written);
}

std::u16string_view Parser::WithoutEmptyParts(std::u16string_view written) {
  while (written.ends_with(u'\\')) written.remove_suffix(1);
  if (written.find(u"\\\\") == written.npos) return written;
  const auto bothSeparators = [](char16_t left, char16_t right) { return left == u'\\' && right == u'\\'; };
  pathRoom_.clear();
  std::unique_copy(written.begin(), written.end(), std::back_inserter(pathRoom_), bothSeparators);
  return pathRoom_;
}

// Only right below the key's line; anywhere else it is a comment like any other.
std::optional<std::uint64_t> Parser::TakeTimeComment() {
  const char16_t* const lineEnd = at_;
  Take(u'\r');
  if (!Take(u'\n') || !Take(kTimeComment)) {
    at_ = lineEnd;
    return {};
  }
  std::string digits;
  while (at_ != end_ && IsDigit(*at_)) digits.push_back(static_cast<char>(*at_++));
  std::uint64_t time = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), time);
  SkipSpaces();
  if (result.ec != std::errc() || (at_ != end_ && !IsLineEnd(*at_)))
    Fail(at_, "the last write time is no 64-bit decimal number; write a FILETIME");
  return time;
}

void Parser::ReadValue() {
  const char16_t* const start = at_;
  if (!hasKey_) Fail(start, "a value outside any key; put a [key] line above it");
  const std::u16string_view name = Take(u'@') ? std::u16string_view() : ReadQuoted(nameRoom_);
  SkipSpaces();
  ExpectTextEnded(start, u'=');
  if (!Take(u'=')) Fail(at_, "no = after the value's name; write \"name\"=");
  SkipSpaces();
  RegFileSink* const keySink = keySink_;
  if (name.size() > kMaxValueNameChars && keySink != &nowhere_) {
    LeaveOut(start, "the name of a value has " + std::to_string(name.size()) + " characters");
    keySink_ = &nowhere_;
  }
  ReadData(name);
  keySink_ = keySink;
  EndStatement();
}

void Parser::ReadData(std::u16string_view name) {
  if (at_ != end_ && *at_ == u'"') return ReadText(name);
  if (Take(u"dword:")) return ReadNumber(name);
  if (Take(u"hex")) return ReadHex(name);
  if (Take(u'-')) return keySink_->DeleteValue(name);
  Fail(at_, "unknown data; write \"text\", dword:, hex: or hex(type):");
}

void Parser::ReadText(std::u16string_view name) {
  const char16_t* const start = at_;
  const std::u16string_view value = ReadQuoted(textRoom_);
  SkipSpaces();
  ExpectTextEnded(start, u';');
  if (value.data() != textRoom_.data()) textRoom_.assign(value);
  // The string's own final NUL is the stored one.
  const auto* const data = reinterpret_cast<const std::uint8_t*>(textRoom_.c_str());
  keySink_->SetValue(name, kRegSz, {data, (textRoom_.size() + 1) * sizeof(char16_t)});
}

void Parser::ReadNumber(std::u16string_view name) {
  SkipSpaces();
  std::uint32_t number = 0;
  const char16_t* const start = at_;
  for (; at_ != end_ && HexDigit(*at_) >= 0; ++at_)
    number = number << 4 | static_cast<std::uint32_t>(HexDigit(*at_));
  if (at_ == start || at_ - start > 8) Fail(start, "a dword has one to eight hexadecimal digits; correct it");
  const std::array<std::uint8_t, 4> data = {
      static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
      static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)};
  keySink_->SetValue(name, kRegDword, data);
}

void Parser::ReadHex(std::u16string_view name) {
  const DWORD type = ReadHexType();
  ReadHexBytes();
  if (isAnsi_ && (type == kRegSz || type == kRegExpandSz || type == kRegMultiSz)) WidenBytes();
  keySink_->SetValue(name, type, bytes_);
}

DWORD Parser::ReadHexType() {
  const char16_t* const start = at_;
  DWORD type = kRegBinary;
  bool isValid = true;
  if (Take(u'(')) {
    const char16_t* const digits = at_;
    for (type = 0; at_ != end_ && HexDigit(*at_) >= 0; ++at_)
      type = type << 4 | static_cast<DWORD>(HexDigit(*at_));
    isValid = at_ != digits && at_ - digits <= 8 && Take(u')');
  }
  if (!isValid || !Take(u':'))
    Fail(start, "unknown data; write hex: or hex(type): with the type in hexadecimal");
  return type;
}

void Parser::ReadHexBytes() {
  bytes_.clear();
  while (true) {
    SkipSpaces();
    if (Take(u'\\')) {
      ContinueLine();
      continue;
    }
    const int high = at_ == end_ ? -1 : HexDigit(*at_);
    if (high < 0) return;
    const int low = ++at_ == end_ ? -1 : HexDigit(*at_);
    if (low >= 0) ++at_;
    bytes_.push_back(static_cast<std::uint8_t>(low < 0 ? high : high << 4 | low));
    SkipSpaces();
    if (!Take(u',') && (at_ == end_ || *at_ != u'\\')) return;
  }
}

// Windows takes empty lines and comments between the lines of one value.
void Parser::ContinueLine() {
  const char16_t* const start = at_;
  EndStatement();
  for (SkipBlankLines(); at_ != end_ && *at_ == u';'; SkipBlankLines()) SkipLine();
  if (at_ == end_ || HexDigit(*at_) < 0)
    Fail(start, "the value goes on after \\ but no bytes follow; add them");
}

void Parser::WidenBytes() {
  std::vector<std::uint8_t> wide;
  wide.reserve(bytes_.size() * 2);
  for (const std::uint8_t byte : bytes_) {
    const char16_t unit = WideFromAnsi(byte);
    wide.push_back(static_cast<std::uint8_t>(unit));
    wide.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  bytes_.swap(wide);
}

// Text goes on over line ends. Most has none and no escape, and is handed on where it lies.
std::u16string_view Parser::ReadQuoted(std::u16string& room) {
  const char16_t* const start = at_++;
  const char16_t* const begin = at_;
  at_ = std::find_if(at_, end_, [](char16_t unit) { return unit == u'"' || unit == u'\\' || unit == u'\r'; });
  if (at_ != end_ && *at_ == u'"') return {begin, at_++};
  Unescape(begin, room);
  if (!Take(u'"')) Fail(start, kNoClosingQuote);
  return room;
}

// Windows writes each line feed of a text as CRLF, and so the CRLF of a text as CRCRLF.
void Parser::Unescape(const char16_t* begin, std::u16string& room) {
  room.assign(begin, at_);
  for (; at_ != end_ && *at_ != u'"'; ++at_) {
    if (*at_ == u'\r' && end_ - at_ > 1 && at_[1] == u'\n') ++at_;
    const bool isEscape = *at_ == u'\\';
    if (isEscape && ++at_ == end_) return;
    room.push_back(isEscape ? Escaped(*at_) : *at_);
  }
}

// Line ends and NULs have escapes in what Wine's editor exports.
char16_t Parser::Escaped(char16_t unit) const {
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

}  // namespace

void ParseRegFile(std::span<const std::uint8_t> bytes, const std::string& fileName, RegFileSink& sink) {
  RegFileText text;
  DecodeRegFile(bytes, fileName, text);
  Parser(text, fileName, sink).Run();
  sink.Progress(bytes.size());
}

void RegistryMerger::OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) {
  key_ = &registry_.CreateKey(path);
  if (lastWriteTime) key_->lastWriteTime = *lastWriteTime;
}

void RegistryMerger::DeleteKey(std::u16string_view path) {
  registry_.RemoveKey(path);
  key_ = nullptr;
}

void RegistryMerger::SetValue(std::u16string_view name, platform::DWORD type,
                              std::span<const std::uint8_t> bytes) {
  key_->SetValue(name, type, bytes);
}

void RegistryMerger::DeleteValue(std::u16string_view name) { key_->RemoveValue(name); }

}  // namespace simulated
