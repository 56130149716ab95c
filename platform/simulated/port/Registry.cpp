// Opening, closing, deleting and watching keys.
#include "platform/Registry.h"

#include "simulated/machine/KeptChanges.h"
#include "simulated/port/Call.h"
#include "simulated/port/LockedKey.h"
#include "simulated/registry/KeyPath.h"

namespace simulated {
namespace {

using platform::DWORD;
using platform::HKEY;
using platform::LSTATUS;

constexpr DWORD kBothViews = platform::KEY_WOW64_64KEY | platform::KEY_WOW64_32KEY;

/** Windows stores the length of a path in bytes, with the null terminator, in 16 bits. */
constexpr std::size_t kLongestPathChars = 0xFFFC / sizeof(char16_t);

LSTATUS CheckPath(std::u16string_view path) {
  if (path.size() > kLongestPathChars) return Status(kNameTooLong);
  if (path.starts_with(u'\\')) return Status(kBadPathName);
  for (auto name = TakeName(path); !name.empty(); name = TakeName(path)) {
    if (name.size() > Key::kLongestName) return Status(kInvalidParameter);
  }
  return 0;
}

LSTATUS OpenFound(Machine& machine, Key* found, DWORD access, HKEY* result) {
  if (!found) return Status(kFileNotFound);
  const DWORD rights = access & kAllAccess;
  if (rights & found->deniedRights) return Status(kAccessDenied);
  *result = machine.keys.Open(std::make_shared<OpenedKey>(OpenedKey{found->shared_from_this(), rights}));
  return 0;
}

LSTATUS Open(Machine& machine, HKEY key, const char16_t* subKey, DWORD access, HKEY* result) {
  if (!result) return Status(kInvalidParameter);
  *result = nullptr;
  const std::u16string_view path = subKey ? std::u16string_view(subKey) : std::u16string_view();
  const LockedKey start(machine, key, 0);
  if (start.Problem() != 0) return start.Problem();
  if ((access & kBothViews) == kBothViews) return Status(kInvalidParameter);
  // Windows returns a predefined key itself, without a new handle and without a check of rights.
  if (start.IsPredefined() && path.empty()) {
    *result = key;
    return 0;
  }
  if (const LSTATUS status = CheckPath(path); status != 0) return status;
  const View view = access & platform::KEY_WOW64_32KEY ? View::Bits32 : View::Native;
  return OpenFound(machine, machine.registry.Find(*start, path, view), access, result);
}

LSTATUS Close(Machine& machine, HKEY key) {
  const std::lock_guard guard(machine.registry.Lock());
  machine.registry.EndWatches(key);
  if (machine.registry.Predefined(key) || machine.keys.Close(key)) return 0;
  return Status(kInvalidHandle);
}

LSTATUS Delete(Machine& machine, HKEY key, const char16_t* subKey) {
  if (!subKey) return Status(kInvalidParameter);
  const LockedKey start(machine, key, 0);
  if (start.Problem() != 0) return start.Problem();
  if (const LSTATUS status = CheckPath(subKey); status != 0) return status;
  if (start.IsPredefined() && *subKey == 0) return Status(kAccessDenied);
  // RegDeleteKeyW has no parameter for the view, so it acts in the native one.
  Key* found = machine.registry.Find(*start, subKey, View::Native);
  return found ? DeleteKeptKey(machine, *found) : Status(kFileNotFound);
}

LSTATUS StartWatch(Machine& machine, HKEY key, bool isDeep, DWORD filter, platform::HANDLE event) {
  const LockedKey watched(machine, key, platform::KEY_NOTIFY);
  if (watched.Problem() != 0) return watched.Problem();
  const auto signal = Handles::Shared().Find(event);
  if (!signal || signal->kind != Waitable::Kind::Event) return Status(kInvalidHandle);
  // The tree is locked, so no change can signal the event before it is cleared.
  Handles::Shared().Signal(*signal, false);
  machine.registry.Watch({&*watched, key, isDeep, filter, signal});
  return 0;
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;
using simulated::Status;

LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subKey, DWORD options, REGSAM access, HKEY* result) {
  Machine& machine = CurrentMachine();
  if (result) *result = nullptr;
  return Perform(
      &machine, "RegOpenKeyExW", Failure<LSTATUS>{Status(simulated::kAccessDenied)},
      [&](Arguments& arguments) { arguments.Key(machine, key).Text(subKey).Number(options).Hex(access); },
      [&] { return simulated::Open(machine, key, subKey, access, result); });
}

LSTATUS RegCloseKey(HKEY key) {
  Machine& machine = CurrentMachine();
  const auto describe = [&](Arguments& arguments) { arguments.Key(machine, key); };
  const auto close = [&] { return simulated::Close(machine, key); };
  const Failure<LSTATUS> failure{Status(simulated::kInvalidHandle), 0, true};
  return Perform(&machine, "RegCloseKey", failure, describe, close);
}

LSTATUS RegDeleteKeyW(HKEY key, const char16_t* subKey) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "RegDeleteKeyW", Failure<LSTATUS>{Status(simulated::kAccessDenied)},
      [&](Arguments& arguments) { arguments.Key(machine, key).Text(subKey); },
      [&] { return simulated::Delete(machine, key, subKey); });
}

LSTATUS RegNotifyChangeKeyValue(HKEY key, BOOL watchSubtree, DWORD filter, HANDLE event, BOOL asynchronous) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "RegNotifyChangeKeyValue", Failure<LSTATUS>{Status(simulated::kNoSystemResources)},
      [&](Arguments& arguments) {
        arguments.Key(machine, key).Number(watchSubtree).Hex(filter).Handle(event).Number(asynchronous);
      },
      [&] {
        if (!asynchronous) return Status(simulated::kNotSupported);
        return simulated::StartWatch(machine, key, watchSubtree != 0, filter, event);
      });
}

}  // namespace platform
