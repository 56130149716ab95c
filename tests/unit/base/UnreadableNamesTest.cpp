// Subkeys whose names cannot be read, in numbers that a test cannot put into a registry. This file replaces
// the function of the port by one with as many readable and unreadable names as the test sets.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <string>

#include "base/RegistryKey.h"
#include "platform/Constants.h"
#include "platform/Registry.h"

namespace {

constexpr platform::LSTATUS kMoreData = 234;

platform::DWORD nameCount = 0;
std::function<bool(platform::DWORD)> isReadable;
platform::DWORD calls = 0;

}  // namespace

namespace platform {

LSTATUS RegEnumKeyExW(HKEY, DWORD index, char16_t* name, DWORD*, DWORD*, char16_t*, DWORD*, FILETIME*) {
  ++calls;
  if (index >= nameCount) return ERROR_NO_MORE_ITEMS;
  if (!isReadable(index)) return kMoreData;
  const std::string digits = std::to_string(index);
  *std::copy(digits.begin(), digits.end(), name) = u'\0';
  return ERROR_SUCCESS;
}

}  // namespace platform

namespace kestrelbay {
namespace {

using testing::ElementsAre;

/** @return the names listed for a key with that many subkeys */
std::vector<std::u16string> ListOf(platform::DWORD count, std::function<bool(platform::DWORD)> readable) {
  nameCount = count;
  isReadable = std::move(readable);
  calls = 0;
  return ListSubKeyNames(LocalMachineRoot());
}

TEST(UnreadableNames, HideNoLaterName) {
  constexpr platform::DWORD kLast = 0xFFFF;
  EXPECT_THAT(ListOf(kLast + 1, [](platform::DWORD index) { return index == kLast; }), ElementsAre(u"65535"));
  EXPECT_EQ(calls, kLast + 2);
}

TEST(UnreadableNames, AreCountedAnewAfterAReadableName) {
  constexpr platform::DWORD kCount = 200000;
  const auto names = ListOf(kCount, [](platform::DWORD index) { return index % 50000 == 49999; });
  EXPECT_THAT(names, ElementsAre(u"49999", u"99999", u"149999", u"199999"));
  EXPECT_EQ(calls, kCount + 1);
}

TEST(UnreadableNames, EndTheListIfThereAreTooManyInARow) {
  const auto names = ListOf(UINT32_MAX, [](platform::DWORD index) { return index < 2; });
  EXPECT_THAT(names, ElementsAre(u"0", u"1"));
  EXPECT_EQ(calls, 2U + 0x10000);
}

}  // namespace
}  // namespace kestrelbay
