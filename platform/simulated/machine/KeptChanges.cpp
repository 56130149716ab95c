#include "simulated/machine/KeptChanges.h"

#include "simulated/base/WindowsNumbers.h"
#include "simulated/machine/Machine.h"

namespace simulated {
namespace {

using platform::LSTATUS;

constexpr platform::DWORD kDelete = 0x00010000;

LSTATUS Keep(Machine& machine, const RegistryChange& change) {
  const auto& keeper = machine.registry.GetKeeper();
  return keeper ? keeper(change) : 0;
}

bool MayBeDeleted(Key& key) {
  if (key.deniedRights & kDelete) return false;
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i)
    if (!MayBeDeleted(key.SubKeyAt(i))) return false;
  return true;
}

}  // namespace

LSTATUS DeleteKeptTree(Machine& machine, Key& key) {
  if (!MayBeDeleted(key)) return Status(kAccessDenied);
  const std::uint64_t now = machine.clock.Now();
  const RegistryChange change{RegistryChange::Kind::DeleteKey, machine.registry.PathOf(key), {}, 0, {}, now};
  if (const LSTATUS status = Keep(machine, change); status != 0) return status;
  Key& parent = *key.Parent();
  parent.RemoveSubKey(std::u16string(key.Name()));
  parent.lastWriteTime = now;
  return 0;
}

LSTATUS DeleteKeptKey(Machine& machine, Key& key) {
  return key.SubKeyCount() > 0 ? Status(kAccessDenied) : DeleteKeptTree(machine, key);
}

bool KeptMerger::Keep(RegistryChange change) {
  if (status_ == 0) status_ = simulated::Keep(machine_, change);
  return status_ == 0;
}

void KeptMerger::OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) {
  const std::lock_guard guard(machine_.registry.Lock());
  path_ = path;
  if (machine_.registry.Find(path)) return;
  const std::uint64_t time = lastWriteTime.value_or(machine_.clock.Now());
  if (!Keep({RegistryChange::Kind::CreateKey, path_, {}, 0, {}, time})) return;
  Key& key = machine_.registry.CreateKey(path);
  key.lastWriteTime = time;
  key.Parent()->lastWriteTime = time;
}

void KeptMerger::DeleteKey(std::u16string_view path) {
  const std::lock_guard guard(machine_.registry.Lock());
  Key* key = machine_.registry.Find(path);
  // Predefined keys stay: no program can delete them.
  if (status_ != 0 || !key || !key->Parent() || !key->Parent()->Parent()) return;
  status_ = DeleteKeptTree(machine_, *key);
}

void KeptMerger::SetValue(std::u16string_view name, platform::DWORD type,
                          std::span<const std::uint8_t> bytes) {
  const std::lock_guard guard(machine_.registry.Lock());
  const std::uint64_t now = machine_.clock.Now();
  if (!Keep({RegistryChange::Kind::SetValue,
             path_,
             std::u16string(name),
             type,
             {bytes.begin(), bytes.end()},
             now}))
    return;
  Key& key = machine_.registry.CreateKey(path_);
  key.SetValue(name, type, bytes);
  key.lastWriteTime = now;
}

void KeptMerger::DeleteValue(std::u16string_view name) {
  const std::lock_guard guard(machine_.registry.Lock());
  Key* key = machine_.registry.Find(path_);
  ValueView value;
  if (!key || !key->FindValue(name, value)) return;
  const std::uint64_t now = machine_.clock.Now();
  if (!Keep({RegistryChange::Kind::DeleteValue, path_, std::u16string(name), 0, {}, now})) return;
  key->RemoveValue(name);
  key->lastWriteTime = now;
}

}  // namespace simulated
