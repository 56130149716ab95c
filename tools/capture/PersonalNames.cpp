#include "PersonalNames.h"

#include <algorithm>

#include "PersonalText.h"

namespace capture {
namespace {

/** kTellingChars of names that are numbers: years, versions and dates have short numbers by chance. */
constexpr std::size_t kTellingFigures = 6;

/** Names of users on many machines. They are found only as words of their own, because other words contain
 * them. */
constexpr std::u16string_view kCommonNames[] = {u"ADMIN", u"ADMINISTRATOR", u"GUEST", u"HOME",   u"OWNER",
                                                u"ROOT",  u"TEST",          u"USER",  u"OFFICE", u"WORK"};
constexpr std::u16string_view kOwnNames[] = {
    u"ALL USERS", u"CLASSES",       u"DEFAULT",        u"DEFAULT USER", u"INSTALLER", u"LOCALSERVICE",
    u"MICROSOFT", u"PRODUCTS",      u"NETWORKSERVICE", u"PUBLIC",       u"SOFTWARE",  u"SYSTEM",
    u"SYSTEM32",  u"SYSTEMPROFILE", u"UNINSTALL",      u"USERS",        u"WINDOWS",   u"WORKGROUP"};

}  // namespace

bool IsWindowsOwnName(std::u16string_view name) {
  return std::ranges::find(kOwnNames, name) != std::end(kOwnNames);
}

bool IsSoughtInWords(std::u16string_view name) {
  const bool isNumber = std::ranges::all_of(name, IsFigure);
  return name.size() >= (isNumber ? kTellingFigures : kTellingChars) &&
         std::ranges::find(kCommonNames, name) == std::end(kCommonNames);
}

std::vector<std::u16string> PartsOfName(std::u16string_view name) {
  std::vector<std::u16string> parts;
  for (std::size_t at = 0; at < name.size(); ++at) {
    const std::size_t begin = at;
    while (at < name.size() && IsWord(name[at])) ++at;
    const std::u16string_view part = name.substr(begin, at - begin);
    const bool isCommon = std::ranges::find(kCommonNames, part) != std::end(kCommonNames);
    const bool isPart = part.size() >= kTellingChars && part.size() < name.size();
    if (isPart && !isCommon && !std::ranges::all_of(part, IsFigure)) parts.emplace_back(part);
  }
  return parts;
}

}  // namespace capture
