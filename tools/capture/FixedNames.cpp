#include "FixedNames.h"

#include <algorithm>

#include "PersonalText.h"
#include "Text.h"
#include "base/LoadTimeObjects.h"
#include "inventory/UninstallKeyScanner.h"
#include "platform/Constants.h"

namespace capture {
namespace {

constexpr std::u16string_view kKeyNames[] = {
    u"HKEY_LOCAL_MACHINE", u"HKEY_USERS",  u"BIOS",     u"CLASSES",   u"CRYPTOGRAPHY",
    u"CURRENTVERSION",     u"DESCRIPTION", u"HARDWARE", u"INSTALLER", u"INSTALLPROPERTIES",
    u"INTERNET SETTINGS",  u"MICROSOFT",   u"PRODUCTS", u"SOFTWARE",  u"SYSTEM",
    u"TABLET PC",          u"UNINSTALL",   u"USERDATA", u"WINDOWS",   u"WOW6432NODE"};
constexpr std::u16string_view kValueNames[] = {
    u"BASEBOARDMANUFACTURER", u"DISPLAYICON",       u"DISPLAYNAME",     u"DISPLAYVERSION",  u"INSTALLDATE",
    u"INSTALLLOCATION",       u"ISTABLETPC",        u"MACHINEGUID",     u"PARENTKEYNAME",   u"PRODUCTICON",
    u"PRODUCTNAME",           u"PROXYENABLE",       u"PROXYSERVER",     u"PUBLISHER",       u"RELEASETYPE",
    u"SYSTEMCOMPONENT",       u"SYSTEMPRODUCTNAME", u"UNINSTALLSTRING", u"WINDOWSINSTALLER"};
/** The library reads these values as numbers, texts too. */
constexpr std::u16string_view kNumbers[] = {u"ISTABLETPC", u"PROXYENABLE", u"SYSTEMCOMPONENT",
                                            u"WINDOWSINSTALLER"};
constexpr std::u16string_view kOwners[] = {u"REGISTEREDOWNER", u"REGISTEREDUSER", u"REGOWNER", u"REGUSER"};
constexpr std::u16string_view kOrganizations[] = {u"REGCOMPANY", u"REGISTEREDCOMPANY",
                                                  u"REGISTEREDORGANIZATION", u"REGORGANIZATION"};

template <typename List>
bool IsIn(const List& list, std::u16string_view name) {
  return std::ranges::find(list, name) != std::end(list);
}

std::size_t CharsOfNumber(std::u16string_view text) {
  std::size_t at = 0;
  while (at < text.size() && (text[at] == u' ' || (text[at] >= 9 && text[at] <= 13))) ++at;
  if (at < text.size() && (text[at] == u'+' || text[at] == u'-')) ++at;
  while (at < text.size() && IsFigure(text[at])) ++at;
  return at;
}

std::u16string WithoutBlanks(std::u16string_view name) {
  std::u16string bare = AsciiUpper(name);
  std::erase(bare, u' ');
  return bare;
}

}  // namespace

bool IsFixedKeyName(std::u16string_view name) {
  return IsIn(kKeyNames, AsciiUpper(name)) ||
         kestrelbay::JudgeUpdate(name, {}, {}) != kestrelbay::Verdict::Accepted;
}

bool IsFixedValueName(std::u16string_view name) { return IsIn(kValueNames, AsciiUpper(name)); }

std::size_t DecidingBytes(const CapturedValue& value) {
  const bool isNumber = value.type == platform::REG_DWORD && value.bytes.size() <= sizeof(std::uint32_t);
  if (isNumber) return value.bytes.size();
  if (!IsText(value)) return 0;
  std::u16string text;
  for (std::size_t i = 0; i + 1 < value.bytes.size(); i += 2)
    text += static_cast<char16_t>(value.bytes[i] | value.bytes[i + 1] << 8);
  if (IsIn(kNumbers, AsciiUpper(value.name))) return 2 * CharsOfNumber(text);
  const std::u16string_view seen = std::u16string_view(text).substr(0, text.find(u'\0'));
  const bool isCompared = seen == kestrelbay::ExcludedPublisher ||
                          kestrelbay::JudgeUpdate({}, {}, seen) == kestrelbay::Verdict::UpdateRelease;
  return isCompared ? 2 * seen.size() : 0;
}

bool IsText(const CapturedValue& value) { return value.type == 1 || value.type == 2 || value.type == 7; }

bool HoldsOwner(std::u16string_view valueName) {
  return IsIn(kOwners, WithoutBlanks(valueName)) || HoldsOrganization(valueName);
}

bool HoldsOrganization(std::u16string_view valueName) {
  return IsIn(kOrganizations, WithoutBlanks(valueName));
}

bool HoldsProxies(std::u16string_view valueName) { return AsciiUpper(valueName) == u"PROXYSERVER"; }

}  // namespace capture
