#include "Redaction.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "Surroundings.h"
#include "Text.h"

namespace capture {
namespace {

/** Names of fewer characters are sought as words of their own alone: they stand in too many other words. */
constexpr std::size_t kTellingChars = 4;
/** What is longer is no name of a folder. */
constexpr std::size_t kLongestName = 128;
constexpr std::size_t kLongestPath = 1024;
/** Words this short tell nothing. */
constexpr std::size_t kShortWord = 2;

/** Names that many people's machines have: sought as words of their own alone, as they stand in others. */
constexpr std::u16string_view kCommonNames[] = {u"ADMIN", u"ADMINISTRATOR", u"GUEST", u"HOME",   u"OWNER",
                                                u"ROOT",  u"TEST",          u"USER",  u"OFFICE", u"WORK"};
/** Windows' own words; a user of that name cannot be told from them. */
constexpr std::u16string_view kOwnNames[] = {
    u"ALL USERS", u"CLASSES",       u"DEFAULT",        u"DEFAULT USER", u"INSTALLER", u"LOCALSERVICE",
    u"MICROSOFT", u"PRODUCTS",      u"NETWORKSERVICE", u"PUBLIC",       u"SOFTWARE",  u"SYSTEM",
    u"SYSTEM32",  u"SYSTEMPROFILE", u"UNINSTALL",      u"USERS",        u"WINDOWS",   u"WORKGROUP"};
/** What every user's folder holds. */
constexpr std::u16string_view kCommonFolders[] = {
    u"APPDATA", u"LOCAL", u"LOCALLOW", u"ROAMING", u"PROGRAMS", u"PROGRAM",   u"FILES",     u"TEMP",
    u"DESKTOP", u"START", u"MENU",     u"CACHE",   u"PACKAGE",  u"DOCUMENTS", u"DOWNLOADS", u"MICROSOFT"};

template <typename List>
bool IsIn(const List& list, std::u16string_view word) {
  return std::ranges::find(list, word) != std::end(list);
}

bool IsFigure(char16_t unit) { return unit >= u'0' && unit <= u'9'; }
bool IsSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }
bool IsWord(char16_t unit) {
  const int lower = unit | 0x20;
  return unit >= 0x80 || IsFigure(unit) || (lower >= 'a' && lower <= 'z');
}
bool EndsPath(char16_t unit) {
  return unit < 0x20 || std::u16string_view(u"\"<>|*?;%").find(unit) != std::u16string_view::npos;
}

/** Whether another path begins there, such as the second of two on a command line. */
bool IsDriveAt(std::u16string_view text, std::size_t at) {
  return at + 2 < text.size() && text[at] < 0x80 && IsWord(text[at]) && text[at + 1] == u':' &&
         IsSeparator(text[at + 2]) && (at == 0 || !IsWord(text[at - 1]));
}

bool StartsWith(std::u16string_view text, std::size_t at, std::u16string_view upper) {
  if (text.size() - at < upper.size()) return false;
  for (std::size_t i = 0; i < upper.size(); ++i) {
    if (Folded(text[at + i]) != upper[i]) return false;
  }
  return true;
}

/** The same where any row of separators stands for one. @return how much of `text` it takes; 0 where not */
std::size_t PathAt(std::u16string_view text, std::size_t at, std::u16string_view upper) {
  const std::size_t start = at;
  for (const char16_t unit : upper) {
    if (at == text.size()) return 0;
    if (IsSeparator(unit) != IsSeparator(text[at])) return 0;
    if (!IsSeparator(unit) && Folded(text[at]) != unit) return 0;
    ++at;
    while (IsSeparator(unit) && at < text.size() && IsSeparator(text[at])) ++at;
  }
  return at == text.size() || IsSeparator(text[at]) || EndsPath(text[at]) ? at - start : 0;
}

/** The next unit of a text whose units are the bytes of UTF-8, or its next unit as it is. */
char16_t TakeUnit(std::u16string_view text, std::size_t& at) {
  const char16_t first = text[at++];
  const std::size_t more = first >= 0xF0 || first < 0xC2 ? 0 : first >= 0xE0 ? 2 : 1;
  if (more == 0 || first > 0xFF || text.size() - at < more) return first;
  unsigned unit = more == 2 ? first & 0x0F : first & 0x1F;
  for (std::size_t i = 0; i < more; ++i) {
    if (text[at + i] < 0x80 || text[at + i] > 0xBF) return first;
    unit = unit << 6 | (text[at + i] & 0x3F);
  }
  at += more;
  return static_cast<char16_t>(unit);
}

/** How much of the text the name takes there, as it stands or as UTF-8; 0 where it is another. */
std::size_t SizeAt(std::u16string_view text, std::size_t at, const std::u16string& name) {
  if (StartsWith(text, at, name)) return name.size();
  std::size_t end = at;
  for (const char16_t unit : name) {
    if (end >= text.size() || Folded(TakeUnit(text, end)) != unit) return 0;
  }
  return end - at;
}

std::size_t SkipFigures(std::u16string_view text, std::size_t at) {
  while (at < text.size() && IsFigure(text[at])) ++at;
  return at;
}

/** How one character of the text stands in the bytes. */
struct View {
  std::size_t offset;
  std::size_t step;
  bool highFirst;
};
constexpr std::array<View, 4> kWideViews{{{0, 2, false}, {1, 2, false}, {0, 2, true}, {1, 2, true}}};

constexpr View kNarrowView{0, 1, false};

std::u16string Read(std::span<const std::uint8_t> bytes, View view) {
  std::u16string text;
  text.reserve(bytes.size() / view.step);
  for (std::size_t i = view.offset; i + view.step <= bytes.size(); i += view.step) {
    const unsigned first = bytes[i];
    const unsigned second = view.step == 2 ? bytes[i + 1] : 0;
    text += static_cast<char16_t>(view.highFirst ? first << 8 | second : second << 8 | first);
  }
  return text;
}

void Write(const std::u16string& text, std::span<std::uint8_t> bytes, View view) {
  for (std::size_t i = view.offset, unit = 0; unit < text.size(); i += view.step, ++unit) {
    bytes[i + (view.highFirst ? 1 : 0)] = static_cast<std::uint8_t>(text[unit]);
    if (view.step == 2) bytes[i + (view.highFirst ? 0 : 1)] = static_cast<std::uint8_t>(text[unit] >> 8);
  }
}

/** REG_SZ and its like; all others may be anything. */
bool IsText(const CapturedValue& value) { return value.type == 1 || value.type == 2 || value.type == 7; }

std::u16string Widened(std::string_view bytes) {
  std::u16string text;
  for (const char byte : bytes) text += static_cast<unsigned char>(byte);
  return text;
}

/** Numbers as a SID's bytes have them. */
std::string BytesOfNumbers(std::u16string_view numbers) {
  std::string bytes;
  for (std::size_t at = 0; at < numbers.size(); ++at) {
    std::uint64_t number = 0;
    for (; at < numbers.size() && IsFigure(numbers[at]); ++at) number = number * 10 + (numbers[at] - u'0');
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift);
  }
  return bytes;
}

}  // namespace

