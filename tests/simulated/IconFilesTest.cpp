#include "simulated/pictures/IconFiles.h"

#include <gtest/gtest.h>

#include "Drawings.h"
#include "Files.h"

namespace simulated {
namespace {

using samples::IconBytes;
using samples::IconGroup;
using samples::MakeBitmap;
using samples::MakeExecutable;

/** Offsets of the parts that MakeExecutable writes. */
constexpr std::size_t kSections = 64 + 24 + 240;
constexpr std::size_t kResources = 0x200;

IconBytes Image(std::uint32_t side) { return MakeBitmap(samples::Drawing(side, side, 0xFF112233), 32); }

std::string OneIcon() { return MakeExecutable({{u"", 1, {Image(8)}}}); }

IconEntries Find(const std::string& file, std::size_t index = 0) {
  return FindExecutableIcon(MemorySource(BytesOf(file)), index);
}

std::string Read(const std::string& file, const IconEntry& entry) {
  const auto bytes = ReadIconImage(MemorySource(BytesOf(file)), entry);
  return {bytes.begin(), bytes.end()};
}

TEST(ExecutableIcon, IsFoundIn32And64BitPrograms) {
  for (const auto machine : {samples::Machine::I386, samples::Machine::Amd64}) {
    const std::string file = MakeExecutable({{u"", 1, {Image(8), Image(16)}}}, machine);
    const IconEntries entries = Find(file);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].width, 8U);
    EXPECT_EQ(entries[1].height, 16U);
    EXPECT_EQ(entries[0].bits, 32U);
    EXPECT_EQ(Read(file, entries[0]), Image(8).bytes);
    EXPECT_EQ(Read(file, entries[1]), Image(16).bytes);
  }
}

TEST(ExecutableIcon, NamedGroupsAreBeforeNumberedOnes) {
  const std::string file = MakeExecutable(
      {{u"A", 0, {Image(8)}}, {u"B", 0, {Image(9)}}, {u"", 1, {Image(10)}}, {u"", 2, {Image(11)}}});
  for (std::uint32_t index = 0; index < 4; ++index) {
    ASSERT_EQ(Find(file, index).size(), 1U);
    EXPECT_EQ(Find(file, index)[0].width, 8 + index);
  }
  EXPECT_TRUE(Find(file, 4).empty());
}

TEST(ExecutableIcon, SideOf256IsStoredAsZero) {
  EXPECT_EQ(Find(MakeExecutable({{u"", 1, {Image(256)}}}))[0].width, 256U);
}

TEST(ExecutableIcon, OtherFileHasNone) {
  for (const std::string& file :
       {std::string(), std::string("M"), std::string("#!/bin/sh\n"), std::string(9000, '\0')}) {
    EXPECT_TRUE(Find(file).empty());
  }
}

TEST(ExecutableIcon, ProgramOfAnOlderSystemHasNone) {
  std::string file = OneIcon();
  file[64] = 'N';
  EXPECT_TRUE(Find(file).empty());
}

TEST(ExecutableIcon, ProgramWithoutResourcesHasNone) { EXPECT_TRUE(Find(MakeExecutable({})).empty()); }

TEST(ExecutableIcon, FileCutAnywhereIsDamagedOrHasNone) {
  const std::string whole = OneIcon();
  const IconEntry image = Find(whole)[0];
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const std::string cut = whole.substr(0, length);
    if (length < 2) {
      EXPECT_TRUE(Find(cut).empty());
      continue;
    }
    try {
      // Only padding is missing after the last table. The reader goes on to the image.
      const IconEntries entries = Find(cut);
      ASSERT_EQ(entries.size(), 1U) << length;
      EXPECT_GE(length, image.offset + image.bytes);
    } catch (const DamagedIcon&) {
      EXPECT_LT(length, whole.size());
    }
  }
}

TEST(ExecutableIcon, TableThatRefersToItselfIsDamaged) {
  std::string file = OneIcon();
  Set32(file, kResources + 16 + 4, 0x80000000);
  Set32(file, kResources + 24 + 4, 0x80000000);
  EXPECT_THROW(Find(file), DamagedIcon);
}

TEST(ExecutableIcon, TableInPlaceOfAResourceIsDamaged) {
  std::string file = OneIcon();
  const std::size_t languages = kResources + 32 + 24 + 24;
  Set32(file, languages + 20, 0x80000000);
  Set32(file, languages + 40 + 20, 0x80000000);
  EXPECT_THROW(Find(file), DamagedIcon);
}

TEST(ExecutableIcon, ResourceInPlaceOfATableIsDamaged) {
  std::string file = OneIcon();
  Set32(file, kResources + 24 + 4, 0);
  EXPECT_THROW(Find(file), DamagedIcon);
}

