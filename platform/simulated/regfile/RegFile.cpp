#include "simulated/regfile/RegFile.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "simulated/base/LineNumber.h"
#include "simulated/regfile/RegFileCursor.h"
#include "simulated/regfile/RegFileData.h"
#include "simulated/regfile/RegFileText.h"
#include "simulated/registry/Key.h"
#include "simulated/registry/KeyPath.h"

namespace simulated {
namespace {

using platform::DWORD;

/** Progress is reported once per so many characters, because a report may draw on a terminal. */
constexpr std::ptrdiff_t kProgressChars = 1 << 20;
/** Windows' limit. */
constexpr std::size_t kMaxValueNameChars = 16383;
constexpr std::u16string_view kTimeComment = u";LastWriteTime=";

struct Root {
  std::u16string_view name;
  /** Its level in the registry: HKEY_CURRENT_USER is below HKEY_USERS, HKEY_CLASSES_ROOT below Software. */
  std::size_t levels;
};
constexpr std::array<Root, 4> kRoots = {
    {{u"HKEY_LOCAL_MACHINE", 1}, {u"HKEY_CURRENT_USER", 2}, {u"HKEY_USERS", 1}, {u"HKEY_CLASSES_ROOT", 3}}};

/** Returns the predefined key of that name, or null. */
const Root* FindRoot(std::u16string_view name) {
  const auto* const root =
      std::ranges::find_if(kRoots, [&](const Root& predefined) { return SameName(predefined.name, name); });
  return root == kRoots.end() ? nullptr : root;
}

/** Receives omitted statements. */
class NullSink : public RegFileSink {
 public:
  void OpenKey(std::u16string_view, std::optional<std::uint64_t>) override {}
  void DeleteKey(std::u16string_view) override {}
  void SetValue(std::u16string_view, DWORD, std::span<const std::uint8_t>) override {}
  void DeleteValue(std::u16string_view) override {}
};

class Parser {
 public:
  Parser(const RegFileText& text, const std::string& fileName, RegFileSink& sink)
      : text_(text), fileName_(fileName), sink_(sink) {}

  void Run() {
    ReadHeader();
    for (cursor_.SkipBlankLines(); !cursor_.IsAtEnd(); cursor_.SkipBlankLines()) ReadStatement();
  }

 private:
  void ReadHeader();
  void ReadStatement();
  void ReadKey();
  void ReportProgress();
  std::u16string_view TakeBracket();
  std::u16string_view CheckedPath(std::u16string_view written, const char16_t* where);
  std::u16string_view WithoutEmptyParts(std::u16string_view written);
  bool IsAllowed(std::u16string_view path, const char16_t* where);
  std::optional<std::uint64_t> TakeTimeComment();
  void ReadValue();
  void LeaveOut(const char16_t* statement, const std::string& what);

  const RegFileText& text_;
  const std::string& fileName_;
  RegFileSink& sink_;
  NullSink nullSink_;
  /** Receives the values of the present key. */
  RegFileSink* keySink_ = &sink_;

