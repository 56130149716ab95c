#include "BareScan.h"

#include <BareCalls.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace bench {
namespace {

constexpr std::size_t kNameChars = 260;
constexpr DWORD kValueBytes = 520;
constexpr const BareChar* kUninstall = BARE_TEXT("Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall");
constexpr const BareChar* kUserData =
    BARE_TEXT("Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData");
constexpr REGSAM kRead32 = KEY_READ | KEY_WOW64_32KEY;
constexpr REGSAM kRead64 = KEY_READ | KEY_WOW64_64KEY;
// For each digit of a packed code, its position in a product code with braces.
constexpr std::array<std::uint8_t, 32> kPackedFrom = {8,  7,  6,  5,  4,  3,  2,  1,  13, 12, 11,
                                                      10, 18, 17, 16, 15, 21, 20, 23, 22, 26, 25,
                                                      28, 27, 30, 29, 32, 31, 34, 33, 36, 35};

class BareKey {
 public:
  BareKey(HKEY parent, const BareChar* path, REGSAM access) {
    if (RegOpenKeyExW(parent, path, 0, access, &key_)) key_ = nullptr;
  }
  ~BareKey() {
    if (key_) RegCloseKey(key_);
  }
  BareKey(const BareKey&) = delete;
  BareKey& operator=(const BareKey&) = delete;

  HKEY Get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

// Names, each with a NUL after it, in one block.
std::vector<BareChar> ListNames(HKEY key) {
  std::vector<BareChar> names;
  std::array<BareChar, kNameChars> name;
  for (DWORD index = 0;; ++index) {
    DWORD chars = kNameChars;
    if (RegEnumKeyExW(key, index, name.data(), &chars, nullptr, nullptr, nullptr, nullptr)) return names;
    names.insert(names.end(), name.data(), name.data() + chars + 1);
  }
}

std::size_t Length(const BareChar* text) {
  std::size_t length = 0;
  while (text[length]) ++length;
  return length;
}

struct BareValue {
  std::array<BYTE, kValueBytes> bytes;
  DWORD type = 0;

  void Read(HKEY key, const BareChar* name) {
    DWORD size = kValueBytes;
    if (RegQueryValueExW(key, name, nullptr, &type, bytes.data(), &size)) type = 0;
  }
  bool ReadFlag(HKEY key, const BareChar* name) {
    Read(key, name);
    DWORD number = 0;
    std::memcpy(&number, bytes.data(), sizeof number);
    return type == REG_DWORD && number == 1;
  }
};

void ReadLastWriteTime(HKEY key) {
  FILETIME time;
  RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                   nullptr, &time);
}

void ReadPlainEntry(HKEY key, BareValue& value) {
  value.Read(key, BARE_TEXT("ReleaseType"));
  value.Read(key, BARE_TEXT("DisplayVersion"));
  value.Read(key, BARE_TEXT("DisplayName"));
  value.Read(key, BARE_TEXT("InstallLocation"));
  value.Read(key, BARE_TEXT("DisplayIcon"));
  value.Read(key, BARE_TEXT("InstallDate"));
  ReadLastWriteTime(key);
  value.Read(key, BARE_TEXT("UninstallString"));
  value.Read(key, BARE_TEXT("ParentKeyName"));
  value.Read(key, BARE_TEXT("Publisher"));
}

void ReadProduct(HKEY productsKey, const BareChar* productCode, BareValue& value) {
  std::array<BareChar, kPackedFrom.size() + 1> packed;
  for (std::size_t at = 0; at < kPackedFrom.size(); ++at) packed[at] = productCode[kPackedFrom[at]];
  packed.back() = 0;
  const BareKey product(productsKey, packed.data(), KEY_READ);
  if (!product.Get()) return;
  value.Read(product.Get(), BARE_TEXT("ProductName"));
  value.Read(product.Get(), BARE_TEXT("ProductIcon"));
}

void ReadInstallerEntry(HKEY key, BareValue& value) {
  value.Read(key, BARE_TEXT("DisplayName"));
  value.Read(key, BARE_TEXT("DisplayVersion"));
  value.Read(key, BARE_TEXT("InstallLocation"));
  value.Read(key, BARE_TEXT("InstallDate"));
  ReadLastWriteTime(key);
  value.Read(key, BARE_TEXT("DisplayIcon"));
  value.Read(key, BARE_TEXT("Publisher"));
  value.Read(key, BARE_TEXT("UninstallString"));
}

void ReadEntry(HKEY parent, const BareChar* name, REGSAM access, HKEY productsKey) {
  const BareKey key(parent, name, access);
  BareValue value;
  if (!key.Get() || value.ReadFlag(key.Get(), BARE_TEXT("SystemComponent"))) return;
  if (value.ReadFlag(key.Get(), BARE_TEXT("WindowsInstaller"))) {
    ReadProduct(productsKey, name, value);
    ReadInstallerEntry(key.Get(), value);
  } else {
    ReadPlainEntry(key.Get(), value);
  }
}

void ReadUninstallKey(HKEY key, REGSAM access, HKEY productsKey) {
  if (!key) return;
  const std::vector<BareChar> names = ListNames(key);
  const BareChar* const end = names.data() + names.size();
  for (const BareChar* name = names.data(); name < end; name += Length(name) + 1) {
    ReadEntry(key, name, access, productsKey);
  }
}

struct HivePath {
  std::array<BareChar, 2 * kNameChars> text;

  HivePath(const BareChar* hive, const BareChar* path) {
    const std::size_t length = Length(hive);
    std::memcpy(text.data(), hive, length * sizeof(BareChar));
    text[length] = '\\';
    std::memcpy(text.data() + length + 1, path, (Length(path) + 1) * sizeof(BareChar));
  }
};

void ReadHive(const BareChar* hive, HKEY productsKey) {
  const BareKey uninstall(HKEY_USERS, HivePath(hive, kUninstall).text.data(), KEY_READ);
  ReadUninstallKey(uninstall.Get(), KEY_READ, productsKey);
  const HivePath productsPath(hive, BARE_TEXT("Software\\Microsoft\\Installer\\Products"));
  const BareKey products(HKEY_USERS, productsPath.text.data(), KEY_READ);
  if (!products.Get()) return;
  const BareKey userData32(HKEY_LOCAL_MACHINE, kUserData, kRead32);
  const BareKey userData64(HKEY_LOCAL_MACHINE, kUserData, kRead64);
  if (userData32.Get()) ListNames(products.Get());
  if (userData64.Get()) ListNames(products.Get());
}

}  // namespace

void BareScan() {
  const BareKey products(HKEY_LOCAL_MACHINE, BARE_TEXT("Software\\Classes\\Installer\\Products"), KEY_READ);
  {
    const BareKey uninstall32(HKEY_LOCAL_MACHINE, kUninstall, kRead32);
    ReadUninstallKey(uninstall32.Get(), kRead32, products.Get());
    const BareKey uninstall64(HKEY_LOCAL_MACHINE, kUninstall, kRead64);
    ReadUninstallKey(uninstall64.Get(), kRead64, products.Get());
  }
  const std::vector<BareChar> hives = ListNames(HKEY_USERS);
  const BareChar* const end = hives.data() + hives.size();
  for (const BareChar* hive = hives.data(); hive < end; hive += Length(hive) + 1) {
    ReadHive(hive, products.Get());
  }
}

}  // namespace bench
