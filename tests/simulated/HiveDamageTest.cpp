// If a cell is damaged, only the key or value that needs it is lost, and its path is reported.
#include "HiveDamageFixture.h"

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

TEST_F(HiveDamageTest, KeyWithAnotherNameThanItsListHasIsReadAndReported) {
  for (const auto& [name, reported] : {std::pair{"Wansed"sv, "Wansed"}, {"\xD7"sv, "\u00D7anted"}}) {
    const std::size_t at = KeyAt("Wanted") + kBeforeKeysName;
    Put(at, name);
    EXPECT_EQ(Read().size(), whole.size());
    EXPECT_THAT(damages,
                ElementsAre(AllOf(HasSubstr("SOFTWARE\\Above\\"s + reported + ": "),
                                  HasSubstr("the hash of another name, so this name may be damaged"))));
    Put(at, "Wanted");
  }
  Put(KeyAt("Wanted") + kBeforeKeysName, "WANTED");
  Read();
  EXPECT_THAT(damages, IsEmpty());
}

// Windows hashes the units in upper case, and libhivex the bytes of the UTF-8 name, which may be signed.
TEST_F(HiveDamageTest, HashOfANameBeyondAsciiMayBeThatOfAnyWriter) {
  HiveFile(folder / kSoftware).Add("\xC3\xA4m");
  Load();
  const std::size_t hash = CellAt(CellAt(0x24) + kSubKeyList) + 8;
  for (const int known :
       {((0xC3 - 256) * 37 + 0xA4 - 256) * 37 + 'M', (0xC3 * 37 + 0xA4) * 37 + 'M', u'\u00C4' * 37 + 'M'}) {
    Put(hash, LittleEndian(static_cast<std::uint32_t>(known)));
    Read();
    EXPECT_THAT(damages, IsEmpty());
  }
  Put(hash, LittleEndian(u'\u00C4' * 37 + 'N'));
  EXPECT_EQ(Read(), Names{"\u00E4m"});
  EXPECT_THAT(damages, ElementsAre(HasSubstr("this name may be damaged")));
}