Redactor::Redactor(const Identity& identity) : identity_(identity) {
  for (const std::u16string& name : identity.users) names_.emplace(Folded(name), Kind::User);
  for (const std::u16string& name : identity.computers) names_.emplace(Folded(name), Kind::Computer);
  for (const std::u16string& guid : identity.guids) names_.emplace(Folded(guid), Kind::Guid);
}

void Redactor::Learn(std::u16string_view text) {
  Parts parts;
  FindFolders(text, parts);
  FindSids(text, parts);
  for (const Part& part : parts) {
    const std::u16string name = Folded(text.substr(part.at, part.size));
    standIns_.Avoid(name);
    if (part.kind != Kind::Word) names_.emplace(name, part.kind);
  }
}

void Redactor::Learn(const CapturedValue& value) {
  Learn(Read(value.bytes, kWideViews[0]));
  if (!IsText(value)) Learn(Read(value.bytes, kNarrowView));
}

void Redactor::EndLearning() {
  std::erase_if(names_, [](const auto& name) { return IsIn(kOwnNames, name.first) || name.first.empty(); });
  for (const auto& [name, kind] : names_) standIns_.Avoid(name);
  for (const auto& [name, kind] : names_) {
    AddLiteral(name, kind);
    if (kind == Kind::Sid) AddNumbers(name);
  }
  // The longest first: a name may begin with another.
  const auto isLonger = [](const Literal& left, const Literal& right) {
    return left.text.size() > right.text.size();
  };
  std::ranges::stable_sort(wide_, isLonger);
  std::ranges::stable_sort(narrow_, isLonger);
}

