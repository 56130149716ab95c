#include "simulated/registry/RegistryTree.h"

#include <stdexcept>

#include "simulated/registry/KeyPath.h"
#include "simulated/registry/Redirection.h"

namespace simulated {
namespace {

/** An arbitrary SID of an ordinary user, for machines that name none. */
constexpr std::u16string_view kDefaultUser = u"S-1-5-21-1000000001-1000000002-1000000003-1001";

using Guard = std::lock_guard<std::recursive_mutex>;

bool IsAny(std::u16string_view name, std::u16string_view longName, std::u16string_view shortName) {
  return SameName(name, longName) || SameName(name, shortName);
}

}  // namespace

RegistryTree::RegistryTree() : root_(u"") {
  machine_ = &root_.CreateSubKey(u"HKEY_LOCAL_MACHINE");
  users_ = &root_.CreateSubKey(u"HKEY_USERS");
  SetUser(kDefaultUser);
}

Key* RegistryTree::TakeRoot(std::u16string_view& path) {
  const std::u16string_view name = TakeName(path);
  if (IsAny(name, u"HKEY_LOCAL_MACHINE", u"HKLM")) return machine_;
  if (IsAny(name, u"HKEY_USERS", u"HKU")) return users_;
  if (IsAny(name, u"HKEY_CURRENT_USER", u"HKCU")) return &users_->CreateSubKey(user_);
  if (IsAny(name, u"HKEY_CLASSES_ROOT", u"HKCR")) {
    return &machine_->CreateSubKey(u"Software").CreateSubKey(u"Classes");
  }
  return nullptr;
}

Key& RegistryTree::CreateKey(std::u16string_view path) {
  const Guard guard(lock_);
  Key* key = TakeRoot(path);
  if (!key) throw std::invalid_argument("a key's path begins with a predefined key");
  for (auto name = TakeName(path); !name.empty(); name = TakeName(path)) key = &key->CreateSubKey(name);
  return *key;
}

void RegistryTree::SetValue(std::u16string_view path, std::u16string_view name, platform::DWORD type,
                            std::span<const std::uint8_t> bytes) {
  const Guard guard(lock_);
  CreateKey(path).SetValue(name, type, bytes);
}

void RegistryTree::SetText(std::u16string_view path, std::u16string_view name, std::u16string_view text,
                           platform::DWORD type) {
  const std::u16string terminated(text);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(terminated.c_str());
  SetValue(path, name, type, {bytes, (terminated.size() + 1) * sizeof(char16_t)});
}

void RegistryTree::SetNumber(std::u16string_view path, std::u16string_view name, std::uint32_t number) {
  SetValue(path, name, platform::REG_DWORD, {reinterpret_cast<const std::uint8_t*>(&number), sizeof number});
}

void RegistryTree::SetLastWriteTime(std::u16string_view path, std::uint64_t fileTime) {
  const Guard guard(lock_);
  CreateKey(path).lastWriteTime = fileTime;
}

void RegistryTree::Deny(std::u16string_view path, platform::DWORD rights) {
  const Guard guard(lock_);
  CreateKey(path).deniedRights |= rights;
}

bool RegistryTree::RemoveKey(std::u16string_view path) {
  const Guard guard(lock_);
  Key* key = Find(path);
  // Predefined keys cannot be deleted.
  if (!key || !key->Parent() || key->Parent() == &root_) return false;
  return key->Parent()->RemoveSubKey(std::u16string(key->Name()));
}

bool RegistryTree::RemoveValue(std::u16string_view path, std::u16string_view name) {
  const Guard guard(lock_);
  Key* key = Find(path);
  return key && key->RemoveValue(name);
}

Key* RegistryTree::Find(std::u16string_view path) {
  const Guard guard(lock_);
  Key* root = TakeRoot(path);
  return root ? FindBelow(*root, path) : nullptr;
}

Key* RegistryTree::Find(Key& start, std::u16string_view path, View view) {
  const Guard guard(lock_);
  if (view == View::Bits32 && !hasOneView_) return FindIn32BitView(start, path);
  return FindBelow(start, path);
}

Key* RegistryTree::Predefined(platform::HKEY handle) {
  // Only the low half counts, because Windows defines these values as sign-extended 32-bit numbers and
  // accepts them without the sign extension too.
  const auto number = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle));
  if (number < 0x80000000) return nullptr;
  const Guard guard(lock_);
  switch (number) {
    case 0x80000000:
      return &machine_->CreateSubKey(u"Software").CreateSubKey(u"Classes");
    case 0x80000001:
      return &users_->CreateSubKey(user_);
    case 0x80000002:
      return machine_;
    case 0x80000003:
      return users_;
    default:
      return nullptr;
  }
}

std::u16string RegistryTree::PathOf(const Key& key) const {
  const Guard guard(lock_);
  std::u16string path = key.Name();
  for (const Key* above = key.Parent(); above && above != &root_; above = above->Parent()) {
    path = above->Name() + u'\\' + path;
  }
  return path;
}

void RegistryTree::Watch(simulated::Watch watch) {
  const Guard guard(lock_);
  root_.TreeWatches().Add(std::move(watch));
  watchSet_.notify_all();
}

void RegistryTree::WaitForWatch(std::u16string_view path) {
  std::unique_lock guard(lock_);
  watchSet_.wait(guard, [&] {
    const Key* key = Find(path);
    return key && root_.TreeWatches().IsWatched(*key);
  });
}

void RegistryTree::EndWatches(platform::HKEY handle) {
  const Guard guard(lock_);
  root_.TreeWatches().HandleClosed(handle);
}

void RegistryTree::RemoveEmptyUserHive() {
  Key* hive = user_.empty() ? nullptr : users_->FindSubKey(user_);
  if (hive && hive->SubKeyCount() == 0 && hive->ValueCount() == 0) users_->RemoveSubKey(user_);
}

void RegistryTree::ListAsMade() {
  const Guard guard(lock_);
  RemoveEmptyUserHive();
  listsAsMade_ = true;
  root_.ListAsMade();
}

void RegistryTree::HaveOneView() {
  const Guard guard(lock_);
  hasOneView_ = true;
}

void RegistryTree::SetUser(std::u16string_view sid) {
  const Guard guard(lock_);
  RemoveEmptyUserHive();
  user_ = sid;
  if (!listsAsMade_) users_->CreateSubKey(user_);
}

std::u16string RegistryTree::User() const {
  const std::lock_guard guard(lock_);
  return user_;
}

std::recursive_mutex& RegistryTree::Lock() { return lock_; }

}  // namespace simulated
