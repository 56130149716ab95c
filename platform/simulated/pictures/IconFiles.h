/** Finds the icons in executables of Windows, 32-bit and 64-bit, and in .ico files. */
#pragma once

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "simulated/base/ByteSource.h"

namespace simulated {

/** The file claims to have an icon, but its tables are damaged. */
class DamagedIcon : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** One image of an icon, as the icon's directory describes it. The image itself may differ. */
struct IconEntry {
  std::uint32_t width;  ///< 1 to 256
  std::uint32_t height;
  std::uint32_t bits;  ///< of a pixel
  std::uint64_t offset;
  std::uint32_t bytes;
};

/** An icon: the same picture in several sizes and depths. Empty if the file has none. */
using IconEntries = std::vector<IconEntry>;

/**
 * Finds an icon of an executable.
 * @param index  counted as Windows does: from 0, in the order of the resource table, in which the sorted
 * named groups are before the sorted numbered ones
 * @return empty if the file is not an executable, or has fewer icons
 * @throws DamagedIcon if a table is damaged
 */
IconEntries FindExecutableIcon(const ByteSource& file, std::size_t index = 0);

/** Finds the icon of an .ico file. @throws DamagedIcon for any other file */
IconEntries FindIconFileIcon(const ByteSource& file);

/** Reads the bytes of an image. @throws DamagedIcon if the file ends before them, or if they are too many */
std::vector<std::uint8_t> ReadIconImage(const ByteSource& file, const IconEntry& entry);

}  // namespace simulated