void Redactor::AddLiteral(const std::u16string& text, Kind kind) {
  const bool inWords = text.size() >= kTellingChars && !IsIn(kCommonNames, text);
  wide_.push_back({text, kind, inWords});
  // Spelt as a code page has them, letters but for those of ASCII are found in the two usual cases alone.
  std::u16string lower = text;
  for (char16_t unit = 0xFFFF; unit != 0; --unit) {
    if (Folded(unit) != unit) std::ranges::replace(lower, Folded(unit), unit);
  }
  std::u16string title = lower;
  title[0] = text[0];
  for (const std::u16string& spelling : {text, lower, title}) {
    narrow_.push_back({Folded(Widened(ToAnsi(spelling))), kind, inWords});
    narrow_.push_back({Folded(Widened(ToUtf8(spelling))), kind, inWords});
  }
  narrow_.push_back({text, kind, inWords});
  std::erase_if(narrow_, [](const Literal& literal) { return literal.text.empty(); });
}

void Redactor::AddNumbers(const std::u16string& sid) {
  numbers_.emplace_back(BytesOfNumbers(sid),
                        BytesOfNumbers(standIns_.Of(sid, StandIns::Alphabet::Decimal, u"")));
}

// Folders below \Users\, those that the machine has elsewhere, and those that a variable stands for.
void Redactor::FindFolders(std::u16string_view text, Parts& parts) const {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char16_t unit = text[at];
    const bool mayBegin = IsSeparator(unit) || unit == u'%' || IsDriveAt(text, at);
    const std::size_t end = mayBegin ? FolderAt(text, at, parts) : at;
    if (end != at) at = FindWords(text, end, parts) - 1;
  }
}

/** @return where the folder's name ends; `at` where none begins */
std::size_t Redactor::FolderAt(std::u16string_view text, std::size_t at, Parts& parts) const {
  if (text[at] == u'%') {
    const std::size_t end = text.find(u'%', at + 1);
    const bool isFolder =
        end != text.npos && identity_.folderVariables.contains(AsciiUpper(text.substr(at + 1, end - at - 1)));
    return isFolder ? end + 1 : at;
  }
  for (const std::u16string& folder : identity_.folders) {
    const std::size_t size = PathAt(text, at, folder);
    if (size != 0) {
      const std::size_t name = text.substr(at, size).find_last_of(u"\\/") + 1;
      if (name < size) parts.push_back({at + name, size - name, Kind::User});
      return at + size;
    }
  }
  for (const std::u16string_view users : {u"\\USERS", u"\\DOCUMENTS AND SETTINGS"}) {
    const std::size_t size = PathAt(text, at, users);
    if (size == 0) continue;
    std::size_t begin = at + size;
    while (begin < text.size() && IsSeparator(text[begin])) ++begin;
    std::size_t end = begin;
    while (end < text.size() && !IsSeparator(text[end]) && !EndsPath(text[end]) && text[end] != u':') ++end;
    const std::size_t whole = end;
    while (end > begin && text[end - 1] == u' ') --end;
    if (begin == end || end - begin > kLongestName ||
        IsIn(kOwnNames, Folded(text.substr(begin, end - begin))))
      return at;
    parts.push_back({begin, end - begin, Kind::User});
    return whole;
  }
  return at;
}

/** Finds what is called how below a user's folder, up to the path's end. */
std::size_t Redactor::FindWords(std::u16string_view text, std::size_t at, Parts& parts) const {
  const std::size_t most = std::min(text.size(), at + kLongestPath);
  while (at < most && !EndsPath(text[at]) && !IsDriveAt(text, at)) {
    std::size_t end = at;
    while (end < most && IsWord(text[end])) ++end;
    const std::u16string word = Folded(text.substr(at, end - at));
    const bool isExtension = at > 0 && text[at - 1] == u'.' && word.size() <= 4;
    if (word.size() > kShortWord && !isExtension && !IsIn(kCommonFolders, word))
      parts.push_back({at, word.size(), Kind::Word});
    at = std::max(end, at + 1);
  }
  return at;
}

