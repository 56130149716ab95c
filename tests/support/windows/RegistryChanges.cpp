#include "RegistryChanges.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ranges>
#include <stdexcept>
#include <utility>
#include <vector>

#include "MachineInUse.h"

namespace tests {
namespace {

std::pair<HKEY, std::u16string> Split(const std::u16string& wholePath) {
  const auto end = std::min(wholePath.find(u'\\'), wholePath.size());
  const auto rootName = wholePath.substr(0, end);
  const auto below = end < wholePath.size() ? wholePath.substr(end + 1) : std::u16string();
  if (rootName == u"HKEY_LOCAL_MACHINE") return {HKEY_LOCAL_MACHINE, below};
  if (rootName == u"HKEY_CURRENT_USER") return {HKEY_CURRENT_USER, below};
  if (rootName == u"HKEY_USERS") return {HKEY_USERS, below};
  throw std::runtime_error("a path must begin with a predefined key's name");
}

REGSAM ViewBits(View view) {
  if (view == View::Bits32) return KEY_WOW64_32KEY;
  return view == View::Bits64 ? KEY_WOW64_64KEY : 0;
}

void Check(LSTATUS status, const char* what) {
  if (status == ERROR_ACCESS_DENIED && IsInUse())
    throw NotOnThisMachine(std::string("administrator rights are missing: ") + what);
  if (status != ERROR_SUCCESS) throw std::runtime_error(what + (": status " + std::to_string(status)));
}

/** Created keys that are not deleted yet: for each one its view as a digit, its path and a NUL. */
std::filesystem::path ListPath() {
  return std::filesystem::temp_directory_path() / "kestrelbay-test-keys.bin";
}

std::u16string ReadList() {
  std::ifstream file(ListPath(), std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::u16string list(bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(list.data(), bytes.data(), list.size() * sizeof(char16_t));
  return list;
}

/**
 * @return the missing keys of `path`, the topmost one first: those that others may use as well once they
 * exist, and the first one below them, which is the test's own
 */
std::vector<KeyPath> MissingKeys(const KeyPath& path) {
  std::vector<KeyPath> missing;
  for (auto end = path.path.find(u'\\'); end != std::u16string::npos;) {
    end = path.path.find(u'\\', end + 1);
    const KeyPath above(path.path.substr(0, end), path.view);
    if (missing.empty() && OpenKey(above, KEY_READ)) continue;
    missing.push_back(above);
    if (!IsWay(above.path)) break;
  }
  return missing;
}

/** Both views have one name for the native one. */
bool IsSameView(View left, View right) { return (left == View::Bits32) == (right == View::Bits32); }

bool BeginsWith(const std::u16string& path, const std::u16string& beginning) {
  return path.size() >= beginning.size() &&
         CompareStringOrdinal(Wide(path), static_cast<int>(beginning.size()), Wide(beginning),
                              static_cast<int>(beginning.size()), TRUE) == CSTR_EQUAL &&
         (path.size() == beginning.size() || path[beginning.size()] == u'\\');
}

[[noreturn]] void Refuse(const std::u16string& path) {
  throw NotOnThisMachine("a key of others: " + std::string(path.begin(), path.end()));
}

/** Removes from a path as much as one registry call allows, and returns it. */
std::u16string TakePart(std::u16string& path) {
  constexpr std::size_t kLongestPartChars = 32'000;
  const auto end = path.size() <= kLongestPartChars ? path.size() : path.rfind(u'\\', kLongestPartChars);
  const auto part = path.substr(0, end);
  path.erase(0, end + 1);
  return part;
}

}  // namespace

OpenKey::OpenKey(const KeyPath& path, REGSAM access) {
  const auto [root, below] = Split(path.path);
  if (RegOpenKeyExW(root, Wide(below), 0, access | ViewBits(path.view), &handle) != ERROR_SUCCESS) {
    handle = nullptr;
  }
}

OpenKey::~OpenKey() {
  if (handle) RegCloseKey(handle);
}

RegistryChanges::RegistryChanges() {
  const std::u16string list = ReadList();
  for (std::size_t at = 0, end; (end = list.find(u'\0', at)) != list.npos; at = end + 1) {
    madeKeys.emplace_back(list.substr(at + 1, end - at - 1), static_cast<View>(list[at] - u'0'));
  }
  DeleteMadeKeys();
}

RegistryChanges::~RegistryChanges() {
  for (const auto& earlier : std::views::reverse(earlierValues)) Restore(earlier);
  DeleteMadeKeys();
}

void RegistryChanges::CreateKey(const KeyPath& path) {
  if (!WillMake(path)) {
    if (!IsWay(path.path)) RequireOwn(path);
    return;
  }
  auto [key, rest] = Split(path.path);
  do {
    const auto part = TakePart(rest);
    HKEY made = nullptr;
    const LSTATUS status = RegCreateKeyExW(
        key, Wide(part), 0, nullptr, 0, KEY_READ | KEY_WRITE | ViewBits(path.view), nullptr, &made, nullptr);
    RegCloseKey(key);
    Check(status, "creating a key");
    key = made;
  } while (!rest.empty());
  RegCloseKey(key);
}

void RegistryChanges::SetValue(const KeyPath& path, const std::u16string& name, DWORD type,
                               std::span<const BYTE> bytes) {
  CreateKey(path);
  RequireOwn(path);
  OpenKey key(path, KEY_READ | KEY_WRITE);
  if (!key) throw std::runtime_error("the key may not be written to");
  earlierValues.push_back({path, name, Read(key, name)});
  // Windows sees a text without its NUL as a mistake, and adds a NUL that it finds directly after the text.
  std::vector<BYTE> guarded(bytes.begin(), bytes.end());
  guarded.insert(guarded.end(), sizeof(char16_t), 0xFF);
  Check(RegSetValueExW(key.Get(), Wide(name), 0, type, guarded.data(), static_cast<DWORD>(bytes.size())),
        "setting a value");
}

void RegistryChanges::DeleteLater(const KeyPath& path) { WillMake(path); }

bool RegistryChanges::Owns(const KeyPath& path) const {
  return std::ranges::any_of(madeKeys, [&](const KeyPath& made) {
    const bool isIn = IsSameView(made.view, path.view) && BeginsWith(path.path, made.path);
    return isIn && (!IsWay(made.path) || made.path.size() == path.path.size());
  });
}

void RegistryChanges::RequireOwn(const KeyPath& path) const {
  if (IsInUse() && !Owns(path)) Refuse(path.path);
}

void RegistryChanges::RequireOwnPlace(const KeyPath& topmostMissing) const {
  if (!IsInUse() || Owns(topmostMissing)) return;
  const std::u16string above = topmostMissing.path.substr(0, topmostMissing.path.rfind(u'\\'));
  if (above.starts_with(u"HKEY_LOCAL_MACHINE") && !IsElevated())
    throw NotOnThisMachine("administrator rights are missing: a key of the machine");
  if (above == u"HKEY_USERS") throw NotOnThisMachine("Windows takes no new key directly below HKEY_USERS");
  if (!IsContainer(above) && !IsContainer(topmostMissing.path)) Refuse(above);
}

bool RegistryChanges::WillMake(const KeyPath& path) {
  const std::vector<KeyPath> missing = MissingKeys(path);
  if (!missing.empty()) RequireOwnPlace(missing.front());
  for (const KeyPath& key : missing) {
    madeKeys.push_back(key);
    if (!AddToList(key)) throw std::runtime_error("the list of made keys cannot be written");
  }
  return !missing.empty();
}

bool RegistryChanges::HasLeftKeys() { return std::filesystem::exists(ListPath()); }

bool RegistryChanges::AddToList(const KeyPath& key) {
  std::u16string record(1, static_cast<char16_t>(u'0' + static_cast<int>(key.view)));
  record.append(key.path).push_back(u'\0');
  std::ofstream file(ListPath(), std::ios::binary | std::ios::app);
  file.write(reinterpret_cast<const char*>(record.data()),
             static_cast<std::streamsize>(record.size() * sizeof(char16_t)));
  return static_cast<bool>(file.flush());
}

void RegistryChanges::DeleteMadeKeys() {
  for (const auto& key : std::views::reverse(madeKeys)) {
    if (IsWay(key.path)) {
      EraseEmpty(key);
    } else {
      Erase(key);
    }
  }
  std::error_code ignored;
  std::filesystem::remove(ListPath(), ignored);
  const auto isThere = [](const KeyPath& key) { return static_cast<bool>(OpenKey(key, KEY_READ)); };
  // Others may have begun to use a key on the way to ours. It stays then, and is nobody's mistake.
  const bool isLeft =
      std::ranges::any_of(madeKeys, [&](const KeyPath& key) { return !IsWay(key.path) && isThere(key); });
  for (const auto& key : madeKeys) {
    if (isLeft && isThere(key)) AddToList(key);
  }
  madeKeys.clear();
}

bool RegistryChanges::DeleteKey(const KeyPath& path) {
  if (OpenKey(path, KEY_READ)) RequireOwn(path);
  return Erase(path);
}

bool RegistryChanges::Erase(const KeyPath& path) {
  const auto cut = path.path.rfind(u'\\');
  const OpenKey parent({path.path.substr(0, cut), path.view}, KEY_ALL_ACCESS);
  return parent && RegDeleteTreeW(parent.Get(), Wide(path.path.substr(cut + 1))) == ERROR_SUCCESS;
}

void RegistryChanges::EraseEmpty(const KeyPath& path) {
  const auto cut = path.path.rfind(u'\\');
  DWORD values = 0;
  const OpenKey key(path, KEY_READ);
  RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr, nullptr,
                   nullptr, nullptr);
  const OpenKey parent({path.path.substr(0, cut), path.view}, KEY_ALL_ACCESS);
  // Windows refuses to delete a key that has subkeys.
  if (key && parent && values == 0)
    RegDeleteKeyExW(parent.Get(), Wide(path.path.substr(cut + 1)), ViewBits(path.view), 0);
}

std::optional<RegistryChanges::Value> RegistryChanges::Read(const OpenKey& key, const std::u16string& name) {
  Value value;
  DWORD bytes = 0;
  if (RegQueryValueExW(key.Get(), Wide(name), nullptr, nullptr, nullptr, &bytes) != ERROR_SUCCESS) return {};
  value.bytes.resize(bytes);
  Check(RegQueryValueExW(key.Get(), Wide(name), nullptr, &value.type, value.bytes.data(), &bytes),
        "reading a value");
  return value;
}

void RegistryChanges::Restore(const EarlierValue& earlier) {
  const OpenKey key(earlier.path, KEY_READ | KEY_WRITE);
  if (!key) return;
  if (earlier.value) {
    RegSetValueExW(key.Get(), Wide(earlier.name), 0, earlier.value->type, earlier.value->bytes.data(),
                   static_cast<DWORD>(earlier.value->bytes.size()));
  } else {
    RegDeleteValueW(key.Get(), Wide(earlier.name));
  }
}

}  // namespace tests
