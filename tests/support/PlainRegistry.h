/** A registry as plain trees, from which a machine's registry can be made and whose keys can be read. */
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
  bool denied = false;            ///< cannot be opened, though the keys below it can
  std::uint64_t lastWriteTime = 0;

  /** The key at a path below this one, made if need be. */
  PlainKey& At(std::u16string_view path);
  /** The same, but null where there is none. */
  const PlainKey* Find(std::u16string_view path) const;
  void Set(std::u16string_view value, std::uint32_t type, std::vector<std::uint8_t> bytes);
};

/** What a scan can reach. A key that both views share stands in both trees of the machine. */
struct PlainRegistry {
  PlainKey machine;    ///< HKEY_LOCAL_MACHINE as the 64-bit view shows it
  PlainKey machine32;  ///< and as the 32-bit view does
  PlainKey users;      ///< HKEY_USERS
};

/** Names of the sub keys in the registry's order; the names' letters are ASCII. */
std::vector<std::u16string> SortedNames(const PlainKey& key);
/** A value as the library has it: the empty text for what is missing, too long or of another type. */
std::u16string ReadNaively(const PlainKey& key, std::u16string_view name);
/** Milliseconds since 1970 in decimal. */
std::u16string LastWriteTimeNaively(const PlainKey& key);

/** The bytes of a text as the registry stores it, without a NUL unless `text` holds one. */
std::vector<std::uint8_t> BytesOf(std::u16string_view text);
/** Lone surrogates become U+FFFD. */
std::string Utf8(std::u16string_view wide);
/** The registry as text, for a test that fails. */
std::string Describe(const PlainRegistry& registry);

}  // namespace kestrelbay
