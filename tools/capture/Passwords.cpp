#include "Passwords.h"

#include <algorithm>

#include "Text.h"

namespace capture {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

bool IsIn(std::u16string_view signs, char16_t unit) { return signs.find(unit) != kNone; }

/** The names of switches, properties and settings whose values are secrets or users, and words that they end
 * in. */
bool IsSecretSetting(std::u16string_view name) {
  constexpr std::u16string_view kNames[] = {
      u"PASS",       u"PASSPHRASE", u"PASSCODE", u"PW",     u"SECRET",     u"TOKEN",
      u"APIKEY",     u"API-KEY",    u"API_KEY",  u"SERIAL", u"LICENSEKEY", u"PIDKEY",
      u"PRODUCTKEY", u"ACCOUNT",    u"LOGIN",    u"USER",   u"USERNAME"};
  constexpr std::u16string_view kWords[] = {u"PASSWORD", u"PASSWD", u"PASSWORT", u"KENNWORT", u"PWD",
                                            u"_PASS",    u"-PASS",  u"_PW",      u"-PW",      u"SECRET"};
  return std::ranges::find(kNames, name) != std::end(kNames) ||
         std::ranges::any_of(kWords, [&](std::u16string_view word) { return name.ends_with(word); });
}

/** Returns the place behind the quote there, which may be escaped with backslashes; `at` if none is there. */
std::size_t SkipQuote(std::u16string_view text, std::size_t at) {
  const std::size_t quote = text.find_first_not_of(u'\\', at);
  return quote < text.size() && IsIn(u"\"'", text[quote]) ? quote + 1 : at;
}

std::size_t SkipBlanks(std::u16string_view text, std::size_t at) {
  while (at < text.size() && text[at] == u' ') ++at;
  return at;
}

/** Returns where the value of a setting begins whose name ends at `at`; nowhere if it has none. */
std::size_t BeginOfValue(std::u16string_view text, std::size_t at, bool isSwitch) {
  const std::size_t name = SkipQuote(text, at);  // a name in quotes, as in JSON
  std::size_t begin = SkipBlanks(text, name);
  const bool hasSign = begin < text.size() && IsIn(u":=", text[begin]);
  if (hasSign) {
    begin = SkipBlanks(text, begin + 1);
  } else if (name != at || begin == at || !isSwitch || begin == text.size() || IsIn(u"-/", text[begin])) {
    return kNone;  // a word of a text, or a switch that another one follows
  }
  begin = SkipQuote(text, begin);
  return begin < text.size() ? begin : kNone;
}

/** Returns how many backslashes are before the place. */
std::size_t CountBackslashes(std::u16string_view text, std::size_t at) {
  const std::u16string_view before = text.substr(0, at);
  return at - (before.find_last_not_of(u'\\') + 1);
}

/**
 * Returns where the value ends that begins behind a quote. The quote that closes it has as many backslashes
 * as the one that opens it. If the text within is escaped too, each of its backslashes is there twice. A
 * value without such a quote ends with its string: a value of the registry may have several.
 */
std::size_t EndOfQuotedValue(std::u16string_view text, std::size_t value) {
  const char16_t quote = text[value - 1];
  const char16_t ends[] = {quote, u'\0'};
  const std::size_t backslashes = CountBackslashes(text, value - 1);
  std::size_t end = value;
  for (; (end = text.find_first_of(ends, end, 2)) != kNone && text[end] == quote; ++end) {
    const std::size_t count = CountBackslashes(text.substr(value), end - value);
    if (count % (2 * backslashes + 2) != backslashes) continue;
    const bool isDoubled = backslashes == 0 && end + 1 < text.size() && text[end + 1] == quote;
    if (!isDoubled) return end - backslashes;
    ++end;
  }
  return std::min(end, text.size());
}

/** Returns where the value that begins there ends. */
std::size_t EndOfValue(std::u16string_view text, std::size_t value) {
  if (IsIn(u"\"'", text[value - 1])) return EndOfQuotedValue(text, value);
  return std::min(text.find_first_of(std::u16string_view(u" \t\r\n\0;&\"", 8), value), text.size());
}

}  // namespace

void FindSecretSettings(std::u16string_view text, PersonalParts& parts) {
  // The sought names are ASCII. Any other unit before one can be a byte of something else.
  const auto isName = [](char16_t unit) { return unit < 0x80 && (IsWord(unit) || IsIn(u"-_", unit)); };
  for (std::size_t begin = 0; begin < text.size(); ++begin) {
    if (!isName(text[begin])) continue;
    std::size_t end = begin;
    while (end < text.size() && isName(text[end])) ++end;
    std::u16string_view name = text.substr(begin, end - begin);
    const bool isSwitch = IsIn(u"-", name[0]) || (begin > 0 && text[begin - 1] == u'/');
    while (!name.empty() && name[0] == u'-') name.remove_prefix(1);
    const std::size_t value = IsSecretSetting(Folded(name)) ? BeginOfValue(text, end, isSwitch) : kNone;
    if (value != kNone) {
      end = EndOfValue(text, value);
      if (end > value) parts.push_back({value, end - value, PersonalKind::Word});
    }
    begin = end;
  }
}

}  // namespace capture
