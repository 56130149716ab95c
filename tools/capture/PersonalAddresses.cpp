#include "PersonalAddresses.h"

#include <algorithm>

#include "Text.h"

namespace capture {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

bool IsIn(std::u16string_view signs, char16_t unit) { return signs.find(unit) != kNone; }

bool IsHostUnit(char16_t unit) { return IsWord(unit) || IsIn(u"-._", unit) || unit == kMasked; }

/** Returns where the host that begins there ends; `begin` if none begins there. */
std::size_t EndOfHost(std::u16string_view text, std::size_t begin) {
  if (begin < text.size() && text[begin] == u'[') {
    const std::size_t close = text.find(u']', begin);
    const auto isAddress = [](char16_t unit) {
      return IsWord(unit) || IsIn(u".:-", unit) || unit == kMasked;
    };
    const bool isHost =
        close != kNone && std::ranges::all_of(text.substr(begin + 1, close - begin - 1), isAddress);
    return isHost ? close : begin;
  }
  std::size_t end = begin;
  while (end < text.size() && IsHostUnit(text[end])) ++end;
  while (end > begin && IsIn(u"-.", text[end - 1])) --end;
  return end;
}

/** Returns where the last label of a domain begins, which stays if it is letters of ASCII; else the end. */
std::size_t LastLabel(std::u16string_view text, std::size_t begin, std::size_t end) {
  const std::size_t dot = text.substr(0, end).rfind(u'.');
  if (dot == kNone || dot <= begin || end - dot < 3) return end;
  return std::ranges::all_of(text.substr(dot + 1, end - dot - 1), IsAsciiLetter) ? dot + 1 : end;
}

/** Returns where the person of a mail address begins, whose sign is at `sign`; `sign` if there is none. */
std::size_t BeginOfPerson(std::u16string_view text, std::size_t sign) {
  std::size_t begin = sign;
  if (begin > 0 && text[begin - 1] == u'"') {
    const std::size_t quote = begin > 1 ? text.rfind(u'"', begin - 2) : kNone;
    return quote == kNone ? sign : quote + 1;
  }
  const auto isPart = [](char16_t unit) {
    return IsWord(unit) || IsIn(u".+-_'&!#$*=?^`{|}~", unit) || unit == kMasked;
  };
  while (begin > 0 && isPart(text[begin - 1])) --begin;
  return begin;
}

bool IsLongWord(std::u16string_view text) {
  return text.size() > 2 &&
         std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80 || unit == kMasked; });
}

/** Adds the user and the password, which have a colon between them. */
void AddCredentials(std::u16string_view text, std::size_t begin, std::size_t end, PersonalParts& parts) {
  const std::size_t colon = std::min(text.find(u':', begin), end);
  if (colon > begin) parts.push_back({begin, colon - begin, PersonalKind::Word});
  if (end > colon + 1) parts.push_back({colon + 1, end - colon - 1, PersonalKind::Word});
}

/** The endings of file names that a relative path usually has. */
bool IsFileEnding(std::u16string_view ending) {
  constexpr std::u16string_view kEndings[] = {u"BAT", u"BMP", u"CAB", u"CHM", u"CMD", u"COM",  u"CPL", u"DAT",
                                              u"DLL", u"EXE", u"HTM", u"ICO", u"INF", u"INI",  u"JAR", u"JPG",
                                              u"LNK", u"LOG", u"MSI", u"MSP", u"PDF", u"PNG",  u"PS1", u"REG",
                                              u"SYS", u"TXT", u"URL", u"VBS", u"XML", u"HTML", u"JSON"};
  return std::ranges::find(kEndings, ending) != std::end(kEndings);
}

/** Adds the users and passwords of a list of proxies. */
void FindProxyCredentials(std::u16string_view text, PersonalParts& parts) {
  const std::u16string_view ends(u"; \t\0", 4);
  for (std::size_t at = 0, end = 0; end < text.size(); at = end + 1) {
    end = std::min(text.find_first_of(ends, at), text.size());
    const std::u16string_view proxy = text.substr(at, end - at);
    const std::size_t sign = proxy.rfind(u'@');
    if (sign == kNone) continue;
    const std::size_t scheme = proxy.find(u"://");
    const std::size_t name = proxy.find(u'=');
    const bool isNamed = name != kNone && std::ranges::all_of(proxy.substr(0, name), IsAsciiLetter);
    const std::size_t behind = scheme != kNone ? scheme + 3 : isNamed ? name + 1 : 0;
    if (behind < sign) AddCredentials(text, at + behind, at + sign, parts);
  }
}

}  // namespace

