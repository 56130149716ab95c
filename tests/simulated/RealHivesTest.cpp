// Real hives: recovered as Windows itself recovered them, and read as an independent reader reads them.
#include <gmock/gmock.h>
#include <hivex.h>

#include <cstdlib>
#include <fstream>

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

/** Opens it where its logs are; what is reported goes to `lines`. */
std::shared_ptr<Hive> Open(const std::string& name, Recovery recovery, std::vector<std::string>& lines) {
  LoadObserver observer;
  observer.warning = observer.damage = [&](const std::string& line) { lines.push_back(line); };
  return Hive::Open(
      FileOf(name), recovery, [](std::size_t) {}, observer);
}

class RecoveredHive : public testing::TestWithParam<std::tuple<const char*, std::vector<const char*>, int>> {
};

// Windows recovered these two itself; the header it writes has a new time.
TEST_P(RecoveredHive, IsTheOneThatWindowsMade) {
  const auto& [name, ends, entries] = GetParam();
  const std::string hive = Contents(name), recovered = Contents(std::string(name) + ".recovered");
  ASSERT_FALSE(hive.empty());
  std::vector<std::string> logs;
  for (const char* const end : ends) logs.push_back(Contents(std::string(name) + end));
  const HiveRecovery recovery = RecoverHive(BytesOf(hive), {BytesOf(logs.front()), BytesOf(logs.back())});
  EXPECT_EQ(recovery.entries, static_cast<std::size_t>(entries));
  EXPECT_THAT(recovery.loss, IsEmpty());
  const std::size_t end = HiveHeader::kBytes + Read32(BytesOf(recovered), HiveHeader::kBinsBytes);
  ASSERT_GE(recovery.image.size(), end);
  std::size_t different = 0;
  for (std::size_t at = HiveHeader::kBytes; at < end; ++at)
    different += recovery.image[at] != static_cast<std::uint8_t>(recovered[at]) ? 1U : 0U;
  // Windows 7 notes in the root key's flags and time that it used the hive.
  EXPECT_LE(different, name == std::string("dirty-win10") ? 0U : 64U);
}

INSTANTIATE_TEST_SUITE_P(RealHives, RecoveredHive,
                         testing::Values(std::tuple{"dirty-win10", std::vector{".LOG1", ".LOG2"}, 4},
                                         std::tuple{"dirty-win7", std::vector{".LOG1"}, 1}));

TEST(RealHives, EntriesOfBothLogsAreApplied) {
  // The newest key of the first hive is in its primary file already. The log of the second one has a newer
  // key.
  for (const auto& [name, line, isNewer] :
       {std::tuple{"ntuser-rathbun-win11", ": recovered 5 log entries, newest change ", false},
        {"amcache-rathbun-win11", ": recovered 9 log entries, newest change ", true}}) {
    std::vector<std::string> lines;
    const auto recovered = Open(name, Recovery::Applied, lines);
    EXPECT_THAT(lines, testing::ElementsAre(testing::HasSubstr(line)));
    const auto primary = Open(name, Recovery::NotApplied, lines);
    EXPECT_GE(recovered->NewestChange(), primary->NewestChange());
    EXPECT_EQ(recovered->NewestChange() > primary->NewestChange(), isNewer) << name;
    EXPECT_EQ(lines.size(), 1U);
  }
}

TEST(RealHives, DirtyHiveWithoutLogsIsReported) {
  std::vector<std::string> lines;
  Open("ntuser-tony-2022-02", Recovery::Applied, lines);
  EXPECT_THAT(lines, testing::ElementsAre(
                         testing::AllOf(testing::HasSubstr("not written to its end, newest change 20"),
                                        testing::HasSubstr("it has no usable log"))));
}

/** Compares what libhivex reads below a node with a key. @return the number of keys */
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

TEST(RealHives, AreReadAsLibhivexReadsThem) {
  std::size_t keys = 0, hives = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(REAL_HIVES)) {
    const std::string name = entry.path().filename().string();
    if (name.find(".LOG") != name.npos) continue;
    SCOPED_TRACE(name);
    std::vector<std::string> lines;
    const auto hive = Open(name, Recovery::NotApplied, lines);
    hive_h* const witness = hivex_open(entry.path().c_str(), 0);
    ASSERT_NE(witness, nullptr);
    Key root(u"root");
    hive->FillLater(root, hive->Root());
    keys += Compare(witness, hivex_root(witness), root);
    hivex_close(witness);
    EXPECT_THAT(lines, IsEmpty());
    ++hives;
  }
  EXPECT_EQ(hives, 14U);
  EXPECT_GT(keys, 10'000U);
}

}  // namespace
}  // namespace simulated
