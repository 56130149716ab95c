#include "UserFolders.h"

#include <algorithm>

#include "Text.h"

namespace capture {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;
/** A longer name is not a user's, but may be a folder's. */
constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLongestVariable = 128;

/** The folders in which users' folders are, by long, short and translated names. */
constexpr std::u16string_view kRoots[] = {
    u"\\USERS",
    u"\\DOCUMENTS AND SETTINGS",
    u"\\DOCUME~1",
    u"\\BENUTZER",
    u"\\DOKUMENTE UND EINSTELLUNGEN",
    u"\\DOKUME~1",
    u"\\UTILISATEURS",
    u"\\USUARIOS",
    u"\\USU\u00C1RIOS",
    u"\\UTILIZADORES",
    u"\\UTENTI",
    u"\\GEBRUIKERS",
    u"\\BRUGERE",
    u"\\BRUKERE",
    u"\\ANV\u00C4NDARE",
    u"\\K\u00C4YTT\u00C4J\u00C4T",
    u"\\U\u017BYTKOWNICY",
    u"\\U\u017DIVATEL\u00C9",
    u"\\FELHASZN\u00C1L\u00D3K",
    u"\\KULLANICILAR",
    u"\\\u03A7\u03A1\u0389\u03A3\u03A4\u0395\u03A3",
    u"\\\u041F\u041E\u041B\u042C\u0417\u041E\u0412\u0410\u0422\u0415\u041B\u0418",
    u"\\\u30E6\u30FC\u30B6\u30FC",
    u"\\\uC0AC\uC6A9\uC790",
    u"\\\u7528\u6237",
    u"\\\u4F7F\u7528\u8005"};
/** The same, but only directly below a drive or a share: deeper, these are usual names of other folders. */
constexpr std::u16string_view kTopRoots[] = {u"\\PROFILES", u"\\PROFILE", u"\\PROFILES$", u"\\PROFILE$",
                                             u"\\HOME",     u"\\HOMES",   u"\\HOME$",     u"\\HOMES$",
                                             u"\\USERDATA", u"\\USERS$"};
/** Variables of user folders on every machine. */
constexpr std::u16string_view kUsersVariables[] = {u"USERPROFILE", u"APPDATA", u"LOCALAPPDATA", u"HOMEPATH",
                                                   u"HOMESHARE"};
/** Names in every user folder. */
constexpr std::u16string_view kCommonFolders[] = {
    u"APPDATA", u"LOCAL",     u"LOCALLOW",  u"ROAMING",   u"PROGRAMS", u"PROGRAM",
    u"FILES",   u"TEMP",      u"DESKTOP",   u"START",     u"MENU",     u"CACHE",
    u"PACKAGE", u"DOCUMENTS", u"DOWNLOADS", u"MICROSOFT", u"NTUSER"};
/** Endings that stay. ".exe" in a path decides how an icon is drawn. */
constexpr std::u16string_view kExtensions[] = {u"BAT", u"BMP", u"CMD", u"COM", u"CPL", u"DAT", u"DLL", u"EXE",
                                               u"HTM", u"ICO", u"INF", u"INI", u"JAR", u"JPG", u"LNK", u"LOG",
                                               u"MSI", u"MSU", u"MUI", u"PDF", u"PNG", u"PS1", u"REG", u"SCR",
                                               u"SYS", u"TXT", u"URL", u"VBS", u"XML", u"ZIP"};

template <typename List>
bool IsIn(const List& list, std::u16string_view word) {
  return std::ranges::find(list, word) != std::end(list);
}

bool IsControl(char16_t unit) { return unit < 0x20; }
/** A path goes on behind line ends and tabs, because what follows may belong to it. */
bool EndsPath(char16_t unit) { return IsControl(unit) && unit != u'\t' && unit != u'\r' && unit != u'\n'; }

/** Characters that a folder name cannot contain, or that separate paths. */
bool EndsName(char16_t unit) {
  return IsControl(unit) || unit == kMasked || std::u16string_view(u"\"<>|*?;%:").find(unit) != kNone;
}

std::size_t SkipSeparators(std::u16string_view text, std::size_t at) {
  while (at < text.size() && IsSeparator(text[at])) ++at;
  return at;
}

/** Whether a path with a drive begins there, such as the second path of a command line. */
bool IsDriveAt(std::u16string_view text, std::size_t at) {
  return at + 2 < text.size() && text[at] < 0x80 && IsWord(text[at]) && text[at + 1] == u':' &&
         IsSeparator(text[at + 2]) && (at == 0 || !IsWord(text[at - 1]));
}

/**
 * Compares the text at `at` with a path. Repeated separators count as one, and quotes are ignored.
 * @return the length of the path in `text`; 0 if another text is there
 */
std::size_t PathAt(std::u16string_view text, std::size_t at, std::u16string_view upper) {
  const std::size_t start = at;
  for (const char16_t unit : upper) {
    while (at > start && at < text.size() && text[at] == u'"') ++at;
    if (at == text.size() || IsSeparator(unit) != IsSeparator(text[at])) return 0;
    if (!IsSeparator(unit) && Folded(text[at]) != unit) return 0;
    at = IsSeparator(unit) ? SkipSeparators(text, at) : at + 1;
  }
  return at == text.size() || IsSeparator(text[at]) || EndsName(text[at]) ? at - start : 0;
}

/** Whether the separator there follows a drive, or the name of a server: `C:` or `\\\\server`. */
bool IsTopFolderAt(std::u16string_view text, std::size_t at) {
  if (at > 0 && text[at - 1] == u':') return true;
  std::size_t begin = at;
  while (begin > 0 && !IsSeparator(text[begin - 1]) && !EndsName(text[begin - 1])) --begin;
  return begin > 1 && begin < at && IsSeparator(text[begin - 1]) && IsSeparator(text[begin - 2]);
}

/** Returns where the next name of a path begins; kNone if the path ends. */
std::size_t NextName(std::u16string_view text, std::size_t at) {
  while (at < text.size() && text[at] == u'"') ++at;
  const std::size_t begin = SkipSeparators(text, at);
  return begin == at || begin == text.size() || EndsPath(text[begin]) ? kNone : begin;
}

/** Returns where a name ends, including blanks after it. */
std::size_t EndOfName(std::u16string_view text, std::size_t at) {
  while (at < text.size() && !IsSeparator(text[at]) && !EndsName(text[at])) ++at;
  return at;
}

std::u16string_view WithoutBlanks(std::u16string_view name) {
  while (name.ends_with(u' ')) name.remove_suffix(1);
  return name;
}

/** Whether `..` follows. */
bool LeadsUp(std::u16string_view text, std::size_t at) {
  const std::size_t name = NextName(text, at);
  return name != kNone && text.substr(name).starts_with(u"..") &&
         (name + 2 == text.size() || IsSeparator(text[name + 2]));
}

/** Whether the quote closes a path that began after a quote: neither a name nor more of a path follows. */
bool EndsQuotedPath(std::u16string_view text, std::size_t quote) {
  std::size_t at = quote + 1;
  if (at < text.size() && (IsSeparator(text[at]) || IsWord(text[at]) || text[at] == u'%')) return false;
  for (; at < text.size() && text[at] != u'"' && !EndsPath(text[at]) && !IsDriveAt(text, at); ++at) {
    if (text[at] == u'\\') return false;
  }
  return true;
}

/** Whether a word of a path identifies nobody: a number of one or two digits, a usual name, or a switch. */
bool TellsNothing(std::u16string_view text, std::size_t begin, std::size_t end) {
  const std::u16string word = Folded(text.substr(begin, end - begin));
  if (IsIn(kCommonFolders, word)) return true;
  if (begin > 0 && text[begin - 1] == u'.' && IsIn(kExtensions, word)) return true;
  if (word.size() > 2) return false;
  if (std::ranges::all_of(word, IsFigure)) return true;
  const bool isSwitch = begin > 1 && (text[begin - 1] == u'/' || text[begin - 1] == u'-') &&
                        text[begin - 2] == u' ' && (end == text.size() || !IsSeparator(text[end]));
  return isSwitch && std::ranges::all_of(word, [](char16_t unit) { return unit < 0x80; });
}

}  // namespace