// Of a user's SID, the numbers of the machine or domain; of one from a directory, those of the user.
void Redactor::FindSids(std::u16string_view text, Parts& parts) {
  for (std::size_t at = text.find(u'-'); at != text.npos; at = text.find(u'-', at + 1)) {
    if (at == 0 || (text[at - 1] | 0x20) != 's') continue;
    const bool isLocal = StartsWith(text, at, u"-1-5-21-");
    if (!isLocal && !StartsWith(text, at, u"-1-12-1-")) continue;
    const std::size_t begin = at + 8;
    std::size_t end = SkipFigures(text, begin);
    int count = end > begin ? 1 : 0;
    for (const int wanted = isLocal ? 3 : 4; count != 0 && count < wanted; ++count) {
      const std::size_t next = end < text.size() && text[end] == u'-' ? SkipFigures(text, end + 1) : end;
      if (next <= end + 1) break;
      end = next;
    }
    if (count == (isLocal ? 3 : 4)) parts.push_back({begin, end - begin, Kind::Sid});
  }
}

void Redactor::FindLiterals(std::u16string_view text, const Literals& literals, bool withShort,
                            Parts& parts) {
  std::vector<bool> begins(0x10000);
  for (const Literal& literal : literals) {
    begins[literal.text[0]] = true;
    // As UTF-8, such a letter begins with one of these bytes.
    if (literal.text[0] >= 0x80) std::fill(begins.begin() + 0xC0, begins.begin() + 0x100, true);
  }
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (!begins[Folded(text[at])]) continue;
    for (const Literal& literal : literals) {
      const std::size_t end = at + SizeAt(text, at, literal.text);
      if (end == at) continue;
      const bool isWord = (at == 0 || !IsWord(text[at - 1])) && (end == text.size() || !IsWord(text[end]));
      if (literal.inWords || (isWord && (withShort || literal.text.size() >= kTellingChars))) {
        parts.push_back({at, end - at, literal.kind});
        at = end - 1;
        break;
      }
    }
  }
}

void Redactor::Hide(std::u16string& text) { Replace(text, wide_, true); }

/** @return whether anything was replaced */
bool Redactor::Replace(std::u16string& text, const Literals& literals, bool withShort) {
  Parts parts;
  FindFolders(text, parts);
  FindSids(text, parts);
  std::u16string rest = text;
  for (const Part& part : parts) rest.replace(part.at, part.size, part.size, u'\xFFFF');
  // What Windows expands must still be found by its name.
  for (std::size_t at = rest.find(u'%'), end = 0; at != rest.npos; at = end) {
    end = rest.find(u'%', at + 1);
    if (end != rest.npos && identity_.variables.contains(AsciiUpper(rest.substr(at + 1, end - at - 1))))
      rest.replace(at, end - at, end - at, u'\xFFFF');
  }
  FindLiterals(rest, literals, withShort, parts);
  for (const Part& part : parts) {
    constexpr std::array<StandIns::Alphabet, 5> kAlphabets{
        StandIns::Alphabet::Letters, StandIns::Alphabet::Letters, StandIns::Alphabet::Hexadecimal,
        StandIns::Alphabet::Decimal, StandIns::Alphabet::Letters};
    constexpr std::array<std::u16string_view, 5> kPrefixes{u"user", u"host", u"", u"", u"w"};
    const auto kind = static_cast<std::size_t>(part.kind);
    const std::u16string name = Folded(text.substr(part.at, part.size));
    // Most texts can be read in more than one way, and what was hidden once is found again.
    if (!standIns_.IsGiven(name))
      text.replace(part.at, part.size, standIns_.Of(name, kAlphabets[kind], kPrefixes[kind]));
  }
  return !parts.empty();
}

void Redactor::Hide(CapturedValue& value) { Hide(value.bytes, IsText(value)); }

void Redactor::Hide(std::span<std::uint8_t> bytes, bool isText) {
  for (const View& view : kWideViews) {
    std::u16string text = Read(bytes, view);
    if (Replace(text, wide_, isText && view.offset == 0 && !view.highFirst)) Write(text, bytes, view);
  }
  std::u16string text = Read(bytes, kNarrowView);
  if (Replace(text, narrow_, false)) Write(text, bytes, kNarrowView);
  HideNumbers(bytes);
}

void Redactor::HideNumbers(std::span<std::uint8_t> bytes) {
  for (const auto& [numbers, standIn] : numbers_) {
    for (auto at = bytes.begin();; at += static_cast<std::ptrdiff_t>(numbers.size())) {
      const auto isSame = [](std::uint8_t byte, char sought) {
        return byte == static_cast<std::uint8_t>(sought);
      };
      at = std::search(at, bytes.end(), numbers.begin(), numbers.end(), isSame);
      if (at == bytes.end()) break;
      std::memcpy(&*at, standIn.data(), standIn.size());
    }
  }
}

}  // namespace capture
