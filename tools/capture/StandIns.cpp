#include "StandIns.h"

#include <algorithm>
#include <functional>

#include "PersonalText.h"
#include "Text.h"

namespace capture {
namespace {

/** The tries for one name. If all short stand-ins are used, they are used again, without more tries. */
constexpr std::size_t kMostTries = 100000;

constexpr std::u16string_view kLetters = u"abcdefghijklmnopqrstuvwxyz";

/** Returns the last `count` digits of the number, with leading zeros. */
std::u16string InFigures(std::size_t number, std::size_t count, std::u16string_view figures) {
  std::u16string text(count, figures[0]);
  for (std::size_t i = count; i-- > 0; number /= figures.size()) text[i] = figures[number % figures.size()];
  return text;
}

/** Returns how many texts of so many letters exist. */
std::size_t CountOfWords(std::size_t letters) {
  std::size_t count = 1;
  for (; letters > 0 && count < kMostTries; --letters) count *= kLetters.size();
  return count;
}

/** Returns the prefix and the number in letters; without the prefix if it leaves no room for the number. */
std::u16string Letters(const std::u16string& name, std::size_t number, std::u16string_view prefix) {
  const std::size_t length = name.size();
  std::size_t taken = length > prefix.size() + 1 ? prefix.size() : std::min<std::size_t>(length - 1, 1);
  if (number >= CountOfWords(length - taken)) taken = 0;
  std::u16string made = std::u16string(prefix.substr(0, taken)) + InFigures(number, length - taken, kLetters);
  // Percent signs stay, because each pair of them names a variable.
  for (std::size_t i = 0; i < length; ++i) {
    if (name[i] == u'%') made[i] = u'%';
  }
  return made;
}

/** Returns the name with other digits and the same signs. */
std::u16string SameSigns(const std::u16string& name, std::size_t number, std::u16string_view figures,
                         bool isDecimal) {
  const auto isSign = [](char16_t unit) { return unit == u'-' || unit == u'{' || unit == u'}'; };
  const auto count = static_cast<std::size_t>(std::ranges::count_if(name, std::not_fn(isSign)));
  const std::u16string made = InFigures(number, count, figures);
  std::u16string standIn;
  for (std::size_t i = 0; const char16_t unit : name) {
    const bool isFirst = standIn.empty() || isSign(standIn.back());
    // Ten digits that begin with 1 to 3 fit in 32 bits.
    const bool isZero = isDecimal && isFirst && !isSign(unit) && made[i] == u'0';
    standIn += isSign(unit) ? unit : isZero ? u'1' : isDecimal && isFirst && made[i] > u'3' ? u'2' : made[i];
    if (!isSign(unit)) ++i;
  }
  return standIn;
}

}  // namespace

void StandIns::Give(const std::u16string& name, const std::u16string& standIn) {
  given_.insert(AsciiUpper(standIn));
  made_[name] = standIn;
}

void StandIns::Avoid(std::u16string_view name) { avoided_.emplace(name); }

bool StandIns::IsTaken(const std::u16string& standIn) const {
  const std::u16string upper = AsciiUpper(standIn);
  if (given_.contains(upper) || avoided_.contains(upper)) return true;
  // Names that begin with the same units are adjacent.
  for (std::size_t at = 0; at + kTellingChars <= upper.size(); ++at) {
    const std::u16string_view rest = std::u16string_view(upper).substr(at);
    const std::u16string_view first = rest.substr(0, kTellingChars);
    for (auto name = avoided_.lower_bound(first); name != avoided_.end() && name->starts_with(first);
         ++name) {
      if (rest.starts_with(*name)) return true;
    }
  }
  return false;
}

const std::u16string& StandIns::Of(const std::u16string& name, Alphabet alphabet,
                                   std::u16string_view prefix) {
  const auto found = made_.find(name);
  if (found != made_.end()) return found->second;
  Numbering& numbering = next_[std::u16string(prefix) + ToWide(static_cast<unsigned long long>(name.size()))];
  std::u16string standIn;
  for (std::size_t tries = 0;;) {
    const std::size_t number = ++numbering.last;
    standIn = alphabet == Alphabet::Letters       ? Letters(name, number, prefix)
              : alphabet == Alphabet::Hexadecimal ? SameSigns(name, number, u"0123456789abcdef", false)
                                                  : SameSigns(name, number, u"0123456789", true);
    if (numbering.isExhausted || !IsTaken(standIn)) break;
    numbering.isExhausted = ++tries == kMostTries;
  }
  Give(name, standIn);
  return made_[name];
}

std::u16string StandIns::Spelt(std::u16string standIn, std::u16string_view spelling) {
  for (std::size_t i = 0; i < standIn.size(); ++i) {
    const bool isLetter = standIn[i] >= u'a' && standIn[i] <= u'z';
    if (isLetter && IsCapital(spelling[i])) standIn[i] = static_cast<char16_t>(standIn[i] - 0x20);
  }
  return standIn;
}

}  // namespace capture