bool IsUsersVariable(std::u16string_view upper) {
  return IsIn(kUsersVariables, upper) || upper.starts_with(u"ONEDRIVE");
}

UserFolders::UserFolders(FolderPlaces places) : places_(std::move(places)) {}

void UserFolders::Find(std::u16string_view text, bool withUnset, PersonalParts& parts) const {
  bool isQuoted = false;
  for (std::size_t at = 0; at < text.size();) {
    const char16_t unit = text[at];
    // Repeated separators count as one. If each one began a path, many of them would take quadratic time.
    const bool isFirst = IsSeparator(unit) && (at == 0 || !IsSeparator(text[at - 1]));
    const bool mayBegin = isFirst || unit == u'%' || IsDriveAt(text, at);
    const std::size_t begin = mayBegin ? FolderAt(text, at, withUnset, parts) : at;
    const std::size_t end = begin == at ? at + 1 : FindWords(text, begin, isQuoted, parts);
    for (; at < end; ++at) {
      if (text[at] == u'"') isQuoted = !isQuoted;
    }
  }
}

void UserFolders::Rename(const std::function<std::u16string(std::u16string)>& newName) {
  const std::set<std::u16string> names = places_.captured;
  for (const std::u16string& name : names) {
    const auto found = places_.variables.find(name);
    if (found != places_.variables.end()) places_.variables.emplace(newName(name), found->second);
    places_.captured.insert(newName(name));
  }
}

