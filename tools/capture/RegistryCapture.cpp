#include "RegistryCapture.h"

#include <algorithm>
#include <array>

#include "MachineCalls.h"
#include "Text.h"
#include "base/LoadTimeObjects.h"
#include "base/RegistryKey.h"
#include "platform/Constants.h"
#include "platform/Registry.h"

namespace capture {
namespace {

using platform::DWORD;
using platform::HKEY;
using platform::LSTATUS;

using kestrelbay::kUnreadableNamesInARow;

constexpr LSTATUS kFileNotFound = 2, kAccessDenied = 5, kMoreData = 234;
/** A scan does not read the branch of the machine's own products: the uninstall keys list these products. */
constexpr std::u16string_view kMachineSid = u"S-1-5-18";
/** The capacity that a scan has for a name. Windows reports a longer name as an error. */
constexpr DWORD kKeyNameChars = 260;
/** A key that changes during each reading is captured as it was read last. */
constexpr int kMostReadings = 3;

/** Owns a key of the registry. */
class OpenKey {
 public:
  explicit OpenKey(HKEY handle) : handle_(handle) {}
  ~OpenKey() {
    if (handle_) platform::RegCloseKey(handle_);
  }
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;

  HKEY Get() const { return handle_; }

 private:
  const HKEY handle_;
};

std::uint64_t LastWriteTime(HKEY key) {
  platform::FILETIME time{};
  platform::RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, &time);
  return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

LSTATUS QueryValue(HKEY key, const char16_t* name, CapturedValue& value) {
  DWORD type = 0;
  DWORD bytes = 0;
  LSTATUS status = platform::RegQueryValueExW(key, name, nullptr, &type, nullptr, &bytes);
  while (status == 0) {
    value.bytes.resize(std::max<DWORD>(bytes, 1));
    bytes = static_cast<DWORD>(value.bytes.size());
    status = platform::RegQueryValueExW(key, name, nullptr, &type, value.bytes.data(), &bytes);
    if (status == 0) break;
    if (status == kMoreData) status = 0;
  }
  value.bytes.resize(bytes);
  value.name = name;
  value.type = static_cast<std::uint32_t>(type);
  return status;
}

std::u16string ErrorText(LSTATUS status) {
  return u" (error " + ToWide(static_cast<unsigned long long>(status)) + u")";
}

bool HasLineEnd(std::u16string_view text) { return text.find_first_of(u"\r\n") != text.npos; }

/** Returns the path below HKEY_LOCAL_MACHINE where the registry stores a key of the 32-bit view. */
std::u16string StoredIn32Bits(std::u16string_view path) {
  const std::size_t below = path.find(u'\\');
  return std::u16string(path.substr(0, below)) + u"\\Wow6432Node" + std::u16string(path.substr(below));
}

}  // namespace

RegistryCapture::Place RegistryCapture::Place::At(std::u16string_view name) const {
  const std::u16string more = u"\\" + std::u16string(name);
  return {root, path + more, view, stored + more};
}

RegistryCapture::Place RegistryCapture::Place::Listed(std::u16string_view name) const {
  Place place = At(name);
  place.isListed = true;
  return place;
}

RegistryCapture::Place RegistryCapture::InMachine(std::u16string_view path, platform::REGSAM view) {
  const std::u16string stored =
      view == platform::KEY_WOW64_32KEY ? StoredIn32Bits(path) : std::u16string(path);
  return {platform::HKEY_LOCAL_MACHINE, std::u16string(path), view, u"HKEY_LOCAL_MACHINE\\" + stored};
}

RegistryCapture::Place RegistryCapture::InHive(const std::u16string& hive, std::u16string_view path) {
  const std::u16string whole = hive + u"\\" + std::u16string(path);
  return {platform::HKEY_USERS, whole, 0, u"HKEY_USERS\\" + whole};
}

void RegistryCapture::Run() {
  MachineKeys();
  Names hives;
  ReadNames(platform::HKEY_USERS, u"HKEY_USERS", hives);
  for (const std::u16string& hive : hives) Hive(hive);
  if (machine_.userSid.empty())
    return Note(u"HKEY_CURRENT_USER", u"its user is not known; the proxy is not captured");
  Place settings =
      InHive(machine_.userSid, u"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings");
  settings.root = platform::HKEY_CURRENT_USER;
  settings.path.erase(0, machine_.userSid.size() + 1);
  Values(settings, {u"ProxyEnable", u"ProxyServer"});
}

void RegistryCapture::MachineKeys() {
  using platform::KEY_WOW64_32KEY;
  using platform::KEY_WOW64_64KEY;
  Values(InMachine(u"SOFTWARE\\Microsoft\\Cryptography", KEY_WOW64_64KEY), {u"MachineGuid"});
  Values(InMachine(u"HARDWARE\\DESCRIPTION\\System\\BIOS", KEY_WOW64_64KEY),
         {u"BaseBoardManufacturer", u"SystemProductName"});
  Values(InMachine(u"SOFTWARE\\Microsoft\\Windows\\Tablet PC", 0), {u"IsTabletPc"});
  WithSubKeys(InMachine(kestrelbay::InstallerClassesPath, 0));
  for (const platform::REGSAM view : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
    Tree(InMachine(kestrelbay::UninstallKeyPath, view));
    UserData(InMachine(kestrelbay::InstallerUserDataPath, view));
  }
}

void RegistryCapture::UserData(const Place& userData) {
  for (const std::u16string& sid : Key(userData)) {
    AddName(userData.Listed(sid));
    if (sid != kMachineSid) UserProducts(userData.At(sid).At(u"Products"));
  }
}

void RegistryCapture::UserProducts(const Place& products) {
  for (const std::u16string& code : Key(products)) {
    AddName(products.Listed(code));
    Key(products.At(code).At(u"InstallProperties"));
  }
}

void RegistryCapture::Hive(const std::u16string& hive) {
  Place place = InHive(hive, u"");
  place.stored.pop_back();
  AddName(place);
  Tree(InHive(hive, kestrelbay::UninstallKeyPath));
  WithSubKeys(InHive(hive, kestrelbay::UserProductsPath));
}

void RegistryCapture::AddName(const Place& place) { Add({.path = place.stored}); }

RegistryCapture::Names RegistryCapture::Key(const Place& place) {
  poll_();
  Names names;
  const OpenKey key(Open(place));
  if (!key.Get()) return names;
  CapturedKey captured{.path = place.stored};
  for (int reading = 1;; ++reading) {
    captured.lastWriteTime = LastWriteTime(key.Get());
    ReadWhole(key.Get(), captured, names);
    if (LastWriteTime(key.Get()) == captured.lastWriteTime) break;
    if (reading < kMostReadings) continue;
    Note(place.stored, u"changed each time it was read; it is captured as it was read last");
    break;
  }
  Add(std::move(captured));
  return names;
}

void RegistryCapture::WithSubKeys(const Place& place) {
  for (const std::u16string& name : Key(place)) Key(place.Listed(name));
}

void RegistryCapture::Tree(const Place& place) {
  for (const std::u16string& name : Key(place)) Tree(place.Listed(name));
}

void RegistryCapture::Values(const Place& place, const ValueNames& names) {
  const OpenKey key(Open(place));
  if (!key.Get()) return;
  CapturedKey captured{.path = place.stored, .lastWriteTime = LastWriteTime(key.Get())};
  for (const char16_t* name : names) {
    CapturedValue value;
    const LSTATUS status = QueryValue(key.Get(), name, value);
    if (status == 0) captured.values.push_back(std::move(value));
    if (status != 0 && status != kFileNotFound)
      Note(place.stored, u"its value " + std::u16string(name) + u" cannot be read" + ErrorText(status));
  }
  Add(std::move(captured));
}

HKEY RegistryCapture::Open(const Place& place) {
  HKEY key = nullptr;
  const LSTATUS status =
      platform::RegOpenKeyExW(place.root, place.path.c_str(), 0, platform::KEY_READ | place.view, &key);
  if (status == kAccessDenied) {
    Note(place.stored, u"access denied, to the library as well");
    Add({.path = place.stored, .isDenied = true});
  } else if (status == kFileNotFound && place.isListed) {
    Note(place.stored, u"was deleted while the machine was read");
  } else if (status != 0 && status != kFileNotFound) {
    Note(place.stored, u"cannot be opened" + ErrorText(status));
  }
  return status == 0 ? key : nullptr;
}

void RegistryCapture::ReadWhole(HKEY key, CapturedKey& captured, Names& names) {
  captured.values.clear();
  names.clear();
  ReadValues(key, captured);
  ReadNames(key, captured.path, names);
}

void RegistryCapture::ReadValues(HKEY key, CapturedKey& captured) {
  DWORD failures = 0;
  for (DWORD index = 0; failures < kUnreadableNamesInARow; ++index) {
    CapturedValue value;
    const LSTATUS status = EnumerateValue(key, index, value);
    if (status == platform::ERROR_NO_MORE_ITEMS) break;
    failures = status == 0 ? 0 : failures + 1;
    if (status == 0)
      captured.values.push_back(std::move(value));
    else
      Note(captured.path, u"a value cannot be read" + ErrorText(status));
  }
}

void RegistryCapture::ReadNames(HKEY key, const std::u16string& path, Names& names) {
  std::array<char16_t, kKeyNameChars> name;
  DWORD unreadable = 0;
  // The same loop as in a scan, so that the capture has every key that the scan has.
  for (DWORD index = 0; unreadable < kUnreadableNamesInARow; ++index) {
    DWORD chars = kKeyNameChars;
    const LSTATUS status =
        platform::RegEnumKeyExW(key, index, name.data(), &chars, nullptr, nullptr, nullptr, nullptr);
    if (status == platform::ERROR_NO_MORE_ITEMS) break;
    unreadable = status == 0 ? 0 : unreadable + 1;
    if (status == kMoreData) {
      Note(path, u"has a subkey whose name is too long; the library skips it, too");
    } else if (status != 0) {
      Note(path, u"a subkey cannot be listed" + ErrorText(status));
    } else if (HasLineEnd(name.data())) {
      Note(path, u"has a subkey with a line end in its name, which a .reg file cannot contain");
    } else {
      names.emplace_back(name.data());
    }
  }
}

void RegistryCapture::Add(CapturedKey key) { machine_.keys.push_back(std::move(key)); }

void RegistryCapture::Note(const std::u16string& path, std::u16string_view what) {
  if (noted_.emplace(path, what).second) machine_.notes.push_back({path, std::u16string(what)});
}

}  // namespace capture
