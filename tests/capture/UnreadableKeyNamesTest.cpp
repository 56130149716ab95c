// Subkeys whose names cannot be read. This program replaces RegEnumKeyExW, because no registry has such keys
// on request: every key has four names that cannot be read, and then "App".
#include <gmock/gmock.h>

#include <string_view>

#include "capture/RegistryCapture.h"
#include "platform/Constants.h"
#include "platform/Registry.h"
#include "simulated/directory/CurrentMachine.h"

namespace {

constexpr platform::LSTATUS kNoSystemResources = 1450;
constexpr platform::DWORD kUnreadableNames = 4;

}  // namespace

namespace platform {

LSTATUS RegEnumKeyExW(HKEY, DWORD index, char16_t* name, DWORD* chars, DWORD*, char16_t*, DWORD*, FILETIME*) {
  constexpr std::u16string_view kName = u"App";
  if (index < kUnreadableNames) return kNoSystemResources;
  if (index > kUnreadableNames) return ERROR_NO_MORE_ITEMS;
  name[kName.copy(name, kName.size())] = u'\0';
  *chars = static_cast<DWORD>(kName.size());
  return ERROR_SUCCESS;
}

}  // namespace platform

namespace capture {
namespace {

TEST(RegistryCapture, ReadsOnBehindUnreadableNamesAsAScanDoes) {
  const std::u16string app =
      u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App";
  simulated::UseMachine(std::make_unique<simulated::Machine>()).registry.SetText(app, u"DisplayName", u"App");
  CapturedMachine captured;
  RegistryCapture(captured, [] {}).Run();
  EXPECT_THAT(captured.keys, testing::Contains(testing::Field(&CapturedKey::path, app)));
}

}  // namespace
}  // namespace capture