TEST(ExecutableIcon, AddressOutsideOfAllSectionsIsDamaged) {
  for (const std::uint32_t address : {0U, 0xFFFU, 0x7FFFFFF0U, 0xFFFFFFF0U}) {
    std::string file = OneIcon();
    Set32(file, kSections + 12, address);
    EXPECT_THROW(Find(file), DamagedIcon) << address;
  }
}

TEST(ExecutableIcon, SectionBeyondTheFileIsDamagedWhenItIsRead) {
  std::string file = OneIcon();
  Set32(file, kSections + 16, 0xFFFFFFFF);
  Set32(file, kSections + 20, 0xFFFFFE00);
  EXPECT_THROW(Find(file), DamagedIcon);
}

TEST(ExecutableIcon, TableWithTooHighACountIsDamaged) {
  std::string file = OneIcon();
  Set32(file, kResources + 12, 0xFFFFFFFF);
  EXPECT_THROW(Find(file), DamagedIcon);
}

TEST(ExecutableIcon, MoreSectionsThanWindowsLoadsAreDamaged) {
  std::string file = OneIcon();
  file[64 + 6] = 97;
  EXPECT_THROW(Find(file), DamagedIcon);
}

TEST(ExecutableIcon, OverlappingImagesAreAllRead) {
  std::string file = MakeExecutable({{u"", 1, {Image(8), Image(16)}}});
  const IconEntries apart = Find(file);
  const std::size_t descriptions = kResources + 32 + 32 + 24 + 24;
  ASSERT_EQ(file.substr(descriptions + 4, 2), std::string("\x48\x01", 2));  // the first image has 328 bytes
  Set32(file, descriptions + 40, 0x1000 + static_cast<std::uint32_t>(apart[0].offset) - 0x200 + 4);
  const IconEntries overlapping = Find(file);
  EXPECT_EQ(overlapping[1].offset, apart[0].offset + 4);
  EXPECT_EQ(Read(file, overlapping[1]).size(), Image(16).bytes.size());
}

/** Counts the bytes that are read. */
class CountingSource : public ByteSource {
 public:
  explicit CountingSource(const std::string& file) : source_(BytesOf(file)) {}
  bool Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const override {
    count += bytes.size();
    return source_.Read(offset, bytes);
  }
  mutable std::size_t count = 0;

 private:
  MemorySource source_;
};

TEST(ExecutableIcon, LongTableOfLanguagesIsNotReadForEachImage) {
  constexpr std::size_t kImages = 500;
  std::string file = MakeExecutable({{u"", 1, std::vector<IconBytes>(kImages, Image(1))}});
  const std::size_t languages = kResources + 32 + (16 + 8 * kImages) + 24;
  for (std::size_t image = 0; image < kImages; ++image) Set32(file, languages + 40 * image + 12, 0xFFFFFFFF);
  file.resize(file.size() + (2 << 20));  // so that the file has all these entries
  Set32(file, kSections + 16, static_cast<std::uint32_t>(file.size() - kResources));
  const CountingSource source(file);
  EXPECT_EQ(FindExecutableIcon(source).size(), kImages);
  EXPECT_LT(source.count, file.size());
}

TEST(ExecutableIcon, MissingImageHasNoBytes) {
  std::string file = OneIcon();
  const std::size_t group = file.find(std::string("\0\0\1\0\1\0\x08\x08", 8), kResources);
  ASSERT_NE(group, file.npos);
  file[group + 6 + 12] = 9;
  ASSERT_EQ(Find(file).size(), 1U);
  EXPECT_EQ(Find(file)[0].bytes, 0U);
}

TEST(ExecutableIcon, GroupWithTooHighACountIsDamaged) {
  std::string file = OneIcon();
  const std::size_t group = file.find(std::string("\0\0\1\0\1\0\x08\x08", 8), kResources);
  file[group + 4] = 2;
  EXPECT_THROW(Find(file), DamagedIcon);
  file[group + 4] = 0;
  EXPECT_THROW(Find(file), DamagedIcon);
}

TEST(ExecutableIcon, ImageOfTooManyBytesIsNotAllocated) {
  const std::string file = OneIcon();
  EXPECT_THROW(Read(file, {8, 8, 32, 0, 0xFFFFFFFF}), DamagedIcon);
  EXPECT_THROW(Read(file, {8, 8, 32, 0, (8 << 20) + 1}), DamagedIcon);
}

TEST(IconFile, EachImageIsDescribed) {
  const std::string file = samples::MakeIconFile({Image(8), Image(16)});
  const IconEntries entries = FindIconFileIcon(MemorySource(BytesOf(file)));
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(Read(file, entries[1]), Image(16).bytes);
}

TEST(IconFile, OtherFileIsDamaged) {
  for (const std::string& file : {std::string(), std::string("PNG..."), std::string("\0\0\1\0\0\0", 6),
                                  std::string("\0\0\1\0\xFF\xFF", 6), OneIcon()}) {
    EXPECT_THROW(FindIconFileIcon(MemorySource(BytesOf(file))), DamagedIcon);
  }
}

}  // namespace
}  // namespace simulated
