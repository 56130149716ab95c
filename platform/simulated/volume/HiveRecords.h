/** Layout of a hive file: offsets in its header, and in key and value records after the size of the cell. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "simulated/base/LittleEndian.h"

namespace simulated {

using HiveBytes = std::span<const std::uint8_t>;

/** The header of a primary file. A log begins with one sector of the same layout. */
struct HiveHeader {
  static constexpr std::size_t kFirstSequence = 4;
  static constexpr std::size_t kSecondSequence = 8;
  static constexpr std::size_t kTime = 12;
  static constexpr std::size_t kType = 28;
  static constexpr std::size_t kRoot = 36;
  static constexpr std::size_t kBinsBytes = 40;
  static constexpr std::size_t kFileName = 48;
  static constexpr std::size_t kFileNameBytes = 64;
  static constexpr std::size_t kIdentifier = 112;
  static constexpr std::size_t kIdentifierBytes = 16;
  static constexpr std::size_t kSecondIdentifier = 128;
  static constexpr std::size_t kChecksum = 508;
  static constexpr std::size_t kSectorBytes = 512;
  /** The bins begin here. Offsets in a hive count from there. */
  static constexpr std::size_t kBytes = 4096;
};

/** Bytes of the cell's size, which precedes every record. The size is negative if the cell is in use. */
inline constexpr std::size_t kCellHeaderBytes = 4;

struct KeyRecord {
  static constexpr std::size_t kFlags = 2;
  static constexpr std::uint16_t kHasLatin1Name = 0x20;
  static constexpr std::size_t kTime = 4;
  static constexpr std::size_t kParent = 16;
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
  static constexpr std::size_t kType = 12;
  static constexpr std::size_t kFlags = 16;
  static constexpr std::uint16_t kHasLatin1Name = 1;
  static constexpr std::size_t kName = 20;
};

/** The first two letters of a record, as a number. */
constexpr std::uint16_t Kind(const char (&letters)[3]) {
  return static_cast<std::uint16_t>(letters[0] | letters[1] << 8);
}

/** The first four letters of a header, as a number. */
constexpr std::uint32_t Kind(const char (&letters)[5]) {
  return Kind({letters[0], letters[1], '\0'}) | std::uint32_t{Kind({letters[2], letters[3], '\0'})} << 16;
}

inline std::uint64_t Read64(HiveBytes bytes, std::size_t at) {
  return Read32(bytes, at) | std::uint64_t{Read32(bytes, at + 4)} << 32;
}

}  // namespace simulated
