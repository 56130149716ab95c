/**
 * The registry functions of the library: they read keys and values, and delete a tree. They never write a
 * value, create a key or log.
 *
 * A failure is a null key or an empty text; an optional out-parameter has the reason. A key object is not
 * thread-safe.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace kestrelbay {

/** The view through which a key was opened. Records report it as their architecture. */
using RegistryView = std::int32_t;
inline constexpr RegistryView kDefaultView = 0;  ///< the view of the process
inline constexpr RegistryView k32BitView = 1;
inline constexpr RegistryView k64BitView = 2;

/**
 * An open key with its root, path and view.
 *
 * Copies share the handle and each one closes it. Copy root keys only: Windows keeps their handles valid.
 */
class RegistryKey {
 public:
  /** @param nameOfRoot  borrowed by this key and by each key opened below it */
  RegistryKey(RegistryView openedView, platform::HKEY openHandle, std::u16string_view nameOfRoot,
              std::u16string pathBelowRoot);
  RegistryKey(const RegistryKey&) = default;
  RegistryKey& operator=(const RegistryKey&) = delete;
  /** Closes the handle, by design also HKEY_CURRENT_USER, but not HKEY_LOCAL_MACHINE and HKEY_USERS. */
  ~RegistryKey();

  const RegistryView view;
  const platform::HKEY handle;
  const std::u16string_view rootName;  ///< such as "HKEY_LOCAL_MACHINE"
  const std::u16string path;           ///< below the root, no leading backslash; empty for the root itself
};

/** A value before its conversion to text. */
struct ValueFound {
  platform::LSTATUS status = 0;  ///< 0 or the error of the read: ERROR_MORE_DATA (234) if it is too long
  platform::DWORD type = 0;
  platform::DWORD bytes = 0;
};

/**
 * The process-wide roots, created on first use; thread-safe. Callers use LocalMachineRoot and UsersRoot as
 * they are. Callers copy CurrentUserRoot; each copy closes HKEY_CURRENT_USER when it is destroyed.
 */
const RegistryKey& LocalMachineRoot();
const RegistryKey& CurrentUserRoot();
const RegistryKey& UsersRoot();

/**
 * Opens `path` below `parent` for reading, in the view of the function and not in that of `parent`.
 * @param path  empty opens `parent` itself
 * @return null on failure
 */
std::unique_ptr<RegistryKey> OpenKey(const RegistryKey& parent, const std::u16string& path);
std::unique_ptr<RegistryKey> OpenKey32(const RegistryKey& parent, const std::u16string& path);
std::unique_ptr<RegistryKey> OpenKey64(const RegistryKey& parent, const std::u16string& path);
/**
 * @param view    1 or 2 for that view; any other opens the default view, and the key keeps the number
 * @param status  out: 0 or the error of the open; may be null
 */
std::unique_ptr<RegistryKey> OpenKeyInView(const RegistryKey& parent, const std::u16string& path,
                                           RegistryView view, platform::LSTATUS* status = nullptr);

/**
 * Reads a value as text: REG_SZ unchanged, REG_EXPAND_SZ with its variables expanded, REG_DWORD as a signed
 * decimal number. A text ends at its first NUL.
 * @param name   null-terminated
 * @param text   out: the text; empty for a missing value, any other type, and a value of more than 520 bytes.
 *               Reuses the buffer of `text`.
 * @param found  out: status, type and size of the value; may be null
 */
void ReadRegistryValue(const RegistryKey& key, const char16_t* name, std::u16string& text,
                       ValueFound* found = nullptr);
/** The same, returning the text. */
std::u16string ReadRegistryValue(const RegistryKey& key, const char16_t* name);

/**
 * Enumerating a deleted key fails at every index and never reports an end. So this many unreadable names in a
 * row end a list.
 */
inline constexpr platform::DWORD kUnreadableNamesInARow = 0x10000;

/**
 * @return the names of the subkeys in the order of the registry. Skips a name that cannot be read.
 *         kUnreadableNamesInARow of these end the list, because the key itself was deleted then.
 */
std::vector<std::u16string> ListSubKeyNames(const RegistryKey& key);

/**
 * Reads the last write time of a key.
 * @param text  out: milliseconds since 1970-01-01 UTC as a decimal number, never empty; a time that cannot be
 *              read counts as FILETIME 0. Reuses the buffer of `text`.
 */
void ReadLastWriteTime(const RegistryKey& key, std::u16string& text);

/**
 * Deletes the key at `path` below `root` with all its subkeys, in the view of the process.
 * @return false only if a delete was tried and failed; a missing key counts as deleted
 */
bool DeleteRegistryTree(platform::HKEY root, const std::u16string& path);

}  // namespace kestrelbay
