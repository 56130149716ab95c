#include "simulated/machine/KeptChanges.h"

#include "simulated/base/WindowsNumbers.h"
#include "simulated/machine/Machine.h"
#include "simulated/regfile/RegistryMerger.h"
#include "simulated/registry/KeyPath.h"

namespace simulated {
namespace {

using platform::LSTATUS;

constexpr platform::DWORD kDelete = 0x00010000;

LSTATUS Make(Machine& machine, const ProgramChanges& changes) {
  const LSTATUS status = machine.keeper ? machine.keeper(changes) : 0;
  if (status != 0) return status;
  machine.drives.ChangeInMemory(changes.files);
  RegistryMerger merger(machine.registry);
  changes.registry.WriteTo(merger);
  return 0;
}

bool MayBeDeleted(Key& key) {
  if (key.deniedRights & kDelete) return false;
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i)
    if (!MayBeDeleted(key.SubKeyAt(i))) return false;
  return true;
}

std::u16string_view PathAbove(std::u16string_view path) {
  const std::size_t separator = path.rfind(u'\\');
  return separator == path.npos ? std::u16string_view() : path.substr(0, separator);
}

/** A key has one path here, so that all changes of it meet: that of the hive where it is stored. */
std::u16string StoredPath(const Machine& machine, std::u16string_view path) {
  std::u16string_view below = path;
  const std::u16string_view root = TakeName(below);
  std::u16string stored;
  if (SameName(root, u"HKEY_CURRENT_USER")) stored = u"HKEY_USERS\\" + machine.registry.User();
  if (SameName(root, u"HKEY_CLASSES_ROOT")) stored = u"HKEY_LOCAL_MACHINE\\Software\\Classes";
  if (stored.empty()) return std::u16string(path);
  return below.empty() ? stored : stored + u'\\' + std::u16string(below);
}

/** The coming and going of a key is a change of the key above it as well. */
void OpenKeyAbove(FoldedChanges& changes, std::u16string_view path, std::uint64_t time) {
  if (const auto above = PathAbove(path); !above.empty()) changes.OpenKey(above, time);
}

}  // namespace

LSTATUS DeleteKeptTree(Machine& machine, Key& key) {
  if (!MayBeDeleted(key)) return Status(kAccessDenied);
  const std::u16string path = machine.registry.PathOf(key);
  ProgramChanges changes;
  changes.registry.DeleteKey(path);
  OpenKeyAbove(changes.registry, path, machine.clock.Now());
  return Make(machine, changes);
}

LSTATUS DeleteKeptKey(Machine& machine, Key& key) {
  return key.SubKeyCount() > 0 ? Status(kAccessDenied) : DeleteKeptTree(machine, key);
}

KeptMerger::KeptMerger(Machine& machine)
    : machine_(machine), lock_(machine.registry.Lock()), now_(machine.clock.Now()) {}

bool KeptMerger::HasKey(std::u16string_view path) const {
  const std::optional<bool> changed = changes_.registry.HasKey(path);
  return changed ? *changed : machine_.registry.Find(path) != nullptr;
}

bool KeptMerger::HasValue(std::u16string_view name) const {
  const std::optional<bool> changed = changes_.registry.HasValue(path_, name);
  if (changed) return *changed;
  Key* const key = machine_.registry.Find(path_);
  ValueView value;
  return key && key->FindValue(name, value);
}

void KeptMerger::OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) {
  path_ = StoredPath(machine_, path);
  if (HasKey(path_)) return;
  const std::uint64_t time = lastWriteTime.value_or(now_);
  OpenKeyAbove(changes_.registry, path_, time);
  changes_.registry.OpenKey(path_, time);
}

void KeptMerger::DeleteKey(std::u16string_view path) {
  const std::u16string stored = StoredPath(machine_, path);
  // Predefined keys stay: no program can delete them.
  if (PathAbove(stored).empty() || !HasKey(stored)) return;
  Key* const key = machine_.registry.Find(stored);
  if (key && !MayBeDeleted(*key)) status_ = Status(kAccessDenied);
  changes_.registry.DeleteKey(stored);
  OpenKeyAbove(changes_.registry, stored, now_);
}

void KeptMerger::SetValue(std::u16string_view name, platform::DWORD type,
                          std::span<const std::uint8_t> bytes) {
  changes_.registry.OpenKey(path_, now_);
  changes_.registry.SetValue(name, type, bytes);
}

void KeptMerger::DeleteValue(std::u16string_view name) {
  if (!HasValue(name)) return;
  changes_.registry.OpenKey(path_, now_);
  changes_.registry.DeleteValue(name);
}

LSTATUS KeptMerger::Commit(FileChanges files) {
  changes_.files = std::move(files);
  if (status_ != 0 || (changes_.registry.IsEmpty() && changes_.files.IsEmpty())) return status_;
  return Make(machine_, changes_);
}

}  // namespace simulated
