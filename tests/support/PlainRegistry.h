/** A registry as plain trees. Tests create the registry of a machine from it and read its keys. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelbay {

struct PlainValue {
  std::u16string name;
  std::uint32_t type;
  std::vector<std::uint8_t> bytes;
};

struct PlainKey {
  std::u16string name;
  std::vector<PlainValue> values;
  std::vector<PlainKey> subKeys;  ///< in no order
  bool denied = false;            ///< cannot be opened, unlike the keys below it
  std::uint64_t lastWriteTime = 0;

  /** @return the key at a path below this one; creates it if it is missing */
  PlainKey& At(std::u16string_view path);
  /** @return the key at a path below this one; null if it is missing */
  const PlainKey* Find(std::u16string_view path) const;
  void Set(std::u16string_view value, std::uint32_t type, std::vector<std::uint8_t> bytes);
};

/** Everything that a scan can read. A key that both views share is in both trees of the machine. */
struct PlainRegistry {
  PlainKey machine;    ///< HKEY_LOCAL_MACHINE as the 64-bit view shows it
  PlainKey machine32;  ///< HKEY_LOCAL_MACHINE as the 32-bit view shows it
  PlainKey users;      ///< HKEY_USERS
};

/** @return the names of the subkeys in the order of the registry; all letters of the names are ASCII */
std::vector<std::u16string> SortedNames(const PlainKey& key);
/** @return a value as the library reads it: empty if it is missing, too long or of another type */
std::u16string ReadNaively(const PlainKey& key, std::u16string_view name);
/** @return decimal milliseconds since 1970 */
std::u16string LastWriteTimeNaively(const PlainKey& key);

/** @return the bytes of a text in the registry, without a NUL unless `text` has one */
std::vector<std::uint8_t> BytesOf(std::u16string_view text);
/** Lone surrogates become U+FFFD. */
std::string Utf8(std::u16string_view wide);
/** @return the registry as text, for the message of a failed test */
std::string Describe(const PlainRegistry& registry);

}  // namespace kestrelbay
