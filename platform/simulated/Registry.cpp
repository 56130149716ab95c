#include "platform/Registry.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "simulated/Call.h"
#include "simulated/KeptChanges.h"
#include "simulated/KeyPath.h"

namespace simulated {
namespace {

using platform::DWORD;
using platform::HKEY;
using platform::LSTATUS;

constexpr DWORD kQueryValue = 0x0001;
constexpr DWORD kEnumerateSubKeys = 0x0008;
constexpr DWORD kWrite = 0x20006;
constexpr DWORD kAllAccess = 0xF003F;
constexpr DWORD kMaximumAllowed = 0x02000000;
constexpr DWORD kBothViews = platform::KEY_WOW64_64KEY | platform::KEY_WOW64_32KEY;

/** A key that a handle refers to, with the registry locked as long as it is looked at. */
class LockedKey {
 public:
  /** @param right what the handle must have been opened with, or 0 */
  LockedKey(Machine& machine, HKEY handle, DWORD right)
      : guard_(machine.registry.Lock()), key_(machine.registry.Predefined(handle)) {
    DWORD rights = kAllAccess;
    if (key_) {
      rights &= ~key_->deniedRights;
      predefined_ = true;
    } else if (const OpenedKey* opened = machine.keys.Find(handle)) {
      key_ = opened->key.get();
      rights = opened->rights;
    }
    if (!key_) {
      status_ = Status(kInvalidHandle);
    } else if (key_->deleted) {
      status_ = Status(kKeyDeleted);
    } else if ((rights & right) != right) {
      status_ = Status(kAccessDenied);
    }
  }

  /** 0 when the key may be looked at. */
  LSTATUS Problem() const { return status_; }
  bool IsPredefined() const { return predefined_; }
  Key* operator->() const { return key_; }
  Key& operator*() const { return *key_; }

