#include "simulated/pictures/IconFiles.h"

#include <algorithm>

#include "simulated/base/LittleEndian.h"

namespace simulated {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Limits against hostile files: an image of 1024 by 1024 pixels of 32 bits has 4 MiB, and real icons have at
// most some dozens of images.
constexpr std::uint32_t kLargestImageBytes = 8 << 20;
constexpr std::size_t kMostImages = 1024;
constexpr std::size_t kMostSections = 96;             // the limit of Windows' loader
constexpr std::uint32_t kPortableSignature = 0x4550;  // "PE" and two NULs
constexpr std::uint32_t kIconType = 3;
constexpr std::uint32_t kIconGroupType = 14;
constexpr std::size_t kFileEntryBytes = 16;
constexpr std::size_t kGroupEntryBytes = 14;

Bytes ReadAt(const ByteSource& file, std::uint64_t offset, std::size_t count) {
  Bytes bytes(count);
  if (!file.Read(offset, bytes)) throw DamagedIcon("a table reaches beyond the end of the file");
  return bytes;
}

struct Section {
  std::uint32_t address;
  std::uint32_t fileBytes;
  std::uint32_t fileOffset;
};

/** Maps the addresses of an executable to offsets in its file. */
class Executable {
 public:
  /** @param header  offset of the "PE" signature */
  Executable(const ByteSource& file, std::uint32_t header) : file_(file) {
    const Bytes start = ReadAt(file, header, 24);
    const std::uint16_t sectionCount = Read16(start, 6);
    const std::uint16_t optionalBytes = Read16(start, 20);
    if (sectionCount > kMostSections) throw DamagedIcon("more sections than an executable can have");
    ReadResourceAddress(ReadAt(file, header + 24u, optionalBytes));
    const Bytes table =
        ReadAt(file, std::uint64_t{header} + 24 + optionalBytes, std::size_t{sectionCount} * 40);
    for (std::size_t at = 0; at < table.size(); at += 40) {
      sections_.push_back({Read32(table, at + 12), Read32(table, at + 16), Read32(table, at + 20)});
    }
  }

  bool HasResources() const { return resources_ != 0; }
  std::uint32_t Resources() const { return resources_; }

  /** Returns the file offset of `count` bytes at an address. All of them must be in one section. */
  std::uint64_t Find(std::uint64_t address, std::uint64_t count) const {
    for (const Section& section : sections_) {
      const std::uint64_t end = std::uint64_t{section.address} + section.fileBytes;
      if (address < section.address || address + count > end) continue;
      // Windows' loader rounds the start of a section down to a sector of 512 bytes.
      const std::uint32_t begin = hasPages_ ? section.fileOffset & ~0x1FFu : section.fileOffset;
      return begin + (address - section.address);
    }
    throw DamagedIcon("an address outside of all sections");
  }

  Bytes Read(std::uint64_t address, std::size_t count) const {
    return ReadAt(file_, Find(address, count), count);
  }

 private:
  void ReadResourceAddress(const Bytes& optional) {
    if (optional.size() < 2) throw DamagedIcon("no optional header");
    const std::size_t directories = Read16(optional, 0) == 0x20B ? 112 : 96;
    constexpr std::size_t kEntryBytes = 8;
    if (optional.size() < directories) throw DamagedIcon("the optional header is cut");
    hasPages_ = Read32(optional, 32) >= 0x1000;
    if (Read32(optional, directories - 4) <= 2 || optional.size() < directories + 3 * kEntryBytes) return;
    resources_ = Read32(optional, directories + 2 * kEntryBytes);
  }

  const ByteSource& file_;
  std::vector<Section> sections_;
  std::uint32_t resources_ = 0;
  bool hasPages_ = true;
};

/** An entry of a resource table. */
struct Resource {
  std::uint32_t name;  ///< a number, or with the highest bit set the offset of a text
  std::uint32_t place;
};

/**
 * The resources of an executable: a table of types, for each a table of names, for each a table of languages.
 * Only these three levels are followed, so a table that refers to itself causes no endless loop.
 */
class Resources {
 public:
  explicit Resources(const Executable& executable) : executable_(executable) {}

  /** The resources of a type, in the order of the table. */
  std::vector<Resource> Names(std::uint32_t type) const {
    const std::vector<Resource> types = Table(0);
    const auto found = std::find_if(types.begin(), types.end(),
                                    [&](const Resource& resource) { return resource.name == type; });
    return found == types.end() ? std::vector<Resource>() : Table(PlaceOfTable(*found));
  }

  /** Returns offset and length of a resource in its first language. Size and depth stay 0. */
  IconEntry Locate(const Resource& name) const {
    const std::vector<Resource> languages = Table(PlaceOfTable(name), 1);
    if (languages.empty()) throw DamagedIcon("a resource in no language");
    const Resource& first = languages.front();
    if (first.place & kIsTable) throw DamagedIcon("a table in place of a resource");
    const Bytes entry = executable_.Read(std::uint64_t{executable_.Resources()} + first.place, 16);
    const std::uint32_t bytes = Read32(entry, 4);
    return {0, 0, 0, executable_.Find(Read32(entry, 0), bytes), bytes};
  }

