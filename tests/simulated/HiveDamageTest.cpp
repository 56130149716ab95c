// Damage in a hive is found before anything of it is loaded, wherever it is.
#include <gmock/gmock.h>

#include "HiveFile.h"
#include "MachineFolder.h"

namespace simulated {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

constexpr std::size_t kPageBytes = 4096;
/** What stands before the name in a key and in a value. */
constexpr std::size_t kBeforeKeysName = 76, kBeforeValuesName = 20;
constexpr std::size_t kSizeBytes = 4;

class HiveDamageTest : public MachineFolder {
 protected:
  HiveDamageTest() {
    HiveFile software(folder / kSoftware);
    software.SetText("Above\\Wanted", "Number", "a text of some length");
    software.SetBytes("Holder", "Forged", std::string(100, 'x'));
    for (int i = 0; i < 200; ++i) software.SetText("Many\\Key" + std::to_string(i), "value", "text");
    HiveFile(folder / "Windows/System32/config/SYSTEM").Add("Key");
  }
  std::string Hive() const { return Files().at(kSoftware); }
  std::size_t KeyAt(std::string_view name) const {
    const std::size_t at = Hive().find(name) - kBeforeKeysName;
    EXPECT_EQ(Hive().substr(at, 2), "nk");
    return at;
  }
  std::size_t ValueAt(std::string_view name) const {
    const std::size_t at = Hive().find(name) - kBeforeValuesName;
    EXPECT_EQ(Hive().substr(at, 2), "vk");
    return at;
  }
  /** Where the bytes of a cell begin whose offset stands there. */
  std::size_t CellAt(std::size_t at) const {
    const std::string hive = Hive();
    std::size_t offset = 0;
    for (int i = 3; i >= 0; --i)
      offset = offset << 8 | static_cast<unsigned char>(hive[at + static_cast<std::size_t>(i)]);
    return kPageBytes + offset + kSizeBytes;
  }
  void ExpectRefused(std::string_view what) {
    EXPECT_THAT(Refusal(), AllOf(StartsWith((folder / kSoftware).string() + ": the hive is damaged: "),
                                 HasSubstr(what)));
  }
  void ExpectDamage(std::size_t at, std::string_view bytes, std::string_view what) {
    std::string hive = Hive();
    hive.replace(at, bytes.size(), bytes);
    Write(kSoftware, hive);
    ExpectRefused(what);
  }
};

TEST_F(HiveDamageTest, WholeHiveHasNone) {
  EXPECT_EQ(Refusal(), "");
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(HiveDamageTest, WhatFollowsBehindTheEndIsNone) {
  Write(kSoftware, Hive() + std::string(kPageBytes, 'x'));
  EXPECT_EQ(Refusal(), "");
}

TEST_F(HiveDamageTest, CutAnywhere) {
  const std::size_t bytes = fs::file_size(folder / kSoftware);
  ASSERT_GT(bytes, 3 * kPageBytes);
  for (std::size_t size = bytes - 1; size > 0;
       size -= std::min<std::size_t>(size, size % kPageBytes == 0 ? 1000 : size % kPageBytes)) {
    fs::resize_file(folder / kSoftware, size);
    ExpectRefused("it is cut off after " + std::to_string(size) + " bytes");
  }
}

TEST_F(HiveDamageTest, AnyPageOfZeros) {
  const std::string hive = Hive();
  for (std::size_t at = 0; at < hive.size(); at += kPageBytes) {
    std::string damaged = hive;
    damaged.replace(at, kPageBytes, kPageBytes, '\0');
    Write(kSoftware, damaged);
    ExpectRefused(at == 0 ? "it does not begin as a hive does"
                          : "a bin has no header at byte " + std::to_string(at));
  }
}

TEST_F(HiveDamageTest, KeyThatIsNone) {
  ExpectDamage(KeyAt("Wanted"), "xx", "a key cannot be read at byte ");
}

TEST_F(HiveDamageTest, KeyThatIsFree) {
  const std::size_t size = KeyAt("Wanted") - kSizeBytes;
  const std::string used = Hive().substr(size, kSizeBytes);
  // A free block has its size positive.
  std::string free(kSizeBytes, '\0');
  free[0] = static_cast<char>(-used[0]);
  ASSERT_EQ(used.substr(1), "\xff\xff\xff");
  ExpectDamage(size, free, "a key cannot be read");
}

TEST_F(HiveDamageTest, BlockWithoutASize) {
  ExpectDamage(KeyAt("Wanted") - kSizeBytes, "\0\0\0\0"sv, "a block has no size");
}

TEST_F(HiveDamageTest, KeyIsNamed) { ExpectDamage(ValueAt("Number"), "xx", ", at its key Above\\Wanted;"); }

// A forged list of lists multiplies the keys of one list, and so the memory that they take.
TEST_F(HiveDamageTest, ListThatNamesOneListManyTimes) {
  std::string hive = Hive();
  const std::size_t many = KeyAt("Many"), forged = CellAt(ValueAt("Forged") + 8);
  std::string lists = "ri\x10"s + '\0';
  for (int i = 0; i < 16; ++i) lists += hive.substr(many + 28, 4);
  hive.replace(forged, lists.size(), lists);
  hive.replace(many + 20, 2, "\x80\x0c");
  hive.replace(many + 28, 4, hive.substr(ValueAt("Forged") + 8, 4));
  Write(kSoftware, hive);
  ExpectRefused("a block is used twice");
}

TEST_F(HiveDamageTest, ValuesThatShareOneBlock) {
  ExpectDamage(ValueAt("Number") + 8, Hive().substr(ValueAt("Forged") + 8, 4), "a block is used twice");
}

TEST_F(HiveDamageTest, ChecksumOfTheHeader) {
  // The time, which nothing else is checked by.
  ExpectDamage(12, "x", "its header's checksum is wrong");
}

TEST_F(HiveDamageTest, KeyWithANameLongerThanItself) {
  ExpectDamage(KeyAt("Wanted") + 72, "\xff\xff", "a key cannot be read");
}

TEST_F(HiveDamageTest, KeysListOutsideTheHive) {
  ExpectDamage(KeyAt("Above") + 28, "\xf0\xff\xff\x7f", "a list of keys cannot be read");
}

TEST_F(HiveDamageTest, KeysListThatIsNone) {
  ExpectDamage(CellAt(KeyAt("Above") + 28), "xx", "a list of keys cannot be read");
}

TEST_F(HiveDamageTest, KeysListLongerThanItsCell) {
  ExpectDamage(CellAt(KeyAt("Above") + 28) + 2, "\xff\xff", "a list of keys cannot be read");
}

TEST_F(HiveDamageTest, KeyWithFewerSubKeysThanItSays) {
  ExpectDamage(KeyAt("Above") + 20, "\2\0\0\0"sv, "a key does not have the sub keys it should");
}

TEST_F(HiveDamageTest, KeyBelowItself) {
  const std::string hive = Hive();
  const std::size_t list = CellAt(KeyAt("Above") + 28);
  // The entry of the one sub key becomes that of the key above, which its sub key knows.
  ExpectDamage(list + 4, hive.substr(KeyAt("Wanted") + 16, 4), "a block is used twice");
}

TEST_F(HiveDamageTest, ValuesListOutsideTheHive) {
  ExpectDamage(KeyAt("Wanted") + 40, "\0\0\0\x70"sv, "a list of values cannot be read");
}

TEST_F(HiveDamageTest, ValuesListShorterThanTheKeySays) {
  ExpectDamage(KeyAt("Wanted") + 36, "\xff\0\0\0"sv, "a list of values cannot be read");
}

TEST_F(HiveDamageTest, ValueThatIsNone) { ExpectDamage(ValueAt("Number"), "xx", "a value cannot be read"); }

TEST_F(HiveDamageTest, ValueWithANameLongerThanItself) {
  ExpectDamage(ValueAt("Number") + 2, "\xff\xff", "a value cannot be read");
}

TEST_F(HiveDamageTest, ValueLongerThanItsData) {
  ExpectDamage(ValueAt("Number") + 4, "\xff\xff\0\0"sv, "a value's data cannot be read");
}

TEST_F(HiveDamageTest, ValueOfMoreThanFourBytesWithinItself) {
  ExpectDamage(ValueAt("Number") + 4, "\5\0\0\x80"sv, "a value cannot be read");
}

TEST_F(HiveDamageTest, DataOutsideTheHive) {
  ExpectDamage(ValueAt("Number") + 8, "\xff\xff\xff\xff", "a value's data cannot be read");
}

TEST_F(HiveDamageTest, SegmentOfDataOutsideTheHive) {
  HiveFile(folder / kSoftware).SetText("Above", "Number", "short");
  SetSegmentedData(folder / kSoftware, "Number", std::string(100000, 'x'));
  ASSERT_EQ(Refusal(), "");
  const std::size_t list = CellAt(CellAt(ValueAt("Number") + 8) + 4);
  ExpectDamage(list + 8, "\xf8\xff\xff\xff", "a value's data cannot be read");
}

TEST_F(HiveDamageTest, DataWithFewerSegmentsThanItNeeds) {
  HiveFile(folder / kSoftware).SetText("Above", "Number", "short");
  SetSegmentedData(folder / kSoftware, "Number", std::string(100000, 'x'));
  ExpectDamage(CellAt(ValueAt("Number") + 8) + 2, "\2", "a value's data cannot be read");
}

TEST_F(HiveDamageTest, RootOutsideTheHive) { ExpectDamage(0x24, "\xf8\xff\xff\xff", "a key cannot be read"); }

}  // namespace
}  // namespace simulated