 private:
  std::lock_guard<std::recursive_mutex> guard_;
  Key* key_;
  bool predefined_ = false;
  LSTATUS status_ = 0;
};

DWORD ExpandGenericRights(DWORD access) {
  if (access & 0x80000000) access |= platform::KEY_READ;
  if (access & 0x40000000) access |= kWrite;
  if (access & 0x20000000) access |= platform::KEY_READ;
  if (access & 0x10000000) access |= kAllAccess;
  return access;
}

/** Bytes of a counted text are told in 16 bits, those of a terminating NUL included. */
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
  DWORD rights = ExpandGenericRights(access) & kAllAccess;
  if (access & kMaximumAllowed) rights |= kAllAccess & ~found->deniedRights;
  if (rights & found->deniedRights) return Status(kAccessDenied);
  *result = machine.keys.Open(*found, rights);
  return 0;
}

LSTATUS Open(Machine& machine, HKEY key, const char16_t* subKey, DWORD access, HKEY* result) {
  if (!result) return Status(kInvalidParameter);
  *result = nullptr;
  const std::u16string_view path = subKey ? std::u16string_view(subKey) : std::u16string_view();
  const LockedKey start(machine, key, 0);
  if (start.Problem() != 0) return start.Problem();
  if ((access & kBothViews) == kBothViews) return Status(kInvalidParameter);
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

platform::FILETIME AsFileTime(std::uint64_t time) {
  return {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

/** Keys of this machine have no class. */
void ClearClass(char16_t* className, DWORD* classChars) {
  if (className && classChars && *classChars > 0) className[0] = 0;
  if (classChars) *classChars = 0;
}

LSTATUS Enumerate(Machine& machine, HKEY key, DWORD index, char16_t* name, DWORD* nameChars,
                  platform::FILETIME* lastWrite) {
  const LockedKey parent(machine, key, kEnumerateSubKeys);
  if (parent.Problem() != 0) return parent.Problem();
  if (index >= parent->SubKeyCount()) return Status(platform::ERROR_NO_MORE_ITEMS);
  const Key& subKey = parent->SubKeyAt(index);
  const std::u16string& found = subKey.Name();
  if (*nameChars <= found.size()) return Status(kMoreData);
  std::copy_n(found.c_str(), found.size() + 1, name);
  *nameChars = static_cast<DWORD>(found.size());
  if (lastWrite) *lastWrite = AsFileTime(subKey.lastWriteTime);
  return 0;
}

LSTATUS EnumerateValue(Machine& machine, HKEY key, DWORD index, char16_t* name, DWORD* nameChars, DWORD* type,
                       platform::BYTE* data, DWORD* dataBytes) {
  const LockedKey owner(machine, key, kQueryValue);
  if (owner.Problem() != 0) return owner.Problem();
  if (index >= owner->ValueCount()) return Status(platform::ERROR_NO_MORE_ITEMS);
  const ValueView value = owner->ValueAt(index);
  if (*nameChars <= value.name.size()) return Status(kMoreData);
  *std::ranges::copy(value.name, name).out = 0;
  *nameChars = static_cast<DWORD>(value.name.size());
  if (type) *type = value.type;
  const auto size = static_cast<DWORD>(value.bytes.size());
  if (size > std::exchange(*dataBytes, size)) return Status(kMoreData);
  std::ranges::copy(value.bytes, data);
  return 0;
}

LSTATUS Query(Machine& machine, HKEY key, const char16_t* name, DWORD* type, platform::BYTE* data,
              DWORD* dataBytes) {
  const LockedKey owner(machine, key, kQueryValue);
  if (owner.Problem() != 0) return owner.Problem();
  ValueView value;
  if (!owner->FindValue(name ? std::u16string_view(name) : std::u16string_view(), value)) {
    if (!data && dataBytes) *dataBytes = 0;
    return Status(kFileNotFound);
  }
  if (type) *type = value.type;
  if (!dataBytes) return 0;
  const auto size = static_cast<DWORD>(value.bytes.size());
  const bool fits = size <= *dataBytes;
  *dataBytes = size;
  if (!data) return 0;
  if (!fits) return Status(kMoreData);
  if (size > 0) std::memcpy(data, value.bytes.data(), size);
  return 0;
}

void Set(DWORD* target, std::size_t number) {
  if (target) *target = static_cast<DWORD>(number);
}

void DescribeSubKeys(Key& key, DWORD* count, DWORD* longestChars) {
  Set(count, key.SubKeyCount());
  if (!longestChars) return;
  std::size_t longest = 0;
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i)
    longest = std::max(longest, key.SubKeyAt(i).Name().size());
  Set(longestChars, longest);
}

void DescribeValues(Key& key, DWORD* count, DWORD* longestNameChars, DWORD* longestBytes) {
  Set(count, key.ValueCount());
  if (!longestNameChars && !longestBytes) return;
  std::size_t chars = 0;
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < key.ValueCount(); ++i) {
    const ValueView value = key.ValueAt(i);
    chars = std::max(chars, value.name.size());
    bytes = std::max(bytes, value.bytes.size());
  }
  Set(longestNameChars, chars);
  Set(longestBytes, bytes);
}

LSTATUS Delete(Machine& machine, HKEY key, const char16_t* subKey) {
  if (!subKey) return Status(kInvalidParameter);
  const LockedKey start(machine, key, 0);
  if (start.Problem() != 0) return start.Problem();
  if (const LSTATUS status = CheckPath(subKey); status != 0) return status;
  if (start.IsPredefined() && *subKey == 0) return Status(kAccessDenied);
  Key* found = machine.registry.Find(*start, subKey, View::Native);
  return found ? DeleteKeptKey(machine, *found) : Status(kFileNotFound);
}

LSTATUS StartWatch(Machine& machine, HKEY key, bool isDeep, DWORD filter, platform::HANDLE event) {
  const LockedKey watched(machine, key, platform::KEY_NOTIFY);
  if (watched.Problem() != 0) return watched.Problem();
  const auto signal = Handles::Shared().Find(event);
  if (!signal || signal->kind != Waitable::Kind::Event) return Status(kInvalidHandle);
  // Cleared before anything can signal it: the tree is locked.
  Handles::Shared().Signal(*signal, false);
  machine.registry.Watch({&*watched, key, isDeep, filter, signal});
  return 0;
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;
using simulated::Status;

LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subKey, DWORD options, REGSAM access, HKEY* result) {
  Machine& machine = Machine::Current();
  if (result) *result = nullptr;
  return Perform(
      &machine, "RegOpenKeyExW", Failure<LSTATUS>{Status(simulated::kAccessDenied)},
      [&](Arguments& arguments) { arguments.Key(machine, key).Text(subKey).Number(options).Hex(access); },
      [&] { return simulated::Open(machine, key, subKey, access, result); });
}

LSTATUS RegCloseKey(HKEY key) {
  Machine& machine = Machine::Current();
  const auto describe = [&](Arguments& arguments) { arguments.Key(machine, key); };
  const auto close = [&] { return simulated::Close(machine, key); };
  const Failure<LSTATUS> failure{Status(simulated::kInvalidHandle), 0, true};
  return Perform(&machine, "RegCloseKey", failure, describe, close);
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameChars, DWORD* reserved,
                      char16_t* className, DWORD* classChars, FILETIME* lastWrite) {
  Machine& machine = Machine::Current();
  // An enumeration that fails for good has to end: callers skip any other failure and ask for the next index.
  const DWORD failure = machine.faults.Lasting() ? ERROR_NO_MORE_ITEMS : simulated::kNoSystemResources;
  return Perform(
      &machine, "RegEnumKeyExW", Failure<LSTATUS>{Status(failure)},
      [&](Arguments& arguments) {
        arguments.Key(machine, key).Number(index).Number(nameChars ? *nameChars : 0);
      },
      [&] {
        if (!name || !nameChars || reserved) return Status(simulated::kInvalidParameter);
        const LSTATUS status = simulated::Enumerate(machine, key, index, name, nameChars, lastWrite);
        if (status == 0) simulated::ClearClass(className, classChars);
        return status;
      });
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, char16_t* name, DWORD* nameChars, DWORD* reserved, DWORD* type,
                      BYTE* data, DWORD* dataBytes) {
  Machine& machine = Machine::Current();
  return Perform(
      &machine, "RegEnumValueW", Failure<LSTATUS>{Status(simulated::kNoSystemResources)},
      [&](Arguments& arguments) { arguments.Key(machine, key).Number(index); },
      [&] {
        if (!name || !nameChars || reserved || !data || !dataBytes)
          return Status(simulated::kInvalidParameter);
        return simulated::EnumerateValue(machine, key, index, name, nameChars, type, data, dataBytes);
      });
}

LSTATUS RegQueryValueExW(HKEY key, const char16_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* dataBytes) {
  Machine& machine = Machine::Current();
  return Perform(
      &machine, "RegQueryValueExW", Failure<LSTATUS>{Status(simulated::kNoSystemResources)},
      [&](Arguments& arguments) {
        arguments.Key(machine, key).Text(name).Number(dataBytes ? *dataBytes : 0);
      },
      [&] {
        if (reserved || (data && !dataBytes)) return Status(simulated::kInvalidParameter);
        return simulated::Query(machine, key, name, type, data, dataBytes);
      });
}

LSTATUS RegQueryInfoKeyW(HKEY key, char16_t* className, DWORD* classChars, DWORD* reserved, DWORD* subKeys,
                         DWORD* longestSubKeyChars, DWORD* longestClassChars, DWORD* values,
                         DWORD* longestValueNameChars, DWORD* longestValueBytes, DWORD* securityBytes,
                         FILETIME* lastWrite) {
  Machine& machine = Machine::Current();
  const auto query = [&] {
    if ((className && !classChars) || reserved) return Status(simulated::kInvalidParameter);
    const simulated::LockedKey found(machine, key, simulated::kQueryValue);
    if (found.Problem() != 0) return found.Problem();
    simulated::ClearClass(className, classChars);
    simulated::DescribeSubKeys(*found, subKeys, longestSubKeyChars);
    simulated::DescribeValues(*found, values, longestValueNameChars, longestValueBytes);
    simulated::Set(longestClassChars, 0);
    simulated::Set(securityBytes, 0);
    if (lastWrite) *lastWrite = simulated::AsFileTime(found->lastWriteTime);
    return LSTATUS{0};
  };
  return Perform(
      &machine, "RegQueryInfoKeyW", Failure<LSTATUS>{Status(simulated::kNoSystemResources)},
      [&](Arguments& arguments) { arguments.Key(machine, key); }, query);
}

LSTATUS RegDeleteKeyW(HKEY key, const char16_t* subKey) {
  Machine& machine = Machine::Current();
  return Perform(
      &machine, "RegDeleteKeyW", Failure<LSTATUS>{Status(simulated::kAccessDenied)},
      [&](Arguments& arguments) { arguments.Key(machine, key).Text(subKey); },
      [&] { return simulated::Delete(machine, key, subKey); });
}

LSTATUS RegNotifyChangeKeyValue(HKEY key, BOOL watchSubtree, DWORD filter, HANDLE event, BOOL asynchronous) {
  Machine& machine = Machine::Current();
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
