// If a cell is damaged, only the key or value that needs it is lost, and its path is reported. Forged hives,
// whose cells are shared, are read up to a limit.
#include <gmock/gmock.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>

#include "HiveFile.h"
#include "MachineFolder.h"
#include "simulated/base/LittleEndian.h"
#include "simulated/base/WideText.h"

namespace simulated {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

/** Sorted paths of keys and values below SOFTWARE; the name of a value follows a colon. */
using Names = std::vector<std::string>;

constexpr std::size_t kPageBytes = 4096;
constexpr std::size_t kBeforeKeysName = 76, kBeforeValuesName = 20;
constexpr std::size_t kSizeBytes = 4;
/** Offsets in a key record. */
constexpr std::size_t kParent = 16, kSubKeyCount = 20, kSubKeyList = 28, kValueCount = 36, kValueList = 40,
                      kNameSize = 72;
/** Offsets in a value record. */
constexpr std::size_t kDataSize = 4, kData = 8;

void AddNames(Key& key, const std::string& path, Names& names) {
  for (std::size_t i = 0; i < key.ValueCount(); ++i)
    names.push_back(path + ":" + ToUtf8(key.ValueAt(i).name));
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i) {
    Key& subKey = key.SubKeyAt(i);
    names.push_back((path.empty() ? "" : path + "\\") + ToUtf8(subKey.Name()));
    AddNames(subKey, std::string(names.back()), names);
  }
}

void ReadAll(Key& key) {
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i) ReadAll(key.SubKeyAt(i));
}

std::string LittleEndian(std::size_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> 8 * i);
  return bytes;
}

