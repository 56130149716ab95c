// Forged hives, whose cells are shared or which are mostly holes, are read up to a limit.
#include "HiveDamageFixture.h"

namespace simulated {
namespace {

using namespace std::string_view_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

namespace fs = std::filesystem;

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

TEST_F(ForgedHiveTest, DamagedKeysThatManyListsNameAreReadUpToTheLimit) {
  const std::string unchanged = Hive();
  for (const bool hasLongName : {false, true}) {
    Write(kSoftware, unchanged);
    Load();
    const std::size_t outer = ValueAt("Outer") + kData, inner = ValueAt("Inner") + kData,
                      key = KeyAt("Wanted");
    const std::string wanted = Hive().substr(CellAt(KeyAt("Above") + kSubKeyList) + 4, 4);
    Put(key, "xx");
    if (hasLongName) Put(key + kNameSize, "\xff\xff");
    Put(CellAt(inner), ListOf("li", wanted));
    Put(CellAt(outer), ListOf("ri", Hive().substr(inner, 4)));
    Put(KeyAt("Above") + kSubKeyList, Hive().substr(outer, 4));
    ExpectStopped();
  }
}

TEST_F(ForgedHiveTest, ListsThatCannotBeReadAreReadUpToTheLimit) {
  // All keys of Many have a list of 65,535 lists that are none.
  Put(CellAt(ValueAt("Outer") + kData), ListOf("ri", "\xf8\xff\xff\x7f"));
  const std::string list = Hive().substr(ValueAt("Outer") + kData, 4);
  for (int i = 0; i < 200; ++i)
    Put(CellAt(CellAt(KeyAt("Many") + kSubKeyList) + 4 + 8 * static_cast<std::size_t>(i)) + kSubKeyList,
        list);
  ExpectStopped();
}

TEST_F(ForgedHiveTest, DamagedValuesThatAreSharedAreReadUpToTheLimit) {
  // All keys of Many have the same 65,535 values, and each of these is none.
  Put(CellAt(ValueAt("Outer") + kData), std::string(4 * kEntries, '\x7f'));
  const std::string list = Hive().substr(ValueAt("Outer") + kData, 4);
  for (int i = 0; i < 200; ++i) {
    const std::size_t key = CellAt(CellAt(KeyAt("Many") + kSubKeyList) + 4 + 8 * static_cast<std::size_t>(i));
    Put(key + kValueCount, LittleEndian(kEntries));
    Put(key + kValueList, list);
  }
  ExpectStopped();
}

TEST_F(ForgedHiveTest, SystemWhoseControlSetsCannotAllBeReadStopsNothingElse) {
  const std::size_t outer = ValueAt("Outer") + kData, inner = ValueAt("Inner") + kData;
  Put(CellAt(inner), ListOf("li", Hive().substr(CellAt(KeyAt("Above") + kSubKeyList) + 4, 4)));
  Put(CellAt(outer), ListOf("ri", Hive().substr(inner, 4)));
  Put(CellAt(0x24) + kSubKeyList, Hive().substr(outer, 4));
  Write("Windows/System32/config/SYSTEM", Hive());
  HiveFile(folder / kSoftware).SetText("Key", "value", "there");
  EXPECT_EQ(TextOf(*Open(), u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Key", u"value"), u"there\0"sv);
  EXPECT_THAT(damages, ElementsAre(AllOf(HasSubstr("/SYSTEM: HKEY_LOCAL_MACHINE\\SYSTEM: "),
                                         HasSubstr("the rest is left out"))));
}

TEST_F(ForgedHiveTest, HolesOfASparseFileAllowNothing) {
  // The same list as before, in a hive that claims a mebibyte of bins per page.
  const std::size_t outer = ValueAt("Outer") + kData, inner = ValueAt("Inner") + kData;
  const std::string wanted = Hive().substr(CellAt(KeyAt("Above") + kSubKeyList) + 4, 4);
  Put(CellAt(inner), ListOf("li", wanted));
  Put(CellAt(outer), ListOf("ri", Hive().substr(inner, 4)));
  Put(KeyAt("Above") + kSubKeyList, Hive().substr(outer, 4));
  const std::size_t end = 8 * Hive().size() / kPageBytes * kPageBytes;
  Put(40, LittleEndian(end - kPageBytes));
  PutChecksum();
  Save();
  fs::resize_file(folder / kSoftware, end);
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
