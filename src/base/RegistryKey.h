/**
 * The library's only way to the registry: reading keys and values, and one recursive delete. Nothing here
 * writes a value, makes a key or logs.
 *
 * Any failure is a null key or an empty text; why it failed is told only to who asks for it. A key object is
 * used by one thread at a time, and there is no lock.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace kestrelbay {

/** The view that a key was opened through, which is also what records report as architecture. */
using RegistryView = std::int32_t;
inline constexpr RegistryView kDefaultView = 0;  ///< the process's own
inline constexpr RegistryView k32BitView = 1;
inline constexpr RegistryView k64BitView = 2;

/**
 * An open key that remembers where it came from.
 *
 * A copy shares the handle, and each copy closes it: so copy only roots, as their handles stay good.
 */
class RegistryKey {
 public:
  /** @param rootName  looked at as long as there is a key below that root */
  RegistryKey(RegistryView view, platform::HKEY handle, std::u16string_view rootName, std::u16string path);
  RegistryKey(const RegistryKey&) = default;
  RegistryKey& operator=(const RegistryKey&) = delete;
  /** Closes the handle, HKEY_CURRENT_USER included; only HKEY_LOCAL_MACHINE and HKEY_USERS are spared. */
  ~RegistryKey();

  const RegistryView view;
  const platform::HKEY handle;
  const std::u16string_view rootName;  ///< such as "HKEY_LOCAL_MACHINE"
  const std::u16string path;           ///< below the root, no leading backslash; empty for the root itself
};

/** What a value was, before it became a text. */
struct ValueFound {
  platform::LSTATUS status = 0;  ///< why it cannot be read: ERROR_MORE_DATA (234) where it is too long
  platform::DWORD type = 0;
  platform::DWORD bytes = 0;
};

/**
 * The process-wide roots, made on first use by any thread. LocalMachineRoot and UsersRoot are used as they
 * are. Of CurrentUserRoot take a copy, which closes HKEY_CURRENT_USER each time that one is destroyed.
 */
const RegistryKey& LocalMachineRoot();
const RegistryKey& CurrentUserRoot();
const RegistryKey& UsersRoot();

/**
 * Opens `path` below `parent` for reading. The view of `parent` plays no part, only the operation's own.
 * @param path  empty asks for `parent` itself
 * @return null where it cannot be opened
 */
std::unique_ptr<RegistryKey> OpenKey(const RegistryKey& parent, const std::u16string& path);
std::unique_ptr<RegistryKey> OpenKey32(const RegistryKey& parent, const std::u16string& path);
std::unique_ptr<RegistryKey> OpenKey64(const RegistryKey& parent, const std::u16string& path);
/**
 * @param view    1 or 2 for that view; any other opens the default one and is recorded as it is
 * @param status  receives 0, or why the key does not open; may be null
 */
std::unique_ptr<RegistryKey> OpenKeyInView(const RegistryKey& parent, const std::u16string& path,
                                           RegistryView view, platform::LSTATUS* status = nullptr);

/**
 * Reads a value as text: REG_SZ as it is, REG_EXPAND_SZ with its variables expanded, REG_DWORD as a signed
 * decimal number. A text ends at its first NUL.
 * @param name   NUL-terminated
 * @param text   receives the text; empty for a missing value, any other type, and a value of more than 520
 *               bytes. Its memory is used again, which spares a scan an allocation for each value.
 * @param found  receives what there was to read; may be null
 */
void ReadRegistryValue(const RegistryKey& key, const char16_t* name, std::u16string& text,
                       ValueFound* found = nullptr);
/** The same, as a text of its own. */
std::u16string ReadRegistryValue(const RegistryKey& key, const char16_t* name);

/**
 * @return the names of the key's sub keys in the registry's order; one that cannot be read is left out, and
 *         65536 of these in a row count as the end: the key itself is gone then
 */
std::vector<std::u16string> ListSubKeyNames(const RegistryKey& key);

/**
 * Reads when the key was last written.
 * @param text  receives milliseconds since 1970-01-01 UTC as a decimal number, never empty; its memory is
 *              used again
 */
void ReadLastWriteTime(const RegistryKey& key, std::u16string& text);

/**
 * Deletes the key at `path` below `root` with all its sub keys, in the process's own view.
 * @return false only where a delete was tried and failed; a key that is not there counts as deleted
 */
bool DeleteRegistryTree(platform::HKEY root, const std::u16string& path);

}  // namespace kestrelbay