  RegFileCursor cursor_{text_.view, fileName_};
  RegFileDataReader data_{cursor_};
  bool hasKey_ = false;
  std::ptrdiff_t nextProgressChars_ = 0;
  /** The last statement that was left out, and its line number. */
  const char16_t* leftOut_ = text_.view.data();
  std::size_t leftOutLine_ = 1;
  std::u16string pathRoom_;
  std::u16string nameRoom_;
};

void Parser::ReadHeader() {
  cursor_.SkipBlankLines();
  const char16_t* const start = cursor_.At();
  cursor_.SkipLine();
  std::u16string_view header(start, cursor_.At());
  while (!header.empty() && RegFileCursor::IsSpace(header.back())) header.remove_suffix(1);
  if (header == u"Windows Registry Editor Version 5.00") return;
  if (header == u"REGEDIT4") return data_.WidenText();
  if (header.starts_with(u"WINE REGISTRY"))
    cursor_.Fail(start, "Wine's own registry format; export the keys with regedit instead");
  cursor_.Fail(start, "no registration file; its first line must be Windows Registry Editor Version 5.00");
}

void Parser::ReadStatement() {
  switch (*cursor_.At()) {
    case u';':
      return cursor_.SkipLine();
    case u'[':
      return ReadKey();
    case u'"':
    case u'@':
      return ReadValue();
    default:
      cursor_.Fail(cursor_.At(),
                   "neither a [key], nor a \"value\"=, nor a ;comment; correct or remove the line");
  }
}

void Parser::ReadKey() {
  const char16_t* const start = cursor_.At();
  ReportProgress();
  std::u16string_view written = TakeBracket();
  const bool isDeleted = written.starts_with(u'-');
  if (isDeleted) written.remove_prefix(1);
  const std::u16string_view path = CheckedPath(written, start);
  hasKey_ = !isDeleted;
  if (isDeleted && path.find(u'\\') == path.npos)
    cursor_.Fail(start, "a predefined key cannot be deleted; remove the line");
  const auto lastWriteTime = isDeleted ? std::nullopt : TakeTimeComment();
  keySink_ = IsAllowed(path, start) ? &sink_ : &nullSink_;
  if (isDeleted)
    keySink_->DeleteKey(path);
  else
    keySink_->OpenKey(path, lastWriteTime);
}

void Parser::ReportProgress() {
  const std::ptrdiff_t doneChars = cursor_.At() - text_.view.data();
  if (doneChars < nextProgressChars_) return;
  sink_.Progress(static_cast<std::size_t>(static_cast<double>(doneChars) * text_.bytesPerChar));
  nextProgressChars_ = doneChars + kProgressChars;
}

/** Takes the text between the brackets. A key's name may contain a ], so the last one of the line ends it. */
std::u16string_view Parser::TakeBracket() {
  const char16_t* const start = cursor_.At();
  cursor_.SkipLine();
  const char16_t* close = cursor_.At();
  while (close != start && *(close - 1) != u']') --close;
  if (close == start) cursor_.Fail(start, "the key has no closing bracket; end it with ]");
  cursor_.GoTo(close);
  cursor_.EndStatement();
  return {start + 1, close - 1};
}

std::u16string_view Parser::CheckedPath(std::u16string_view written, const char16_t* where) {
  if (!FindRoot(written.substr(0, written.find(u'\\'))))
    cursor_.Fail(
        where, "the key begins with no predefined key; write it whole, such as HKEY_LOCAL_MACHINE\\Software");
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

/** Reports a path that Windows forbids. REQUIRES: the path begins with a predefined key. */
bool Parser::IsAllowed(std::u16string_view path, const char16_t* where) {
  std::size_t levels = FindRoot(TakeName(path))->levels;
  std::size_t longest = 0;
  for (auto name = TakeName(path); !name.empty(); name = TakeName(path), ++levels)
    longest = std::max(longest, name.size());
  if (longest > Key::kLongestName)
    LeaveOut(where, "the name of a key has " + std::to_string(longest) + " characters");
  else if (levels > Key::kDeepestLevel)
    LeaveOut(where, "the key is " + std::to_string(levels) + " levels deep");
  else
    return true;
  return false;
}

// Only in the line below the key. Anywhere else it is an ordinary comment.
std::optional<std::uint64_t> Parser::TakeTimeComment() {
  const char16_t* const lineEnd = cursor_.At();
  cursor_.Take(u'\r');
  if (!cursor_.Take(u'\n') || !cursor_.Take(kTimeComment)) {
    cursor_.GoTo(lineEnd);
    return {};
  }
  std::string digits;
  for (const char16_t digit : cursor_.TakeDigits()) digits.push_back(static_cast<char>(digit));
  std::uint64_t time = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), time);
  if (!cursor_.IsAtLineEnd() || result.ec != std::errc())
    cursor_.Fail(cursor_.At(), "the last write time is not a 64-bit decimal number; write a FILETIME");
  return time;
}

void Parser::ReadValue() {
  const char16_t* const start = cursor_.At();
  if (!hasKey_) cursor_.Fail(start, "a value outside any key; put a [key] line above it");
  const std::u16string_view name = cursor_.Take(u'@') ? std::u16string_view() : cursor_.TakeQuoted(nameRoom_);
  cursor_.SkipSpaces();
  cursor_.ExpectTextEnded(start, u'=');
  if (!cursor_.Take(u'=')) cursor_.Fail(cursor_.At(), "no = after the value's name; write \"name\"=");
  cursor_.SkipSpaces();
  const bool isTooLong = name.size() > kMaxValueNameChars;
  if (isTooLong && keySink_ != &nullSink_)
    LeaveOut(start, "the name of a value has " + std::to_string(name.size()) + " characters");
  data_.Read(name, isTooLong ? nullSink_ : *keySink_);
  cursor_.EndStatement();
}

void Parser::LeaveOut(const char16_t* statement, const std::string& what) {
  // A hostile file may have many of these, so counting continues at the last one.
  leftOutLine_ += LineBehind(std::span(leftOut_, statement)) - 1;
  leftOut_ = statement;
  sink_.LeaveOut(fileName_ + ":" + std::to_string(leftOutLine_) + ": " + what +
                 ", more than Windows allows; it is left out");
}

}  // namespace

void ParseRegFile(std::span<const std::uint8_t> bytes, const std::string& fileName, RegFileSink& sink) {
  RegFileText text;
  DecodeRegFile(bytes, fileName, text);
  Parser(text, fileName, sink).Run();
  sink.Progress(bytes.size());
}

}  // namespace simulated
