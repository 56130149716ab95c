#include "base/RegistryKey.h"

#include <array>
#include <charconv>
#include <cstring>

#include "platform/Constants.h"
#include "platform/Registry.h"
#include "platform/Text.h"

namespace kestrelbay {
namespace {

// Registry key names have at most 255 characters.
constexpr std::size_t kNameChars = 260;
// A longer value reads as empty, by design: 260 characters, the longest path of the Windows shell.
constexpr std::size_t kValueBytes = 520;
constexpr std::int64_t kUnixEpochFileTime = 116444736000000000;
constexpr std::int64_t kFileTimePerMs = 10000;

// A value and four bytes more: zeros there terminate a text that is stored without its NUL, and complete a
// number that is stored with fewer than four bytes.
struct ValueBuffer {
  std::array<char16_t, kValueBytes / sizeof(char16_t) + 2> units;
  platform::DWORD bytes = kValueBytes;
  platform::DWORD type = 0;

  // Any access behind the end would go unnoticed.
  static_assert(sizeof units >= kValueBytes + sizeof(std::int32_t));

  platform::BYTE* Data() { return reinterpret_cast<platform::BYTE*>(units.data()); }
  void EndWithZeros() { std::memset(Data() + bytes, 0, sizeof(std::int32_t)); }
};

struct CloseKey {
  void operator()(platform::HKEY handle) const {
    // HKEY_CURRENT_USER is missing here by design. Windows keeps it usable after the close.
    if (handle == platform::HKEY_LOCAL_MACHINE || handle == platform::HKEY_USERS) return;
    platform::RegCloseKey(handle);
  }
};
using OwnedHandle = std::unique_ptr<std::remove_pointer_t<platform::HKEY>, CloseKey>;

void WriteDecimal(std::int64_t number, std::u16string& text) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
  text.assign(digits.begin(), end);
}

// The result of the call is not checked, by design: of a text that grows beyond 260 characters, the record
// gets what Windows left in the buffer.
void Expand(const char16_t* unexpanded, std::u16string& text) {
  std::array<char16_t, kNameChars + 1> expanded{};
  static_assert(expanded.size() > kNameChars);  // the call may fill all without a terminator
  platform::ExpandEnvironmentStringsW(unexpanded, expanded.data(), kNameChars);
  text = expanded.data();
}

std::u16string ComposePath(const std::u16string& parent, const std::u16string& path) {
  if (parent.empty()) return path;
  std::u16string composed;
  composed.reserve(parent.size() + 1 + path.size());
  return composed.append(parent).append(1, u'\\').append(path);
}

platform::REGSAM ReadAccess(RegistryView view) {
  switch (view) {
    case k32BitView:
      return platform::KEY_READ | platform::KEY_WOW64_32KEY;
    case k64BitView:
      return platform::KEY_READ | platform::KEY_WOW64_64KEY;
    default:  // also for a number that is not a view
      return platform::KEY_READ;
  }
}

const RegistryKey& RootForDelete(platform::HKEY root) {
  // By design every other root, even HKEY_USERS, means the machine here.
  return root == platform::HKEY_CURRENT_USER ? CurrentUserRoot() : LocalMachineRoot();
}

// Stops at the first child that cannot be deleted. The children after it stay.
void DeleteChildren(platform::HKEY root, const std::u16string& path,
                    const std::vector<std::u16string>& names) {
  const std::u16string prefix = path.ends_with(u'\\') ? path : path + u'\\';
  for (const std::u16string& name : names) {
    if (!DeleteRegistryTree(root, prefix + name)) return;
  }
}

}  // namespace

RegistryKey::RegistryKey(RegistryView openedView, platform::HKEY openHandle, std::u16string_view nameOfRoot,
                         std::u16string pathBelowRoot)
    : view(openedView), handle(openHandle), rootName(nameOfRoot), path(std::move(pathBelowRoot)) {}

RegistryKey::~RegistryKey() { CloseKey()(handle); }

const RegistryKey& LocalMachineRoot() {
  static const RegistryKey root(kDefaultView, platform::HKEY_LOCAL_MACHINE, u"HKEY_LOCAL_MACHINE", u"");
  return root;
}

const RegistryKey& CurrentUserRoot() {
  static const RegistryKey root(kDefaultView, platform::HKEY_CURRENT_USER, u"HKEY_CURRENT_USER", u"");
  return root;
}

const RegistryKey& UsersRoot() {
  static const RegistryKey root(kDefaultView, platform::HKEY_USERS, u"HKEY_USERS", u"");
  return root;
}

