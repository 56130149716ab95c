#include "console/Setting.h"

#include <string_view>

#include "platform/Constants.h"
#include "platform/Registry.h"

namespace cli {
namespace {

std::string FromAscii(std::u16string_view text) { return {text.begin(), text.end()}; }

}  // namespace

bool Exists(const Setting& setting) {
  platform::HKEY key = nullptr;
  const platform::HKEY root = setting.isOfUser ? platform::HKEY_CURRENT_USER : platform::HKEY_LOCAL_MACHINE;
  if (platform::RegOpenKeyExW(root, setting.key, 0, platform::KEY_READ, &key) != platform::ERROR_SUCCESS)
    return false;
  const platform::LSTATUS status =
      platform::RegQueryValueExW(key, setting.value, nullptr, nullptr, nullptr, nullptr);
  platform::RegCloseKey(key);
  return status == platform::ERROR_SUCCESS;
}

std::string NameOf(const Setting& setting) {
  return '"' + FromAscii(setting.value) + "\" of " +
         (setting.isOfUser ? "HKEY_CURRENT_USER\\" : "HKEY_LOCAL_MACHINE\\") + FromAscii(setting.key);
}

}  // namespace cli
