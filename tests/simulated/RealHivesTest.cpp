// Real hives: recovered as Windows itself recovered them, and read as two independent readers read them.
#include <gmock/gmock.h>
#include <hivex.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "HiveFile.h"
#include "MachineFolder.h"
#include "RegLookup.h"
#include "simulated/base/WideText.h"
#include "simulated/volume/Hive.h"
#include "simulated/volume/HiveRecovery.h"

namespace simulated {
namespace {

using testing::IsEmpty;

namespace fs = std::filesystem;

fs::path FileOf(const std::string& name) { return fs::path(REAL_HIVES) / name; }

std::string Contents(const std::string& name) {
  std::ifstream file(FileOf(name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

HiveBytes BytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/** Opens the hive in the folder of its logs. Adds the reports to `lines`. */
std::shared_ptr<Hive> Open(const std::string& name, Recovery recovery, std::vector<std::string>& lines) {
  LoadObserver observer;
  observer.warning = observer.damage = [&](const std::string& line) { lines.push_back(line); };
  return Hive::Open(FileOf(name), recovery, observer);
}

/** A byte of the bins that differs: its offset in the file, our byte, and the byte of Windows. */
using Difference = std::tuple<std::size_t, int, int>;

std::vector<Difference> Differences(HiveBytes own, HiveBytes windows) {
  std::vector<Difference> differences;
  const std::size_t end = HiveHeader::kBytes + Read32(windows, HiveHeader::kBinsBytes);
  for (std::size_t at = HiveHeader::kBytes; at < end; ++at)
    if (own[at] != windows[at]) differences.emplace_back(at, own[at], windows[at]);
  return differences;
}

/** Recovers a hive from these logs, all of whose entries are needed. */
std::vector<std::uint8_t> RecoverAll(const std::string& name, const std::vector<std::string>& ends,
                                     std::size_t entries) {
  std::vector<std::string> logs;
  for (const std::string& end : ends) logs.push_back(Contents(name + end));
  std::vector<HiveBytes> bytes;
  for (const std::string& log : logs) bytes.push_back(BytesOf(log));
  const std::string hive = Contents(name);
  HiveRecovery recovery = RecoverHive(BytesOf(hive), bytes, FromUtf8(name));
  EXPECT_EQ(recovery.entries, entries);
  EXPECT_THAT(recovery.loss, IsEmpty());
  return std::move(recovery.image);
}

TEST(RealHives, HiveOfWindows10IsRecoveredAsWindowsDidIt) {
  const std::string windows = Contents("dirty-win10.recovered");
  const auto own = RecoverAll("dirty-win10", {".LOG1", ".LOG2"}, 4);
  ASSERT_EQ(own.size(), HiveHeader::kBytes + Read32(BytesOf(windows), HiveHeader::kBinsBytes));
  EXPECT_THAT(Differences(own, BytesOf(windows)), IsEmpty());
}

// After the recovery Windows 7 wrote the hive again, and changed two fields that have no content.
TEST(RealHives, HiveOfWindows7IsRecoveredAsWindowsDidIt) {
  constexpr std::size_t kTimeOfFirstBin = HiveHeader::kBytes + 20, kLongestValueName = 60;
  const std::string windows = Contents("dirty-win7.recovered");
  const auto own = RecoverAll("dirty-win7", {".LOG1"}, 1);
  ASSERT_EQ(own.size(), HiveHeader::kBytes + Read32(BytesOf(windows), HiveHeader::kBinsBytes));
  // The header and the first bin have the time of each write.
  EXPECT_EQ(Read64(own, kTimeOfFirstBin), Read64(own, HiveHeader::kTime));
  EXPECT_EQ(Read64(BytesOf(windows), kTimeOfFirstBin), Read64(BytesOf(windows), HiveHeader::kTime));
  // Windows checks the keys of a hive that it recovers. The log says that the longest name of a value of this
  // key has 24 bytes. Its one value is named V, so Windows writes 2.
  constexpr std::size_t kKey = 0x6BD88 + kCellHeaderBytes;
  EXPECT_EQ(std::string(own.begin() + kKey + KeyRecord::kName, own.begin() + kKey + KeyRecord::kName + 4),
            "4500");
  EXPECT_THAT(Differences(own, BytesOf(windows)),
              testing::ElementsAre(
                  Difference{kTimeOfFirstBin, 0x60, 0xE0}, Difference{kTimeOfFirstBin + 1, 0xA8, 0x36},
                  Difference{kTimeOfFirstBin + 2, 0xC8, 0xC6}, Difference{kTimeOfFirstBin + 3, 0xF1, 0x12},
                  Difference{kTimeOfFirstBin + 4, 0x27, 0x28}, Difference{kKey + kLongestValueName, 24, 2}));
}

TEST(RealHives, EntriesOfBothLogsAreApplied) {
  // The newest key of the first hive is in its primary file already. The log of the second one has a newer
  // key.
  for (const auto& [name, line, isNewer] :
       {std::tuple{"ntuser-rathbun-win11", ": recovered 5 log entries, newest change ", false},
        {"amcache-rathbun-win11", ": recovered 9 log entries, newest change ", true}}) {
    std::vector<std::string> lines;
    const auto recovered = Open(name, Recovery::Applied, lines);
    EXPECT_THAT(lines, testing::ElementsAre(testing::HasSubstr(line)));
    const std::string primary = Contents(name);
    const std::uint64_t before = HiveReader(BytesOf(primary), primary.size()).NewestTime();
    EXPECT_GE(recovered->NewestChange(), before);
    EXPECT_EQ(recovered->NewestChange() > before, isNewer) << name;
  }
}

// LOG2 has entries 238 to 240, LOG1 those after them, and the hive's own number is 213.
TEST(RealHives, EarlierEntriesOfALogWithADamagedHeaderAreReported) {
  const std::string hive = Contents("ntuser-rathbun-win11");
  const std::string later = Contents("ntuser-rathbun-win11.LOG1");
  std::string earlier = Contents("ntuser-rathbun-win11.LOG2");
  earlier[12] ^= 1;
  const HiveRecovery recovery = RecoverHive(BytesOf(hive), {BytesOf(later), BytesOf(earlier)}, u"NTUSER.DAT");
  EXPECT_EQ(recovery.entries, 2U);
  EXPECT_THAT(recovery.loss, testing::HasSubstr("earlier entries are left out"));
}

TEST(RealHives, DirtyHiveWithoutLogsIsReported) {
  std::vector<std::string> lines;
  Open("ntuser-tony-2022-02", Recovery::Applied, lines);
  EXPECT_THAT(lines, testing::ElementsAre(
                         testing::AllOf(testing::HasSubstr("not written to its end, newest change 20"),
                                        testing::HasSubstr("it has no usable log"))));
}

/** Compares a key with the node that libhivex reads. @return the number of keys */
std::size_t Compare(hive_h* witness, hive_node_h node, Key& key) {
  EXPECT_EQ(static_cast<std::uint64_t>(hivex_node_timestamp(witness, node)), key.lastWriteTime);
  std::size_t keys = 1, valueCount = 0, subKeyCount = 0;
  hive_value_h* const values = hivex_node_values(witness, node);
  for (; values && values[valueCount] != 0; ++valueCount) {
    char* const name = hivex_value_key(witness, values[valueCount]);
    hive_type type{};
    std::size_t bytes = 0;
    char* const data = hivex_value_value(witness, values[valueCount], &type, &bytes);
    ValueView value;
    const bool isFound = name && key.FindValue(FromUtf8(name), value);
    EXPECT_TRUE(isFound) << name;
    if (isFound && data) {
      EXPECT_EQ((std::string(data, bytes)),
                (std::string(reinterpret_cast<const char*>(value.bytes.data()), value.bytes.size())));
    }
    std::free(name);
    std::free(data);
  }
  std::free(values);
  EXPECT_EQ(valueCount, key.ValueCount());
  hive_node_h* const children = hivex_node_children(witness, node);
  for (; children && children[subKeyCount] != 0; ++subKeyCount) {
    char* const name = hivex_node_name(witness, children[subKeyCount]);
    Key* const subKey = name ? key.FindSubKey(FromUtf8(name)) : nullptr;
    EXPECT_NE(subKey, nullptr) << name;
    std::free(name);
    if (subKey) keys += Compare(witness, children[subKeyCount], *subKey);
  }
  std::free(children);
  EXPECT_EQ(subKeyCount, key.SubKeyCount());
  return keys;
}

/** Compares all keys of a file with those that libhivex and reglookup read. @return the number of keys */
std::size_t CompareWithWitnesses(const fs::path& file) {
  std::vector<std::string> lines;
  LoadObserver observer;
  observer.damage = [&](const std::string& line) { lines.push_back(line); };
  const auto hive = Hive::Open(file, Recovery::NotApplied, observer);
  Key root(u"root");
  hive->FillLater(root, hive->Root());
  hive_h* const witness = hivex_open(file.c_str(), 0);
  EXPECT_NE(witness, nullptr);
  if (!witness) return 0;
  const std::size_t keys = Compare(witness, hivex_root(witness), root);
  hivex_close(witness);
  const std::multiset<std::string> own = LinesOfKey(root), other = LinesOfRegLookup(file);
  std::vector<std::string> different;
  std::ranges::set_symmetric_difference(own, other, std::back_inserter(different));
  EXPECT_THAT(different, IsEmpty());
  EXPECT_GE(own.size(), keys / 2);
  EXPECT_THAT(lines, IsEmpty());
  return keys;
}

TEST(RealHives, AreReadAsTheWitnessesReadThem) {
  std::size_t keys = 0, hives = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(REAL_HIVES)) {
    const std::string name = entry.path().filename().string();
    if (name.find(".LOG") != name.npos) continue;
    SCOPED_TRACE(name);
    keys += CompareWithWitnesses(entry.path());
    ++hives;
  }
  EXPECT_EQ(hives, 14U);
  EXPECT_GT(keys, 10'000U);
}

class WitnessTest : public MachineFolder {};

TEST_F(WitnessTest, RecoveredHivesAreReadAsTheWitnessesReadThem) {
  for (const auto& [name, entries] : {std::pair{"ntuser-rathbun-win11", 5U}, {"amcache-rathbun-win11", 9U}}) {
    SCOPED_TRACE(name);
    const auto image = RecoverAll(name, {".LOG1", ".LOG2"}, entries);
    Write(name, {reinterpret_cast<const char*>(image.data()), image.size()});
    EXPECT_GT(CompareWithWitnesses(folder / name), 1000U);
  }
}

TEST_F(WitnessTest, GeneratedHivesAreReadAsTheWitnessesReadThem) {
  {
    HiveFile hive(folder / "hive");
    for (int i = 0; i < 3000; ++i) hive.SetText("Many\\Key" + std::to_string(i), "value", std::to_string(i));
    hive.SetBytes("Above\\Key", "", "bytes");
    hive.SetBytes("Above\\Other", "long", std::string(16000, 'x'));
  }
  EXPECT_GT(CompareWithWitnesses(folder / "hive"), 3000U);
}

}  // namespace
}  // namespace simulated
