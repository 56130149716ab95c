// Reading of open keys.
#include <algorithm>
#include <cstring>

#include "platform/Registry.h"
#include "simulated/port/Call.h"
#include "simulated/port/LockedKey.h"

namespace simulated {
namespace {

using platform::DWORD;
using platform::HKEY;
using platform::LSTATUS;

constexpr DWORD kQueryValue = 0x0001;
constexpr DWORD kEnumerateSubKeys = 0x0008;

platform::FILETIME AsFileTime(std::uint64_t time) {
  return {static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
}

/** Returns an empty class name, because keys of this machine have no class. */
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

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;
using simulated::Status;

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, char16_t* name, DWORD* nameChars, DWORD* reserved,
                      char16_t* className, DWORD* classChars, FILETIME* lastWrite) {
  Machine& machine = CurrentMachine();
  // The product skips a subkey that fails and asks for the next index. So an enumeration that fails from now
  // on must fail with the one error that ends it.
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

LSTATUS RegQueryValueExW(HKEY key, const char16_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* dataBytes) {
  Machine& machine = CurrentMachine();
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
  Machine& machine = CurrentMachine();
  const void* const unsupported[] = {className,          classChars,        reserved, subKeys,
                                     longestSubKeyChars, longestClassChars, values,   longestValueNameChars,
                                     longestValueBytes,  securityBytes};
  const auto query = [&] {
    if (std::ranges::any_of(unsupported, [](const void* out) { return out != nullptr; }))
      return Status(simulated::kInvalidParameter);
    const simulated::LockedKey found(machine, key, simulated::kQueryValue);
    if (found.Problem() != 0) return found.Problem();
    if (lastWrite) *lastWrite = simulated::AsFileTime(found->lastWriteTime);
    return LSTATUS{0};
  };
  return Perform(
      &machine, "RegQueryInfoKeyW", Failure<LSTATUS>{Status(simulated::kNoSystemResources)},
      [&](Arguments& arguments) { arguments.Key(machine, key); }, query);
}

}  // namespace platform