class HiveDamageTest : public MachineFolder {
 protected:
  HiveDamageTest() {
    {
      HiveFile software(folder / kSoftware);
      software.SetText("Above\\Wanted", "Number", "a text of some length");
      software.SetBytes("Holder", "Forged", std::string(100, 'x'));
      for (int i = 0; i < 200; ++i) software.SetText("Many\\Key" + std::to_string(i), "value", "text");
      HiveFile(folder / "Windows/System32/config/SYSTEM").Add("Key");
    }
    Load();
    whole = Read();
  }
  void Load() { hive_ = Files().at(kSoftware); }
  const std::string& Hive() const { return hive_; }
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
  /** Reads the offset of a cell at `at`. Returns the position of the cell's contents in the file. */
  std::size_t CellAt(std::size_t at) const {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(hive_.data()), hive_.size());
    return kPageBytes + Read32(bytes, at) + kSizeBytes;
  }
  /** Changes the hive in memory. Save writes it. */
  void Put(std::size_t at, std::string_view bytes) {
    hive_.replace(at, bytes.size(), std::string(bytes));
    isChanged_ = true;
  }
  void Save() {
    if (std::exchange(isChanged_, false)) Write(kSoftware, hive_);
  }
  /** Opens the machine and reads all of its SOFTWARE. */
  Names Read() {
    Save();
    const auto machine = Open();
    Names names;
    AddNames(*machine->registry.Find(u"HKEY_LOCAL_MACHINE\\SOFTWARE"), "", names);
    std::ranges::sort(names);
    return names;
  }
  void ExpectRefused(std::string_view what) {
    Save();
    EXPECT_THAT(Refusal(), AllOf(StartsWith((folder / kSoftware).string() + ": the hive is damaged: "),
                                 HasSubstr(what)));
  }
  /** Expects that only `lost` is missing, and that one line reports `what` at the key `path`. */
  void ExpectLost(const Names& lost, std::string_view path, std::string_view what) {
    const Names left = Read();
    Names missing, added;
    std::ranges::set_difference(whole, left, std::back_inserter(missing));
    std::ranges::set_difference(left, whole, std::back_inserter(added));
    EXPECT_EQ(missing, lost);
    EXPECT_THAT(added, IsEmpty());
    const std::string line =
        (folder / kSoftware).string() + ": HKEY_LOCAL_MACHINE\\SOFTWARE\\" + std::string(path) + ": ";
    EXPECT_THAT(damages, ElementsAre(AllOf(StartsWith(line), HasSubstr(what))));
  }
  void ExpectStopped() {
    constexpr std::size_t kMostPerByte = 16, kRest = 1 << 20;
    Save();
    const std::size_t before = mallinfo2().uordblks;
    const auto begin = std::chrono::steady_clock::now();
    const auto machine = Open();
    ReadAll(*machine->registry.Find(u"HKEY_LOCAL_MACHINE\\SOFTWARE"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_LT(mallinfo2().uordblks - before, kMostPerByte * Hive().size() + kRest);
    EXPECT_THAT(damages.back(), HasSubstr("would take more than 16 times its size; the rest is left out"));
    EXPECT_LE(damages.size(), 52U);
  }

  Names whole;

 private:
  std::string hive_;
  bool isChanged_ = false;
};

const Names kWanted = {"Above\\Wanted", "Above\\Wanted:Number"};
const Names kNumber = {"Above\\Wanted:Number"};

TEST_F(HiveDamageTest, WholeHiveHasNone) {
  EXPECT_THAT(damages, IsEmpty());
  EXPECT_EQ(whole.size(), 3U + 200U * 2U + 3U);
}

TEST_F(HiveDamageTest, BytesBehindTheEndAreNone) {
  Write(kSoftware, Hive() + std::string(kPageBytes, 'x'));
  EXPECT_EQ(Read(), whole);
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(HiveDamageTest, HiveThatIsCutAnywhereIsRefused) {
  const std::size_t bytes = fs::file_size(folder / kSoftware);
  ASSERT_GT(bytes, 3 * kPageBytes);
  for (std::size_t size = bytes - 1; size > 0;
       size -= std::min<std::size_t>(size, size % kPageBytes == 0 ? 1000 : size % kPageBytes)) {
    fs::resize_file(folder / kSoftware, size);
    ExpectRefused("it is cut off after " + std::to_string(size) + " bytes");
  }
}

TEST_F(HiveDamageTest, AnyPageOfZerosIsReported) {
  const std::string hive = Hive();
  Write(kSoftware, std::string(kPageBytes, '\0') + hive.substr(kPageBytes));
  ExpectRefused("it does not begin as a hive does");
  Write(kSoftware, hive.substr(0, kPageBytes) + std::string(kPageBytes, '\0') + hive.substr(2 * kPageBytes));
  ExpectRefused("a key cannot be read at byte 4128");
  std::size_t damaged = 0;
  for (std::size_t at = 2 * kPageBytes; at < hive.size(); at += kPageBytes) {
    std::string zeros = hive;
    zeros.replace(at, kPageBytes, kPageBytes, '\0');
    Write(kSoftware, zeros);
    const bool isWhole = Read() == whole;
    EXPECT_EQ(isWhole, damages.empty()) << at;
    damaged += damages.empty() ? 0U : 1U;
  }
  EXPECT_GT(damaged, 3U);
}

TEST_F(HiveDamageTest, KeyThatIsNoneIsLost) {
  Put(KeyAt("Wanted"), "xx");
  ExpectLost(kWanted, "Above\\Wanted", "a key cannot be read at byte ");
}

TEST_F(HiveDamageTest, KeyAmongManyIsLostAlone) {
  Put(KeyAt("Key100"), "xx");
  ExpectLost({"Many\\Key100", "Many\\Key100:value"}, "Many\\Key100", "a key cannot be read at byte ");
}

TEST_F(HiveDamageTest, KeyThatIsFreeIsLost) {
  const std::size_t size = KeyAt("Wanted") - kSizeBytes;
  const std::string used = Hive().substr(size, kSizeBytes);
  ASSERT_EQ(used.substr(1), "\xff\xff\xff");
  // A free cell has its size positive.
  Put(size, std::string{static_cast<char>(-used[0]), '\0', '\0', '\0'});
  ExpectLost(kWanted, "Above\\Wanted", "a key cannot be read");
}

TEST_F(HiveDamageTest, KeyInACellWithoutASizeIsLost) {
  Put(KeyAt("Wanted") - kSizeBytes, "\0\0\0\0"sv);
  ExpectLost(kWanted, "Above\\Wanted", "a key cannot be read");
}

TEST_F(HiveDamageTest, KeyWithANameLongerThanItselfIsLost) {
  Put(KeyAt("Wanted") + kNameSize, "\xff\xff");
  ExpectLost(kWanted, "Above\\?", "a key cannot be read");
}

TEST_F(HiveDamageTest, KeyOutsideTheHiveIsLost) {
  Put(CellAt(KeyAt("Above") + kSubKeyList) + 4, "\xf8\xff\xff\xff");
  ExpectLost(kWanted, "Above\\?", "a key cannot be read");
}

TEST_F(HiveDamageTest, KeyOfAnotherParentIsReadAndReported) {
  Put(KeyAt("Wanted") + kParent, Hive().substr(KeyAt("Key100") + kParent, 4));
  ExpectLost({}, "Above", "its subkey Wanted is another key's");
}

TEST_F(HiveDamageTest, SubKeysWithoutTheirListAreLost) {
  Put(KeyAt("Above") + kSubKeyList, "\xf0\xff\xff\x7f");
  ExpectLost(kWanted, "Above", "a list of keys cannot be read");
}

TEST_F(HiveDamageTest, SubKeysOfAListThatIsNoneAreLost) {
  Put(CellAt(KeyAt("Above") + kSubKeyList), "xx");
  ExpectLost(kWanted, "Above", "a list of keys cannot be read");
}

TEST_F(HiveDamageTest, NumberOfSubKeysThatTheListDoesNotHaveIsReported) {
  for (const auto& [bytes, number] : {std::pair{"\2\0\0\0"sv, "2"}, {"\0\0\0\0"sv, "0"}}) {
    Put(KeyAt("Above") + kSubKeyCount, bytes);
    ExpectLost({}, "Above", "its list has 1 subkeys instead of "s + number);
  }
}

TEST_F(HiveDamageTest, ShortenedListOfSubKeysIsReported) {
  Put(CellAt(KeyAt("Above") + kSubKeyList) + 2, "\0\0"sv);
  ExpectLost(kWanted, "Above", "its list has 0 subkeys instead of 1");
}

TEST_F(HiveDamageTest, ListLongerThanItsCellIsReadUpToItsEnd) {
  Put(CellAt(KeyAt("Above") + kSubKeyList) + 2, "\xff\xff");
  EXPECT_EQ(Read(), whole);
}

TEST_F(HiveDamageTest, KeyBelowItselfEndsAtTheDeepestLevel) {
  // The only entry of the list becomes the key that has the list.
  Put(CellAt(KeyAt("Above") + kSubKeyList) + 4, Hive().substr(KeyAt("Wanted") + kParent, 4));
  const Names left = Read();
  EXPECT_FALSE(std::ranges::binary_search(left, kWanted[0]));
  EXPECT_THAT(damages.front(), HasSubstr("SOFTWARE\\Above: its subkey Above is another key's"));
}

TEST_F(HiveDamageTest, ValuesWithoutTheirListAreLost) {
  Put(KeyAt("Wanted") + kValueList, "\0\0\0\x70"sv);
  ExpectLost(kNumber, "Above\\Wanted", "a list of values cannot be read");
}

TEST_F(HiveDamageTest, ValuesThatAreNotCountedAreLost) {
  Put(KeyAt("Wanted") + kValueCount, "\0"sv);
  ExpectLost(kNumber, "Above\\Wanted", "values instead of 0");
}

TEST_F(HiveDamageTest, ListShorterThanTheNumberOfValuesIsReadUpToItsEnd) {
  Put(KeyAt("Wanted") + kValueCount, "\xff"sv);
  EXPECT_EQ(Read(), whole);
  EXPECT_THAT(damages.back(), HasSubstr("SOFTWARE\\Above\\Wanted: its list has room for "));
}

TEST_F(HiveDamageTest, ValueThatIsNoneIsLost) {
  Put(ValueAt("Number"), "xx");
  ExpectLost(kNumber, "Above\\Wanted", "a value cannot be read at byte ");
}

TEST_F(HiveDamageTest, ValueWithANameLongerThanItselfIsLost) {
  Put(ValueAt("Number") + 2, "\xff\xff");
  ExpectLost(kNumber, "Above\\Wanted", "a value cannot be read at byte ");
}

TEST_F(HiveDamageTest, ValueLongerThanItsDataIsLost) {
  Put(ValueAt("Number") + kDataSize, "\xff\xff\0\0"sv);
  ExpectLost(kNumber, "Above\\Wanted", "a value's data cannot be read at byte ");
}

TEST_F(HiveDamageTest, ValueOfMoreThanFourBytesWithinItselfIsLost) {
  Put(ValueAt("Number") + kDataSize, "\5\0\0\x80"sv);
  ExpectLost(kNumber, "Above\\Wanted", "a value cannot be read at byte ");
}

TEST_F(HiveDamageTest, ValueWithItsDataOutsideTheHiveIsLost) {
  Put(ValueAt("Number") + kData, "\xf8\xff\xff\xff");
  ExpectLost(kNumber, "Above\\Wanted", "a value's data cannot be read at byte ");
}

class SegmentsTest : public HiveDamageTest {
 protected:
  SegmentsTest() {
    SetSegmentedData(folder / kSoftware, "Number", std::string(100000, 'x'));
    Load();
  }
  std::size_t Head() const { return CellAt(ValueAt("Number") + kData); }
};

TEST_F(SegmentsTest, ValueWithASegmentOutsideTheHiveIsLost) {
  Put(CellAt(Head() + 4) + 8, "\xf8\xff\xff\xff");
  ExpectLost(kNumber, "Above\\Wanted", "a value's data cannot be read at byte ");
}

TEST_F(SegmentsTest, ValueWithFewerSegmentsThanItNeedsIsLost) {
  Put(Head() + 2, "\2");
  ExpectLost(kNumber, "Above\\Wanted", "a value's data cannot be read at byte ");
}

TEST_F(HiveDamageTest, HiveWithItsRootOutsideIsRefused) {
  Put(0x24, "\xf8\xff\xff\xff");
  ExpectRefused("a key cannot be read");
}

TEST_F(HiveDamageTest, HiveWithAnotherChecksumIsRefused) {
  // The time, which nothing else checks.
  Put(12, "x");
  ExpectRefused("its header's checksum is wrong");
}

TEST_F(HiveDamageTest, ValuesMayShareTheirData) {
  Put(ValueAt("Number") + kData, Hive().substr(ValueAt("Forged") + kData, 4));
  EXPECT_EQ(Read(), whole);
  EXPECT_THAT(damages, IsEmpty());
}

/** Two values of 262 kB hold forged lists. */
class ForgedHiveTest : public HiveDamageTest {
 protected:
  static constexpr std::size_t kEntries = 0xFFFF;

  ForgedHiveTest() {
    {
      HiveFile software(folder / kSoftware);
      software.SetText("Above\\Wanted", "Number", "short");
      software.SetBytes("First", "Outer", std::string(4 + 4 * kEntries, 'x'));
      software.SetBytes("Second", "Inner", std::string(4 + 4 * kEntries, 'x'));
      for (int i = 0; i < 200; ++i)
        software.SetText("Many\\Key" + std::to_string(i), "Data" + std::to_string(i), "text");
    }
    Load();
  }
  /** A list that names the same cell in each entry. */
  static std::string ListOf(std::string_view kind, std::string_view cell) {
    std::string list = std::string(kind) + "\xff\xff";
    for (std::size_t i = 0; i < kEntries; ++i) list += cell;
    return list;
  }
};

TEST_F(ForgedHiveTest, ListThatNamesOneListManyTimesIsReadUpToTheLimit) {
  const std::size_t outer = ValueAt("Outer") + kData, inner = ValueAt("Inner") + kData;
  const std::string wanted = Hive().substr(CellAt(KeyAt("Above") + kSubKeyList) + 4, 4);
  Put(CellAt(inner), ListOf("li", wanted));
  Put(CellAt(outer), ListOf("ri", Hive().substr(inner, 4)));
  Put(KeyAt("Above") + kSubKeyList, Hive().substr(outer, 4));
  ExpectStopped();
}

TEST_F(ForgedHiveTest, KeysThatShareTheirSubKeysAreReadUpToTheLimit) {
  // Each of 200 keys has all 200 as its subkeys.
  const std::string list = Hive().substr(KeyAt("Many") + kSubKeyList, 4), number = LittleEndian(200);
  for (int i = 0; i < 200; ++i) {
    const std::size_t key = CellAt(CellAt(KeyAt("Many") + kSubKeyList) + 4 + 8 * static_cast<std::size_t>(i));
    Put(key + kSubKeyCount, number);
    Put(key + kSubKeyList, list);
  }
  ExpectStopped();
}

TEST_F(ForgedHiveTest, ValuesThatShareOneBlockAreReadUpToTheLimit) {
  const std::string sizeAndCell = Hive().substr(ValueAt("Outer") + kDataSize, 8);
  for (int i = 0; i < 200; ++i) Put(ValueAt("Data" + std::to_string(i)) + kDataSize, sizeAndCell);
  ExpectStopped();
}

TEST_F(ForgedHiveTest, SegmentsThatAreSharedAreReadUpToTheLimit) {
  SetSegmentedData(folder / kSoftware, "Number", std::string(100000, 'x'));
  Load();
  const std::size_t value = ValueAt("Number"), head = CellAt(value + kData);
  const std::string list = ListOf("  ", Hive().substr(CellAt(head + 4), 4)).substr(4);
  Put(CellAt(ValueAt("Outer") + kData), list);
  Put(head + 4, Hive().substr(ValueAt("Outer") + kData, 4));
  Put(head + 2, "\xff\xff");
  Put(value + kDataSize, LittleEndian(kEntries * 16344));
  ExpectStopped();
}

}  // namespace
}  // namespace simulated