std::unique_ptr<RegistryKey> OpenKeyInView(const RegistryKey& parent, const std::u16string& path,
                                           RegistryView view, platform::LSTATUS* status) {
  platform::HKEY handle = nullptr;
  const platform::LSTATUS opened =
      platform::RegOpenKeyExW(parent.handle, path.c_str(), 0, ReadAccess(view), &handle);
  if (status) *status = opened;
  if (opened) return nullptr;
  OwnedHandle owned(handle);  // closes the handle if an allocation below throws
  auto key = std::make_unique<RegistryKey>(view, handle, parent.rootName, ComposePath(parent.path, path));
  static_cast<void>(owned.release());
  return key;
}

std::unique_ptr<RegistryKey> OpenKey(const RegistryKey& parent, const std::u16string& path) {
  return OpenKeyInView(parent, path, kDefaultView);
}

std::unique_ptr<RegistryKey> OpenKey32(const RegistryKey& parent, const std::u16string& path) {
  return OpenKeyInView(parent, path, k32BitView);
}

std::unique_ptr<RegistryKey> OpenKey64(const RegistryKey& parent, const std::u16string& path) {
  return OpenKeyInView(parent, path, k64BitView);
}

void ReadRegistryValue(const RegistryKey& key, const char16_t* name, std::u16string& text,
                       ValueFound* found) {
  text.clear();
  ValueBuffer value;
  const platform::LSTATUS status =
      platform::RegQueryValueExW(key.handle, name, nullptr, &value.type, value.Data(), &value.bytes);
  if (found) *found = {status, value.type, value.bytes};
  if (status) return;
  value.EndWithZeros();
  switch (value.type) {
    case platform::REG_SZ:
      text = value.units.data();
      break;
    case platform::REG_EXPAND_SZ:
      Expand(value.units.data(), text);
      break;
    case platform::REG_DWORD: {
      // Signed, by design: 0xFFFFFFFF is "-1", and so no rule takes it for a set flag.
      std::int32_t number;
      std::memcpy(&number, value.units.data(), sizeof number);
      WriteDecimal(number, text);
      break;
    }
    default:  // REG_MULTI_SZ, REG_QWORD and raw data read as empty
      break;
  }
}

std::u16string ReadRegistryValue(const RegistryKey& key, const char16_t* name) {
  std::u16string text;
  ReadRegistryValue(key, name, text);
  return text;
}

std::vector<std::u16string> ListSubKeyNames(const RegistryKey& key) {
  std::vector<std::u16string> names;
  std::array<char16_t, kNameChars> name;
  platform::DWORD unreadable = 0;
  for (platform::DWORD index = 0; unreadable < kUnreadableNamesInARow; ++index) {
    platform::DWORD chars = kNameChars;  // anew each time: the call replaces it by the length of the name
    const platform::LSTATUS status =
        platform::RegEnumKeyExW(key.handle, index, name.data(), &chars, nullptr, nullptr, nullptr, nullptr);
    if (status == platform::ERROR_NO_MORE_ITEMS) break;
    unreadable = status == platform::ERROR_SUCCESS ? 0 : unreadable + 1;
    if (unreadable == 0) names.emplace_back(name.data());
  }
  return names;
}

void ReadLastWriteTime(const RegistryKey& key, std::u16string& text) {
  platform::FILETIME time{};  // stays zero if the query fails, so a record always has a time
  platform::RegQueryInfoKeyW(key.handle, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, nullptr, nullptr, &time);
  const std::uint64_t fileTime = static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
  // Subtracted as unsigned numbers, because a signed overflow is undefined behaviour.
  const auto sinceEpoch =
      static_cast<std::int64_t>(fileTime - static_cast<std::uint64_t>(kUnixEpochFileTime));
  WriteDecimal(sinceEpoch / kFileTimePerMs, text);
}

bool DeleteRegistryTree(platform::HKEY root, const std::u16string& path) {
  // Succeeds for a key without subkeys, which needs only the right to delete it and not to read it.
  if (platform::RegDeleteKeyW(root, path.c_str()) == platform::ERROR_SUCCESS) return true;
  std::vector<std::u16string> names;
  {
    // Closed before the recursion: otherwise a deep tree would hold a handle for each level.
    const RegistryKey rootCopy = RootForDelete(root);
    const std::unique_ptr<RegistryKey> key = OpenKey(rootCopy, path);
    // A key that can be neither deleted nor opened counts as deleted already.
    if (!key) return true;
    names = ListSubKeyNames(*key);
  }
  DeleteChildren(root, path, names);
  // Tried even if a child stayed. Windows refuses it then, and that status is the result.
  return platform::RegDeleteKeyW(root, path.c_str()) == platform::ERROR_SUCCESS;
}

}  // namespace kestrelbay
