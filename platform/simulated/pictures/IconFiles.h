/** Which icons a file holds: executables of Windows, 32- or 64-bit, and .ico files. */
#pragma once

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "simulated/base/ByteSource.h"

namespace simulated {

/** What is wrong with a file that claims to hold an icon. */
class DamagedIcon : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** One image of an icon, as the icon's directory tells of it; the image itself may be another. */
struct IconEntry {
  std::uint32_t width;  ///< 1 to 256
  std::uint32_t height;
  std::uint32_t bits;  ///< of a pixel
  std::uint64_t offset;
  std::uint32_t bytes;
};

/** An icon: the same picture in several sizes and depths. Empty where the file has none. */
using IconEntries = std::vector<IconEntry>;

/**
 * An icon of an executable. What is no executable has none.
 * @param index  as Windows counts: from 0, in the order of the table, where named groups stand before
 * numbered ones, each sorted
 * @return empty where there are not so many
 * @throws DamagedIcon for tables that cannot be followed
 */
IconEntries FindExecutableIcon(const ByteSource& file, std::size_t index = 0);

/** The icon of an .ico file. @throws DamagedIcon for what is none */
IconEntries FindIconFileIcon(const ByteSource& file);

/** An image's bytes. @throws DamagedIcon where the file lacks them, or they are too many for an image */
std::vector<std::uint8_t> ReadIconImage(const ByteSource& file, const IconEntry& entry);

}  // namespace simulated