void FindMailAddresses(std::u16string_view text, bool isText, PersonalParts& parts) {
  for (std::size_t sign = text.find(u'@'); sign != kNone; sign = text.find(u'@', sign + 1)) {
    const std::size_t begin = BeginOfPerson(text, sign);
    const std::size_t end = EndOfHost(text, sign + 1);
    if (begin == sign || end == sign + 1) continue;
    const std::size_t last = LastLabel(text, sign + 1, end);
    const std::u16string_view person = text.substr(begin, sign - begin);
    const std::u16string_view host = text.substr(sign + 1, end - sign - 1);
    const bool isLikely =
        isText ? person.size() > 1 && host.size() > 1 : IsLongWord(person) && IsLongWord(host);
    if (last == end && !isLikely) continue;
    AddWords(text, begin, sign, parts);
    AddWords(text, sign + 1, last, parts);
  }
}

void FindAccounts(std::u16string_view text, PersonalParts& parts) {
  const auto isName = [](char16_t unit) { return IsWord(unit) || IsIn(u"-._$", unit) || unit == kMasked; };
  const std::u16string_view ends(u"\"<>|;,=\t\r\n\0", 11);
  for (std::size_t sign = text.find(u'\\'); sign != kNone; sign = text.find(u'\\', sign + 1)) {
    std::size_t begin = sign, end = sign + 1;
    while (begin > 0 && isName(text[begin - 1])) --begin;
    while (end < text.size() && isName(text[end])) ++end;
    // Names of a path may have blanks, so a separator or drive before the name in the same part makes it a
    // path.
    const std::size_t part = begin == 0 ? kNone : text.find_last_of(ends, begin - 1);
    const std::u16string_view before = text.substr(part + 1, begin - part - 1);
    const bool isPath = before.find_first_of(u"\\/:%~") != kNone ||
                        (end < text.size() && (IsSeparator(text[end]) || IsIn(u":%*", text[end])));
    const std::u16string_view domain = text.substr(begin, sign - begin);
    const std::u16string_view user = text.substr(sign + 1, end - sign - 1);
    if (isPath || domain.empty() || user.empty() || domain[0] == u'.' || user[0] == u'.') continue;
    // A name with an ending is a file in a folder.
    const std::size_t dot = user.rfind(u'.');
    if (dot != kNone && IsFileEnding(Folded(user.substr(dot + 1)))) continue;
    AddWords(text, begin, sign, parts);
    AddWords(text, sign + 1, end, parts);
  }
}

void FindCredentials(std::u16string_view text, bool isProxy, PersonalParts& parts) {
  if (isProxy) return FindProxyCredentials(text, parts);
  const std::u16string_view ends(u"/\\?#\"'<> \t\r\n\0", 13);
  for (std::size_t at = text.find(u"://"); at != kNone; at = text.find(u"://", at + 1)) {
    const std::size_t end = std::min(text.find_first_of(ends, at + 3), text.size());
    const std::size_t sign = text.substr(0, end).rfind(u'@');
    if (sign != kNone && sign > at + 3) AddCredentials(text, at + 3, sign, parts);
  }
  const std::u16string_view begins(u"/\\?#\"'<>()=,; \t\r\n\0", 18);
  for (std::size_t sign = text.find(u'@'); sign != kNone; sign = text.find(u'@', sign + 1)) {
    const std::size_t before = sign == 0 ? kNone : text.find_last_of(begins, sign - 1);
    const std::size_t begin = before == kNone ? 0 : before + 1;
    const std::size_t colon = text.find(u':', begin);
    const bool isScheme = (before != kNone && text[before] == u'/') ||  // found above
                          (colon < sign && Folded(text.substr(begin, colon - begin)) == u"MAILTO");
    const bool isHost = EndOfHost(text, sign + 1) != sign + 1;
    if (colon < sign && colon > begin && colon + 1 < sign && !isScheme && isHost)
      AddCredentials(text, begin, sign, parts);
  }
}

}  // namespace capture
