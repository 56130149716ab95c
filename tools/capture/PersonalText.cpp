#include "PersonalText.h"

#include <algorithm>

#include "Text.h"

namespace capture {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;
/** As kTellingChars, for names that are numbers: a year, a version or a date holds short ones by chance. */
constexpr std::size_t kTellingFigures = 6;
constexpr std::size_t kGuidChars = 36;
constexpr std::size_t kPackedGuidChars = 32;

/** Names that many people's machines have: sought as words of their own alone, as they stand in others. */
constexpr std::u16string_view kCommonNames[] = {u"ADMIN", u"ADMINISTRATOR", u"GUEST", u"HOME",   u"OWNER",
                                                u"ROOT",  u"TEST",          u"USER",  u"OFFICE", u"WORK"};
constexpr std::u16string_view kOwnNames[] = {
    u"ALL USERS", u"CLASSES",       u"DEFAULT",        u"DEFAULT USER", u"INSTALLER", u"LOCALSERVICE",
    u"MICROSOFT", u"PRODUCTS",      u"NETWORKSERVICE", u"PUBLIC",       u"SOFTWARE",  u"SYSTEM",
    u"SYSTEM32",  u"SYSTEMPROFILE", u"UNINSTALL",      u"USERS",        u"WINDOWS",   u"WORKGROUP"};

bool IsAsciiLetter(char16_t unit) { return (unit | 0x20) >= u'a' && (unit | 0x20) <= u'z'; }
bool IsHexFigure(char16_t unit) { return IsFigure(unit) || ((unit | 0x20) >= u'a' && (unit | 0x20) <= u'f'); }
bool IsIn(std::u16string_view signs, char16_t unit) { return signs.find(unit) != kNone; }

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

/** Whether what stands there is part of a GUID, or of a product's code as the installer packs it. */
bool IsInCode(std::u16string_view text, std::size_t begin, std::size_t end) {
  const auto isPart = [](char16_t unit) { return IsHexFigure(unit) || unit == u'-'; };
  if (!std::ranges::all_of(text.substr(begin, end - begin), isPart)) return false;
  while (begin > 0 && isPart(text[begin - 1])) --begin;
  while (end < text.size() && isPart(text[end])) ++end;
  const std::u16string_view code = text.substr(begin, end - begin);
  if (code.size() == kPackedGuidChars) return code.find(u'-') == kNone;
  if (code.size() != kGuidChars) return false;
  for (std::size_t i = 0; i < code.size(); ++i) {
    if ((code[i] == u'-') != (i == 8 || i == 13 || i == 18 || i == 23)) return false;
  }
  return true;
}

void AddWords(std::u16string_view text, std::size_t begin, std::size_t end, PersonalParts& parts) {
  for (std::size_t at = begin; at < end; ++at) {
    const std::size_t word = at;
    while (at < end && IsWord(text[at])) ++at;
    if (at != word) parts.push_back({word, at - word, PersonalKind::Word});
  }
}

/** @return where the last name of the domain that begins there is; nowhere where it is none */
std::size_t LastOfDomain(std::u16string_view text, std::size_t begin, std::size_t& end) {
  end = begin;
  while (end < text.size() && (IsWord(text[end]) || IsIn(u"-.", text[end]))) ++end;
  while (end > begin && IsIn(u"-.", text[end - 1])) --end;
  const std::size_t dot = text.substr(0, end).rfind(u'.');
  if (dot == kNone || dot <= begin || end - dot < 3) return kNone;
  return std::ranges::all_of(text.substr(dot + 1, end - dot - 1), IsAsciiLetter) ? dot + 1 : kNone;
}

/** Of a user and a password, with a colon between, each on its own. */
void AddCredentials(std::u16string_view text, std::size_t begin, std::size_t end, PersonalParts& parts) {
  const std::size_t colon = std::min(text.find(u':', begin), end);
  if (colon > begin) parts.push_back({begin, colon - begin, PersonalKind::Word});
  if (end > colon + 1) parts.push_back({colon + 1, end - colon - 1, PersonalKind::Word});
}

/** Of several proxies in a text, each from its name or its scheme on. */
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

bool IsFigure(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

bool IsSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

bool IsWord(char16_t unit) {
  return (unit >= 0x80 && unit != kMasked) || IsFigure(unit) || IsAsciiLetter(unit);
}

bool StartsWith(std::u16string_view text, std::size_t at, std::u16string_view upper) {
  if (text.size() - at < upper.size()) return false;
  for (std::size_t i = 0; i < upper.size(); ++i) {
    if (Folded(text[at + i]) != upper[i]) return false;
  }
  return true;
}

bool IsWindowsOwnName(std::u16string_view name) {
  return std::ranges::find(kOwnNames, name) != std::end(kOwnNames);
}

bool IsSoughtInWords(std::u16string_view name) {
  const bool isNumber = std::ranges::all_of(name, IsFigure);
  return name.size() >= (isNumber ? kTellingFigures : kTellingChars) &&
         std::ranges::find(kCommonNames, name) == std::end(kCommonNames);
}

// Of a user's SID, the numbers of the machine or domain; of one from a directory, those of the user.
void FindSids(std::u16string& text, PersonalParts& parts) {
  for (std::size_t at = text.find(u'-'); at != kNone; at = text.find(u'-', at + 1)) {
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
    if (count != (isLocal ? 3 : 4)) continue;
    parts.push_back({begin, end - begin, PersonalKind::Sid});
    while (end + 1 < text.size() && text[end] == u'-' && IsFigure(text[end + 1]))
      end = SkipFigures(text, end + 1);
    text.replace(at - 1, end - at + 1, end - at + 1, kMasked);
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
      const bool isSought = name.inWords || (isWord && (withShort || name.text.size() >= kTellingChars));
      if (isSought && (name.kind == PersonalKind::Guid || !IsInCode(text, at, end))) {
        parts.push_back({at, end - at, name.kind});
        at = end - 1;
        break;
      }
    }
  }
}

void FindMailAddresses(std::u16string_view text, PersonalParts& parts) {
  for (std::size_t sign = text.find(u'@'); sign != kNone; sign = text.find(u'@', sign + 1)) {
    std::size_t begin = sign;
    const auto isPart = [](char16_t unit) {
      return IsWord(unit) || IsIn(u".+-_'&", unit) || unit == kMasked;
    };
    while (begin > 0 && isPart(text[begin - 1])) --begin;
    std::size_t end = sign + 1;
    const std::size_t last = LastOfDomain(text, sign + 1, end);
    if (begin == sign || last == kNone) continue;
    AddWords(text, begin, sign, parts);
    AddWords(text, sign + 1, last, parts);
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
}

}  // namespace capture
