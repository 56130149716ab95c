/** A hive's key and value records: where things stand in them, counted from behind the cell's size. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace simulated {

/** Stands before every record: how large the cell is that holds it, negative where it is in use. */
inline constexpr std::size_t kCellHeaderBytes = 4;

struct KeyRecord {
  static constexpr std::size_t kFlags = 2;
  static constexpr std::uint16_t kHasLatin1Name = 0x20;
  static constexpr std::size_t kSubKeyCount = 20;
  static constexpr std::size_t kSubKeyList = 28;
  static constexpr std::size_t kValueCount = 36;
  static constexpr std::size_t kValueList = 40;
  static constexpr std::size_t kNameBytes = 72;
  static constexpr std::size_t kName = 76;
};

struct ValueRecord {
  static constexpr std::size_t kNameBytes = 2;
  static constexpr std::size_t kDataBytes = 4;
  static constexpr std::size_t kData = 8;
  static constexpr std::size_t kFlags = 16;
  static constexpr std::uint16_t kHasLatin1Name = 1;
  static constexpr std::size_t kName = 20;
};

/**
 * The name in a record of either kind. libhivex tells names too, but in UTF-8: that has no room for what is
 * no good UTF-16, and takes longer than all else that is read of a key.
 * @param cell  where the record's cell begins in `file`
 * @return nothing where it does not lie within the file
 */
template <typename Record>
std::optional<std::u16string> NameIn(std::span<const std::uint8_t> file, std::size_t cell);

}  // namespace simulated