 private:
  static constexpr std::uint32_t kIsTable = 0x80000000;

  static std::uint32_t PlaceOfTable(const Resource& resource) {
    if (!(resource.place & kIsTable)) throw DamagedIcon("a resource in place of a table");
    return resource.place & ~kIsTable;
  }

  /** @param mostLines  reads no more entries: a hostile file may share a long table among many names */
  std::vector<Resource> Table(std::uint32_t place, std::size_t mostLines = SIZE_MAX) const {
    const std::uint64_t address = std::uint64_t{executable_.Resources()} + place;
    const Bytes head = executable_.Read(address, 16);
    const std::size_t count = std::size_t{Read16(head, 12)} + Read16(head, 14);
    const Bytes lines = executable_.Read(address + 16, std::min(count, mostLines) * 8);
    std::vector<Resource> table;
    for (std::size_t at = 0; at < lines.size(); at += 8) {
      table.push_back({Read32(lines, at), Read32(lines, at + 4)});
    }
    return table;
  }

  const Executable& executable_;
};

/** A byte stores 1 to 256. 0 means 256. */
std::uint32_t UpTo256(std::uint8_t stored) { return stored == 0 ? 256 : stored; }

/** Reads the first 8 bytes of an entry, which are the same in files and in resources. A depth of 0 means that
 * the number of colours decides. */
IconEntry DescribeImage(const Bytes& directory, std::size_t at) {
  const std::uint32_t bits = Read16(directory, at + 6);
  const std::uint32_t colours = UpTo256(directory[at + 2]);
  std::uint32_t bitsOfColours = 1;
  while (colours > 1u << bitsOfColours) ++bitsOfColours;
  return {UpTo256(directory[at]), UpTo256(directory[at + 1]), bits != 0 ? bits : bitsOfColours, 0, 0};
}

/** Returns the number of images of an icon's directory. @throws DamagedIcon for any other bytes */
std::size_t CountImages(const Bytes& head) {
  const std::size_t count = Read16(head, 4);
  if (Read16(head, 0) != 0 || Read16(head, 2) != 1) throw DamagedIcon("no directory of an icon");
  if (count == 0 || count > kMostImages) throw DamagedIcon("an icon with no image, or with too many");
  return count;
}

/** Finds the images of a group by their numbers. A missing image has no bytes. */
IconEntries ReadGroup(const Resources& resources, const Bytes& group) {
  if (group.size() < 6) throw DamagedIcon("a group is cut");
  const std::size_t count = CountImages(group);
  if (group.size() < 6 + count * kGroupEntryBytes) throw DamagedIcon("a group is cut");
  const std::vector<Resource> images = resources.Names(kIconType);
  IconEntries entries;
  for (std::size_t at = 6; entries.size() < count; at += kGroupEntryBytes) {
    IconEntry entry = DescribeImage(group, at);
    const std::uint32_t number = Read16(group, at + 12);
    const auto image = std::find_if(images.begin(), images.end(),
                                    [&](const Resource& resource) { return resource.name == number; });
    if (image != images.end()) {
      const IconEntry placed = resources.Locate(*image);
      entry.offset = placed.offset;
      entry.bytes = placed.bytes;
    }
    entries.push_back(entry);
  }
  return entries;
}

}  // namespace

IconEntries FindExecutableIcon(const ByteSource& file, std::size_t index) {
  Bytes mark(2);
  if (!file.Read(0, mark) || mark[0] != 'M' || mark[1] != 'Z') return {};
  const std::uint32_t header = Read32(ReadAt(file, 60, 4), 0);
  if (Read32(ReadAt(file, header, 4), 0) != kPortableSignature) return {};  // a program of an older system
  const Executable executable(file, header);
  if (!executable.HasResources()) return {};
  const Resources resources(executable);
  const std::vector<Resource> groups = resources.Names(kIconGroupType);
  if (index >= groups.size()) return {};
  return ReadGroup(resources, ReadIconImage(file, resources.Locate(groups[index])));
}

IconEntries FindIconFileIcon(const ByteSource& file) {
  const std::size_t count = CountImages(ReadAt(file, 0, 6));
  const Bytes directory = ReadAt(file, 6, count * kFileEntryBytes);
  IconEntries entries;
  for (std::size_t at = 0; at < directory.size(); at += kFileEntryBytes) {
    IconEntry entry = DescribeImage(directory, at);
    entry.bytes = Read32(directory, at + 8);
    entry.offset = Read32(directory, at + 12);
    entries.push_back(entry);
  }
  return entries;
}

std::vector<std::uint8_t> ReadIconImage(const ByteSource& file, const IconEntry& entry) {
  if (entry.bytes > kLargestImageBytes) throw DamagedIcon("an image of too many bytes");
  return ReadAt(file, entry.offset, entry.bytes);
}

}  // namespace simulated
