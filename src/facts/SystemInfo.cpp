#include "facts/SystemInfo.h"

#include <cerrno>
#include <stdexcept>

#include "base/CommonFunc.h"
#include "base/RegistryKey.h"
#include "base/SDKLog.h"
#include "facts/GraphicsAdapters.h"
#include "platform/Files.h"
#include "platform/RuntimeText.h"

namespace kestrelbay {
namespace {

constexpr char kFile[] = "SystemInfo";
constexpr unsigned kMebibyteBits = 20;
constexpr char kCryptographyPath[] = "SOFTWARE\\Microsoft\\Cryptography";
constexpr char kBiosPath[] = "HARDWARE\\DESCRIPTION\\System\\BIOS";
constexpr char kInternetSettingsPath[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr char kTabletPath[] = "SOFTWARE\\Microsoft\\Windows\\Tablet PC";

std::string ReadText(const RegistryKey& key, const char16_t* name) {
  return WideToUtf8(ReadRegistryValue(key, name));
}

}  // namespace

SystemInfo& SystemInfo::GetInstance() {
  static SystemInfo instance;
  return instance;
}

// The failure texts differ by design: log filters of hosts know each of them. A missing value logs nothing
// here, because the export logs each empty fact.

std::string SystemInfo::GetDeviceId() {
  const auto key = OpenKey64(LocalMachineRoot(), Utf8ToWide(kCryptographyPath));
  // Unchanged: hosts compare it with an identity that they stored earlier.
  if (key) return ReadText(*key, u"MachineGuid");
  SDK_LOG(kLogError, kFile, "failed open the registry, the path is %s.", kCryptographyPath);
  return {};
}

std::string SystemInfo::GetManufacturer() {
  const auto key = OpenKey64(LocalMachineRoot(), Utf8ToWide(kBiosPath));
  if (key) return ReadText(*key, u"BaseBoardManufacturer");
  SDK_LOG(kLogError, kFile, "failed open the registry, the path is %s.", kBiosPath);
  return {};
}

std::string SystemInfo::GetProductName() {
  const auto key = OpenKey64(LocalMachineRoot(), Utf8ToWide(kBiosPath));
  if (key) return ReadText(*key, u"SystemProductName");
  SDK_LOG(kLogError, kFile, "failed open registry. the path is %s.", kBiosPath);
  return {};
}

std::string SystemInfo::GetProxyServer() {
  // By design a copy, which closes HKEY_CURRENT_USER.
  const RegistryKey user = CurrentUserRoot();  // NOLINT(performance-unnecessary-copy-initialization)
  const auto key = OpenKey(user, Utf8ToWide(kInternetSettingsPath));
  if (!key) {
    SDK_LOG(kLogError, kFile, "failed open registry. the path is %s.", kInternetSettingsPath);
    return {};
  }
  const std::u16string server = ReadRegistryValue(*key, u"ProxyServer");
  // By design a missing switch is not "off": it throws into the host, and so does IsTabletPC without its
  // value.
  const bool isEnabled = ParseDecimal(ReadRegistryValue(*key, u"ProxyEnable")) >= 1;
  return isEnabled ? WideToUtf8(server) : std::string();
}

std::string SystemInfo::GetGraphics() {
  std::string names;
  const char* separator = "";
  for (const std::string& name : GraphicsAdapterNames()) {
    names.append(separator).append(name);
    separator = ",";
  }
  return names;
}

std::int64_t SystemInfo::GetDiskAvailableSpace(const char* path) {
  if (!path || !*path) return -1;
  // One byte, by design: a letter outside ASCII is not valid UTF-8 then, and the call fails.
  const std::u16string root = Utf8ToWide({path[0], ':', '/'});
  std::uint64_t freeToCaller = 0;
  std::uint64_t total = 0;
  std::uint64_t totalFree = 0;
  if (!platform::GetDiskFreeSpaceExW(root.c_str(), &freeToCaller, &total, &totalFree)) return -1;
  // The space for the caller and not of the drive: a quota may be smaller.
  return static_cast<std::int64_t>(freeToCaller >> kMebibyteBits);
}

bool SystemInfo::IsTabletPC() {
  const auto key = OpenKey(LocalMachineRoot(), Utf8ToWide(kTabletPath));
  // The value is spelled differently from the function.
  if (key) return ParseDecimal(ReadRegistryValue(*key, u"IsTabletPc")) > 0;
  SDK_LOG(kLogError, kFile, "failed open registry, the path is %s.", kTabletPath);
  return false;
}

// Not std::stoi, which knows no char16_t. The texts of the exceptions are prescribed, because they reach the
// host.
std::int32_t ParseDecimal(const std::u16string& text) {
  errno = 0;
  char16_t* end = nullptr;
  // 32 bits on each platform, so that a larger number is out of range everywhere.
  const platform::LONG number = platform::wcstol(text.c_str(), &end, 10);
  if (end == text.c_str()) throw std::invalid_argument("invalid stoi argument");
  if (errno == ERANGE) throw std::out_of_range("stoi argument out of range");
  return number;
}

}  // namespace kestrelbay
