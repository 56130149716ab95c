#include "PersonalAddresses.h"

#include <algorithm>

#include "Text.h"

namespace capture {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;
/** A longer person or host is none. Without a limit, a text of many signs takes quadratic time. */
constexpr std::size_t kLongestName = 256;

bool IsIn(std::u16string_view signs, char16_t unit) { return signs.find(unit) != kNone; }

bool IsHostUnit(char16_t unit) { return IsWord(unit) || IsIn(u"-._", unit) || unit == kMasked; }

/** Returns where the host that begins there ends; `begin` if none begins there. It may have percent escapes.
 */
std::size_t EndOfHost(std::u16string_view text, std::size_t begin) {
  text = text.substr(0, std::min(begin, text.size()) + kLongestName);
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
  for (std::size_t next = begin; next < text.size() && IsHostUnit(TakeByte(text, next));) end = next;
  while (end > begin && IsIn(u"-.", text[end - 1])) --end;
  return end;
}

/** Returns where the last label of a domain begins, which stays if it is letters of ASCII; else the end. */
std::size_t LastLabel(std::u16string_view text, std::size_t begin, std::size_t end) {
  const std::u16string_view host = text.substr(begin, end - begin);
  const std::size_t dot = host.rfind(u'.');
  if (dot == kNone || dot == 0 || host.size() - dot < 3) return end;
  return std::ranges::all_of(host.substr(dot + 1), IsAsciiLetter) ? begin + dot + 1 : end;
}

/** Returns the size of the sign of a mail address: of `@`, or of its percent escape; 0 if another unit is
 * there. */
std::size_t SizeOfSign(std::u16string_view text, std::size_t at) {
  if (text[at] == u'@') return 1;
  return text[at] == u'%' && text.substr(at, 3) == u"%40" ? 3 : 0;
}

/** Returns where the person of a mail address begins, whose sign is at `sign`; `sign` if there is none. */
std::size_t BeginOfPerson(std::u16string_view text, std::size_t sign) {
  const std::size_t first = sign - std::min(sign, kLongestName);
  std::size_t begin = sign;
  if (begin > first && text[begin - 1] == u'"') {
    const std::size_t quote = text.substr(first, begin - 1 - first).rfind(u'"');
    return quote == kNone ? sign : first + quote + 1;
  }
  const auto isPart = [](char16_t unit) {
    return IsWord(unit) || IsIn(u".+-_'&!#$*=?^`{|}~%", unit) || unit == kMasked;
  };
  while (begin > first && isPart(text[begin - 1])) --begin;
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

/** Returns where the word ends that is there. A password may contain any unit except a blank. */
std::size_t EndOfCredentials(std::u16string_view text, std::size_t at) {
  while (at < text.size() && text[at] > u' ') ++at;
  return at;
}

/** Whether a host begins there. It may be a variable. */
bool IsHostAt(std::u16string_view text, std::size_t at) {
  return at < text.size() && (IsIn(u"%$", text[at]) || EndOfHost(text, at) != at);
}

/** Returns the last sign before a host, because a password may contain signs too; nowhere if there is none.
 */
std::size_t LastSign(std::u16string_view text, std::size_t begin, std::size_t end) {
  for (std::size_t sign = end; sign-- > begin;) {
    if (text[sign] == u'@' && IsHostAt(text, sign + 1)) return sign;
  }
  return kNone;
}

/**
 * Returns the sign behind the credentials of an address that begins with two slashes; nowhere if it has none.
 * @param begin  the first unit behind the slashes
 * @param last  the last sign of the word; nowhere if it has none
 */
std::size_t SignOfAuthority(std::u16string_view text, std::size_t begin, std::size_t last) {
  const std::u16string_view rest = text.substr(begin);
  const auto endsAuthority = [](char16_t unit) { return unit <= u' ' || IsIn(u"/\\?#'\"<>", unit); };
  const auto size = static_cast<std::size_t>(std::ranges::find_if(rest, endsAuthority) - rest.begin());
  const std::u16string_view authority = rest.substr(0, size);
  const std::size_t sign = authority.rfind(u'@');
  if (sign != kNone) return sign == 0 ? kNone : begin + sign;
  // Without a sign, a colon is before a port. If no number follows, it is before a password that contains one
  // of the ends.
  const std::size_t colon = authority.find(u':');
  const bool isHost = colon == kNone || colon == 0 || authority[0] == u'[' ||
                      (colon + 1 != size && std::ranges::all_of(authority.substr(colon + 1), IsFigure));
  return isHost || last == kNone || last < begin + size ? kNone : last;
}

/** Whether the colon is not behind a user, but behind a drive, a scheme, the host of an address, or the name
 * of a text in quotes or brackets. */
bool IsOtherColon(std::u16string_view text, std::size_t begin, std::size_t colon) {
  if (text.substr(0, begin).ends_with(u"//") || IsIn(u"\"<", text[colon + 1])) return true;
  const bool isDrive = colon - begin == 1 && IsSeparator(text[colon + 1]);
  const std::u16string_view scheme = text.substr(begin, colon - begin);
  return isDrive || text.substr(colon + 1, 2) == u"//" ||
         (scheme.size() == 6 && StartsWith(scheme, 0, u"MAILTO"));
}

/** Returns where a text ends that begins behind a quote or bracket: before the one that closes it. */
std::size_t EndOfQuoted(std::u16string_view text, std::size_t begin, std::size_t end) {
  const std::size_t pair = begin == 0 ? kNone : std::u16string_view(u"\"<").find(text[begin - 1]);
  return pair == kNone ? end : std::min(text.substr(0, end).find(u"\">"[pair], begin), end);
}

/** Adds the user and password in a word of a text, such as `user:password@host`. */
void AddPlainCredentials(std::u16string_view text, std::size_t begin, std::size_t end, PersonalParts& parts) {
  std::size_t user = begin;
  for (std::size_t at = begin; at + 1 < end; ++at) {
    if (IsIn(u"/\\?#'()=,;\"<>", text[at])) user = at + 1;
    if (text[at] != u':' || at == user || IsOtherColon(text, user, at)) continue;
    const std::size_t quoted = EndOfQuoted(text, user, end);
    const std::size_t sign = LastSign(text, at + 2, quoted);
    if (sign != kNone) AddCredentials(text, user, sign, parts);
    at = quoted - 1;
  }
}

/** Whether a path cannot go on behind this unit. */
bool EndsPath(char16_t unit) { return unit < u' ' || IsIn(u"\"<>|;,=", unit); }

bool IsDrive(std::u16string_view text, std::size_t colon) {
  return colon > 0 && IsAsciiLetter(text[colon - 1]) && (colon == 1 || !IsWord(text[colon - 2])) &&
         colon + 1 < text.size() && IsSeparator(text[colon + 1]);
}

/** Returns where the word of an account or path ends. A path has no colon except behind its drive. */
std::size_t EndOfWord(std::u16string_view text, std::size_t at) {
  for (; at < text.size(); ++at) {
    const bool isEnd = text[at] == u' ' || EndsPath(text[at]) || (text[at] == u':' && !IsDrive(text, at));
    if (isEnd) break;
  }
  return at;
}

/** Whether the word is a path, of one name behind its root or of three names. */
bool IsPath(std::u16string_view word) {
  std::size_t runs = 0;
  const std::size_t behindDots = word.find_first_not_of(u'.');
  for (std::size_t at = 0; at < word.size(); ++at) {
    if (!IsSeparator(word[at])) continue;
    const bool hasRoot = at == 0 ? word[at] == u'\\' : at == behindDots || IsIn(u":%~", word[at - 1]);
    if (hasRoot) return true;
    if (at == 0 || !IsSeparator(word[at - 1])) ++runs;
  }
  return runs > 1;
}

bool IsSwitch(std::u16string_view word) {
  return word.size() > 1 && IsIn(u"/-", word[0]) && IsAsciiLetter(word[1]);
}

/** Whether the word ends in a file name with a usual ending. */
bool IsFile(std::u16string_view word) {
  while (!word.empty() && !IsWord(word.back())) word.remove_suffix(1);
  const std::size_t dot = word.rfind(u'.');
  return dot != kNone && word.size() - dot <= 5 && IsFileEnding(Folded(word.substr(dot + 1)));
}

/** Adds the domain and user of a word that is not a path. */
void AddAccount(std::u16string_view text, std::size_t begin, std::size_t end, PersonalParts& parts) {
  const std::u16string_view word = text.substr(begin, end - begin);
  const std::size_t sign = word.find(u'\\');
  if (sign == kNone || IsFile(word)) return;
  const auto isName = [](char16_t unit) { return IsWord(unit) || IsIn(u"-._$&", unit) || unit == kMasked; };
  std::size_t domain = sign;
  while (domain > 0 && isName(word[domain - 1])) --domain;
  const std::size_t user = word.find_first_not_of(u'\\', sign);
  if (domain == sign || user == kNone || word[domain] == u'.' || word[user] == u'.') return;
  // Behind a short name such as PROGRA~1, or behind a variable, it is a file in a folder.
  const std::u16string_view before = word.substr(0, domain);
  if (before.ends_with(u'~') || (before.ends_with(u'%') && before.find(u'%') + 1 != domain)) return;
  AddWords(text, begin + domain, begin + sign, parts);
  AddWords(text, begin + user, end, parts);
}

}  // namespace

void FindMailAddresses(std::u16string_view text, bool isText, PersonalParts& parts) {
  for (std::size_t sign = 0; sign < text.size(); ++sign) {
    const std::size_t size = SizeOfSign(text, sign);
    if (size == 0) continue;
    const std::size_t host = sign + size;
    const std::size_t begin = BeginOfPerson(text, sign);
    const std::size_t end = EndOfHost(text, host);
    if (begin == sign || end == host) continue;
    const std::size_t last = LastLabel(text, host, end);
    const std::u16string_view person = text.substr(begin, sign - begin);
    const std::u16string_view whole = text.substr(host, end - host);
    const bool isLikely = isText ? whole.find(u'.', 1) != kNone || (person.size() > 1 && whole.size() > 1)
                                 : IsLongWord(person) && IsLongWord(whole);
    if (last == end && !isLikely) continue;
    AddWords(text, begin, sign, parts);
    AddWords(text, host, last, parts);
  }
}

void FindAccounts(std::u16string_view text, PersonalParts& parts) {
  // Names of a path may have blanks, so a path goes on until a file name, a switch or another sign ends it.
  bool isInPath = false;
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
    end = EndOfWord(text, at);
    const std::u16string_view word = text.substr(at, end - at);
    if (IsSwitch(word)) isInPath = false;
    if (!isInPath && !IsPath(word)) AddAccount(text, at, end, parts);
    // A web address has no blanks.
    isInPath = isInPath || (IsPath(word) && (word.find(u'\\') != kNone || word.find(u':') != kNone));
    if (IsFile(word) || (end < text.size() && text[end] != u' ')) isInPath = false;
  }
}

void FindAddressCredentials(std::u16string_view text, bool isProxy, PersonalParts& parts) {
  if (isProxy) return FindProxyCredentials(text, parts);
  std::size_t word = 0;
  std::size_t last = kNone;
  for (std::size_t at = text.find(u"//"); at != kNone; at = text.find(u"//", at)) {
    at += 2;
    // Once for all addresses of a word, because a password may be as long as the text.
    if (at > word) {
      word = EndOfCredentials(text, at);
      last = LastSign(text, at, word);
    }
    const std::size_t sign = SignOfAuthority(text, at, last);
    if (sign == kNone) continue;
    AddCredentials(text, at, sign, parts);
    at = sign;
  }
}

void FindPlainCredentials(std::u16string_view text, PersonalParts& parts) {
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
    end = EndOfCredentials(text, at);
    AddPlainCredentials(text, at, end, parts);
  }
}

}  // namespace capture