// Versions of Windows have different upper cases of such characters.
TEST_F(HiveDamageTest, HashOfANameBeyondLatin1IsNotChecked) {
  HiveFile(folder / kSoftware).Add("\u0436");
  Load();
  Put(CellAt(CellAt(0x24) + kSubKeyList) + 8, LittleEndian(12345));
  Read();
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(HiveDamageTest, KeyBetweenTwoCellsIsLost) {
  // A copy of the key four bytes behind the start of a cell. Windows aligns cells to eight.
  const std::size_t forged = ValueAt("Forged") + kData;
  const std::string wanted = Hive().substr(KeyAt("Wanted"), kBeforeKeysName + 6);
  const std::string offset = Hive().substr(forged, kSizeBytes);
  Put(CellAt(forged), LittleEndian(0U - 88) + wanted);
  std::string between = offset;
  between[0] = static_cast<char>(between[0] + 4);
  Put(CellAt(KeyAt("Above") + kSubKeyList) + 4, between);
  ExpectLost(kWanted, "Above\\Wanted", "a key cannot be read");
}

TEST_F(HiveDamageTest, ListInACellWithoutRoomIsLost) {
  Put(CellAt(KeyAt("Above") + kSubKeyList) - kSizeBytes, "\xfc\xff\xff\xff");
  ExpectLost(kWanted, "Above", "a list of keys cannot be read");
}

TEST_F(HiveDamageTest, SecondKeyOfANameIsLost) {
  const std::size_t list = CellAt(KeyAt("Many") + kSubKeyList);
  Put(list + 12, Hive().substr(list + 4, 8));
  ExpectLost({"Many\\Key1", "Many\\Key1:value"}, "Many\\Key0", "a second key of this name; left out");
}

TEST_F(HiveDamageTest, SecondValueOfANameIsLost) {
  {
    HiveFile software(folder / kSoftware);
    software.SetText("Two", "First", "a");
    software.SetText("Two", "Second", "b");
  }
  Load();
  whole = Read();
  const std::size_t list = CellAt(KeyAt("Two") + kValueList);
  Put(list + 4, Hive().substr(list, 4));
  ExpectLost({"Two:Second"}, "Two\\First", "a second value of this name; left out");
}

TEST_F(HiveDamageTest, ReportsEndAfterFiftyWithALineThatSaysSo) {
  const std::size_t list = CellAt(KeyAt("Many") + kSubKeyList);
  for (const std::size_t damaged : {50U, 51U, 60U}) {
    for (std::size_t i = 0; i < damaged; ++i) Put(list + 4 + 8 * i, "\xf8\xff\xff\xff");
    Read();
    EXPECT_EQ(damages.size(), std::min<std::size_t>(damaged, 51));
    EXPECT_EQ(damages.back().ends_with("SOFTWARE: more keys or values are left out"), damaged > 50);
  }
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

TEST_F(HiveDamageTest, KeyBelowItselfIsLost) {
  // The only entry of the list becomes the key that has the list.
  Put(CellAt(KeyAt("Above") + kSubKeyList) + 4, Hive().substr(KeyAt("Wanted") + kParent, 4));
  ExpectLost(kWanted, "Above\\Above", "it is the same key or above it; left out");
}

TEST_F(HiveDamageTest, RootBelowAKeyIsLost) {
  Put(CellAt(KeyAt("Above") + kSubKeyList) + 4, Hive().substr(KeyAt("Above") + kParent, 4));
  const Names left = Read();
  EXPECT_EQ(left.size(), whole.size() - kWanted.size());
  EXPECT_THAT(damages, ElementsAre(HasSubstr("it is the same key or above it; left out")));
}

TEST_F(HiveDamageTest, KeysWhoseParentsFormARingAreRead) {
  Put(KeyAt("Above") + kParent, Hive().substr(KeyAt("Wanted") + kParent, 4));
  Put(KeyAt("Wanted") + kParent, Hive().substr(KeyAt("Key100") + kParent, 4));
  EXPECT_EQ(Read(), whole);
  EXPECT_THAT(damages, ElementsAre(HasSubstr("its subkey Above is another key's"),
                                   HasSubstr("its subkey Wanted is another key's")));
}

TEST_F(HiveDamageTest, DamagedParentOfTheKeyAboveLosesNothing) {
  Put(KeyAt("Wanted") + kParent, Hive().substr(KeyAt("Key100") + kParent, 4));
  Put(KeyAt("Above") + kParent, "\0\0\0\0"sv);
  ExpectLost({}, "Above", "its subkey Wanted is another key's");
  Put(KeyAt("Above") + kParent, "\xf8\xff\xff\x7f");
  EXPECT_EQ(Read(), whole);
  EXPECT_THAT(damages, ElementsAre(HasSubstr("its subkey Above is another key's"),
                                   HasSubstr("its subkey Wanted is another key's")));
}

TEST_F(HiveDamageTest, KeyThatListsAKeyAboveItIsNotFollowed) {
  const std::string above = Hive().substr(KeyAt("Wanted") + kParent, 4);
  const std::string wanted = Hive().substr(CellAt(KeyAt("Above") + kSubKeyList) + 4, 4);
  Put(CellAt(ValueAt("Forged") + kData), "li\1\0"s + above);
  Put(KeyAt("Wanted") + kSubKeyCount, "\1\0\0\0"sv);
  Put(KeyAt("Wanted") + kSubKeyList, Hive().substr(ValueAt("Forged") + kData, 4));
  Put(KeyAt("Above") + kParent, "\0\0\0\0"sv);
  ExpectLost({}, "Above\\Wanted\\Above", "it is the same key or above it; left out");
  // Each of the two names the other as its parent.
  Put(KeyAt("Above") + kParent, wanted);
  EXPECT_EQ(Read(), whole);
  EXPECT_THAT(damages, ElementsAre(HasSubstr("its subkey Above is another key's"),
                                   HasSubstr("Wanted\\Above: it is the same key or above it; left out")));
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

TEST_F(HiveDamageTest, AdviceWithoutRecoveryIsToRecover) {
  Put(12, "x");
  Save();
  VolumeOptions options;
  options.recovery = Recovery::NotApplied;
  EXPECT_THAT([&] { OpenMachine(folder, Changes::Discarded, {}, options); },
              testing::ThrowsMessage<MachineError>(HasSubstr("; leave out --no-recovery, or restore it")));
}

TEST_F(HiveDamageTest, ValuesMayShareTheirData) {
  Put(ValueAt("Number") + kData, Hive().substr(ValueAt("Forged") + kData, 4));
  EXPECT_EQ(Read(), whole);
  EXPECT_THAT(damages, IsEmpty());
}

}  // namespace
}  // namespace simulated
