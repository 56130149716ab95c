#include "PersonalText.h"

#include <algorithm>

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

/** Finds what is called how below a user's folder, up to the path's end. */
std::size_t FindWords(std::u16string_view text, std::size_t at, PersonalParts& parts) {
  const std::size_t most = std::min(text.size(), at + kLongestPath);
  while (at < most && !EndsPath(text[at]) && !IsDriveAt(text, at)) {
    std::size_t end = at;
    while (end < most && IsWord(text[end])) ++end;
    const std::u16string word = Folded(text.substr(at, end - at));
    const bool isExtension = at > 0 && text[at - 1] == u'.' && word.size() <= 4;
    if (word.size() > kShortWord && !isExtension && !IsIn(kCommonFolders, word))
      parts.push_back({at, word.size(), PersonalKind::Word});
    at = std::max(end, at + 1);
  }
  return at;
}

/** The same for the folder that all users' folders mostly are in. */
std::size_t FindUsersFolder(std::u16string_view text, std::size_t at, PersonalParts& parts) {
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
    parts.push_back({begin, end - begin, PersonalKind::User});
    return whole;
  }
  return at;
}

}  // namespace

bool IsWindowsOwnName(std::u16string_view name) { return IsIn(kOwnNames, name); }

bool IsSoughtInWords(std::u16string_view name) {
  return name.size() >= kTellingChars && !IsIn(kCommonNames, name);
}

// Folders below \Users\, those that the machine has elsewhere, and those that a variable stands for.
void UserFolders::Find(std::u16string_view text, PersonalParts& parts) const {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char16_t unit = text[at];
    const bool mayBegin = IsSeparator(unit) || unit == u'%' || IsDriveAt(text, at);
    const std::size_t end = mayBegin ? FolderAt(text, at, parts) : at;
    if (end != at) at = FindWords(text, end, parts) - 1;
  }
}

/** @return where the folder's name ends; `at` where none begins */
std::size_t UserFolders::FolderAt(std::u16string_view text, std::size_t at, PersonalParts& parts) const {
  if (text[at] == u'%') {
    const std::size_t end = text.find(u'%', at + 1);
    const bool isFolder =
        end != text.npos && variables_.contains(AsciiUpper(text.substr(at + 1, end - at - 1)));
    return isFolder ? end + 1 : at;
  }
  for (const std::u16string& folder : paths_) {
    const std::size_t size = PathAt(text, at, folder);
    if (size != 0) {
      const std::size_t name = text.substr(at, size).find_last_of(u"\\/") + 1;
      if (name < size) parts.push_back({at + name, size - name, PersonalKind::User});
      return at + size;
    }
  }
  return FindUsersFolder(text, at, parts);
}

// Of a user's SID, the numbers of the machine or domain; of one from a directory, those of the user.
void FindSids(std::u16string_view text, PersonalParts& parts) {
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
    if (count == (isLocal ? 3 : 4)) parts.push_back({begin, end - begin, PersonalKind::Sid});
  }
}

void FindNames(std::u16string_view text, std::span<const PersonalName> names, bool withShort,
               PersonalParts& parts) {
  std::vector<bool> begins(0x10000);
  for (const PersonalName& name : names) {
    begins[name.text[0]] = true;
    // As UTF-8, such a letter begins with one of these bytes.
    if (name.text[0] >= 0x80) std::fill(begins.begin() + 0xC0, begins.begin() + 0x100, true);
  }
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (!begins[Folded(text[at])]) continue;
    for (const PersonalName& name : names) {
      const std::size_t end = at + SizeAt(text, at, name.text);
      if (end == at) continue;
      const bool isWord = (at == 0 || !IsWord(text[at - 1])) && (end == text.size() || !IsWord(text[end]));
      if (name.inWords || (isWord && (withShort || name.text.size() >= kTellingChars))) {
        parts.push_back({at, end - at, name.kind});
        at = end - 1;
        break;
      }
    }
  }
}

}  // namespace capture