std::size_t UserFolders::VariableSize(std::u16string_view text, std::size_t at) const {
  if (at >= text.size() || text[at] != u'%') return 0;
  const std::size_t end = text.find(u'%', at + 1);
  const bool isCaptured =
      end != kNone && places_.captured.contains(AsciiUpper(text.substr(at + 1, end - at - 1)));
  return isCaptured ? end + 1 - at : 0;
}

/** @return where the words of the path begin; `at` if no user folder is there */
std::size_t UserFolders::FolderAt(std::u16string_view text, std::size_t at, bool withUnset,
                                  PersonalParts& parts) const {
  if (text[at] == u'%') return VariableFolderAt(text, at, withUnset);
  for (const std::u16string& folder : places_.folders) {
    const std::size_t size = PathAt(text, at, folder);
    if (size == 0) continue;
    std::size_t name = at + text.substr(at, size).find_last_of(u"\\/") + 1;
    while (text[name] == u'"') ++name;
    parts.push_back({name, at + size - name, PersonalKind::User});
    return at + size;
  }
  for (const std::u16string& folder : places_.others) {
    const std::size_t size = PathAt(text, at, folder);
    if (size != 0) return at + text.substr(at, size).find_last_of(u"\\/") + 1;
  }
  return BelowRoot(text, at, parts);
}

// The value of a variable that is set is known. One that is not set may be set for another user.
std::size_t UserFolders::VariableFolderAt(std::u16string_view text, std::size_t at, bool withUnset) const {
  const std::size_t end = text.find(u'%', at + 1);
  if (end == kNone || end == at + 1 || end - at > kLongestVariable) return at;
  const std::u16string name = AsciiUpper(text.substr(at + 1, end - at - 1));
  if (name.find_first_of(u"\\/:;\"|<>") != name.npos || std::ranges::any_of(name, IsControl)) return at;
  const auto found = places_.variables.find(name);
  const bool isUsers = IsUsersVariable(name) ||
                       (found != places_.variables.end() && found->second == VariableValue::UsersFolder);
  if (isUsers) return end + 1;
  const bool mayLead = found == places_.variables.end() ? withUnset : LeadsUp(text, end + 1);
  return mayLead && NextName(text, end + 1) != kNone ? end + 1 : at;
}

/** The same for a folder below one that contains user folders. */
std::size_t UserFolders::BelowRoot(std::u16string_view text, std::size_t at, PersonalParts& parts) const {
  std::size_t size = 0;
  for (const std::u16string_view root : kRoots) size = std::max(size, PathAt(text, at, root));
  for (const std::u16string& root : places_.roots) size = std::max(size, PathAt(text, at, root));
  if (IsTopFolderAt(text, at)) {
    for (const std::u16string_view root : kTopRoots) size = std::max(size, PathAt(text, at, root));
  }
  if (size == 0) return at;
  for (std::size_t begin = NextName(text, at + size); begin != kNone;) {
    const std::size_t end = EndOfName(text, begin);
    const std::u16string_view name = WithoutBlanks(text.substr(begin, end - begin));
    const bool isOwn = IsWindowsOwnName(Folded(name));
    if (name == u"..") return at;
    if (name.empty()) return begin;
    if (name != u"." && !isOwn) {
      const bool isUser = name.size() <= kLongestName;
      parts.push_back({begin, name.size(), isUser ? PersonalKind::User : PersonalKind::Word});
      return end;
    }
    if (isOwn && !LeadsUp(text, end)) return at;
    begin = NextName(text, isOwn ? NextName(text, end) + 2 : end);
  }
  return at;
}

bool UserFolders::IsOtherPathAt(std::u16string_view text, std::size_t at) const {
  // After a separator or a word it is a part of the path.
  if (at > 0 && (IsSeparator(text[at - 1]) || IsWord(text[at - 1]))) return false;
  if (IsDriveAt(text, at)) return true;
  const std::size_t size = VariableSize(text, at);
  if (size == 0) return false;
  const auto found = places_.variables.find(AsciiUpper(text.substr(at + 1, size - 2)));
  return found != places_.variables.end() && found->second == VariableValue::OtherPath;
}

/** @return where the path ends */
std::size_t UserFolders::FindWords(std::u16string_view text, std::size_t at, bool isQuoted,
                                   PersonalParts& parts) const {
  bool mayClose = isQuoted;
  while (at < text.size() && !EndsPath(text[at]) && !IsOtherPathAt(text, at)) {
    if (text[at] == u'"') {
      if (mayClose && EndsQuotedPath(text, at)) return at;
      mayClose = false;
    }
    if (const std::size_t size = VariableSize(text, at); size != 0) {
      at += size;
      continue;
    }
    std::size_t end = at;
    while (end < text.size() && IsWord(text[end])) ++end;
    if (end != at && !TellsNothing(text, at, end)) parts.push_back({at, end - at, PersonalKind::Word});
    at = std::max(end, at + 1);
  }
  return at;
}

}  // namespace capture
