#include "platform/Protection.h"

#include <sodium/utils.h>

#include <algorithm>
#include <cstring>

#include "platform/Constants.h"
#include "simulated/base/Base64.h"
#include "simulated/base/Memory.h"
#include "simulated/machine/KeptChanges.h"
#include "simulated/machine/UserSecrets.h"
#include "simulated/port/Call.h"

namespace simulated {
namespace {

using platform::BOOL;
using platform::DATA_BLOB;
using platform::DWORD;
using Bytes = std::vector<std::uint8_t>;

BOOL Finish(DWORD lastError) {
  if (lastError != 0) SetLastError(lastError);
  return lastError == 0;
}

constexpr std::u16string_view kIdentityKey = u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Cryptography";
constexpr std::u16string_view kIdentityValue = u"MachineGuid";

/** Empty for a machine without an identity. */
std::u16string MachineId(Machine& machine) {
  const std::lock_guard guard(machine.registry.Lock());
  Key* const key = machine.registry.Find(kIdentityKey);
  ValueView value;
  if (!key || !key->FindValue(kIdentityValue, value)) return {};
  std::u16string id(value.bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(id.data(), value.bytes.data(), id.size() * sizeof(char16_t));
  // An empty text with its NUL identifies no machine.
  return id.starts_with(u'\0') ? std::u16string() : id;
}

/** Gives a machine without an identity one of its own, as setting Windows up does. */
DWORD EnsureMachineId(Machine& machine) {
  KeptMerger merger(machine);
  if (!MachineId(machine).empty()) return 0;
  const std::u16string id = NewMachineId();
  merger.OpenKey(kIdentityKey, {});
  merger.SetValue(kIdentityValue, platform::REG_SZ,
                  {reinterpret_cast<const std::uint8_t*>(id.c_str()), (id.size() + 1) * sizeof(char16_t)});
  return static_cast<DWORD>(merger.Commit());
}

UserSecrets SecretsOf(Machine& machine) { return {MachineId(machine), machine.registry.User()}; }

std::span<const std::uint8_t> View(const DATA_BLOB& blob) { return {blob.pbData, blob.cbData}; }

/** Copies bytes to a block that the caller of the port frees, and wipes `bytes`. */
void MoveOut(Bytes& bytes, DATA_BLOB& blob) {
  blob = {static_cast<DWORD>(bytes.size()), static_cast<platform::BYTE*>(Allocate(bytes.size()))};
  std::copy(bytes.begin(), bytes.end(), blob.pbData);
  sodium_memzero(bytes.data(), bytes.size());
}

DWORD Protect(Machine& machine, const DATA_BLOB* plain, DATA_BLOB& blob) {
  if (!plain) return kInvalidParameter;
  if (!plain->pbData) return kInvalidData;
  if (const DWORD problem = EnsureMachineId(machine); problem != 0) return problem;
  Bytes bytes = SecretsOf(machine).Protect(View(*plain));
  MoveOut(bytes, blob);
  return 0;
}

DWORD Unprotect(Machine& machine, const DATA_BLOB* blob, DATA_BLOB& plain) {
  if (!blob) return kInvalidParameter;
  Bytes bytes;
  if (const DWORD problem = SecretsOf(machine).Unprotect(View(*blob), bytes); problem != 0) return problem;
  MoveOut(bytes, plain);
  return 0;
}

DWORD Write(std::span<const std::uint8_t> bytes, DWORD flags, char* text, DWORD& chars) {
  const bool inLines = (flags & platform::CRYPT_STRING_NOCRLF) == 0;
  if ((flags & ~platform::CRYPT_STRING_NOCRLF) != platform::CRYPT_STRING_BASE64) return kInvalidParameter;
  const std::string written = ToBase64(bytes, inLines);
  const DWORD room = std::exchange(chars, static_cast<DWORD>(written.size()));
  if (!text) return ++chars, 0;
  if (room <= written.size()) return ++chars, kMoreData;
  std::copy_n(written.c_str(), written.size() + 1, text);
  return 0;
}

DWORD Read(std::string_view text, DWORD flags, platform::BYTE* bytes, DWORD& byteCount) {
  if (flags != platform::CRYPT_STRING_BASE64) return kInvalidParameter;
  const auto read = FromBase64(text);
  if (!read) return kInvalidData;
  const DWORD room = std::exchange(byteCount, static_cast<DWORD>(read->size()));
  if (!bytes) return 0;
  if (room < read->size()) return kMoreData;
  std::copy(read->begin(), read->end(), bytes);
  return 0;
}

// The journal records only the length, because the bytes are secret.
void DescribeLength(Arguments& arguments, const DATA_BLOB* blob) {
  if (blob) {
    arguments.Number(blob->cbData);
  } else {
    arguments.Handle(nullptr);
  }
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::CurrentMachineOrNull;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;

BOOL CryptProtectData(DATA_BLOB* plain, const char16_t* description, DATA_BLOB* entropy, void* reserved,
                      void* prompt, DWORD flags, DATA_BLOB* blob) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "CryptProtectData", Failure<BOOL>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) {
        simulated::DescribeLength(arguments, plain);
        arguments.Text(description).Handle(entropy).Handle(reserved).Handle(prompt).Hex(flags);
      },
      [&] { return simulated::Finish(simulated::Protect(machine, plain, *blob)); });
}

BOOL CryptUnprotectData(DATA_BLOB* blob, char16_t** description, DATA_BLOB* entropy, void* reserved,
                        void* prompt, DWORD flags, DATA_BLOB* plain) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "CryptUnprotectData", Failure<BOOL>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) {
        simulated::DescribeLength(arguments, blob);
        arguments.Handle(description).Handle(entropy).Handle(reserved).Handle(prompt).Hex(flags);
      },
      [&] { return simulated::Finish(simulated::Unprotect(machine, blob, *plain)); });
}

BOOL CryptBinaryToStringA(const BYTE* bytes, DWORD byteCount, DWORD flags, char* text, DWORD* chars) {
  return Perform(
      &CurrentMachine(), "CryptBinaryToStringA", Failure<BOOL>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) { arguments.Number(byteCount).Hex(flags).Number(text ? *chars : 0); },
      [&] {
        return simulated::Finish(simulated::Write({bytes, byteCount}, flags, text, *chars));
      });
}

BOOL CryptStringToBinaryA(const char* text, DWORD chars, DWORD flags, BYTE* bytes, DWORD* byteCount,
                          DWORD* skipped, DWORD* usedFlags) {
  const std::string_view given = chars == 0 ? std::string_view(text) : std::string_view(text, chars);
  return Perform(
      &CurrentMachine(), "CryptStringToBinaryA", Failure<BOOL>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) {
        arguments.Number(chars).Hex(flags).Number(bytes ? *byteCount : 0).Handle(skipped).Handle(usedFlags);
      },
      [&] { return simulated::Finish(simulated::Read(given, flags, bytes, *byteCount)); });
}

void* LocalFree(void* memory) {
  return Perform(
      CurrentMachineOrNull(), "LocalFree", Failure<void*>{memory, simulated::kInvalidHandle, true},
      [](Arguments&) {},
      [&] {
        simulated::Deallocate(memory);
        return static_cast<void*>(nullptr);
      });
}

}  // namespace platform
