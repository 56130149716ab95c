// Recovery from transaction logs, compared with histories of which each change is known.
#include <gmock/gmock.h>

#include <random>

#include "HiveLogs.h"
#include "simulated/volume/HiveRecovery.h"

namespace simulated {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::size_t kPage = 4096, kSector = 512;

HiveBytes BytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/** A hive's bins after each of its changes, and the log entry of each. */
class History {
 public:
  explicit History(unsigned seed, std::size_t changes = 8) : random_(seed) {
    first = static_cast<std::uint32_t>(2 + random_() % 100);
    states.push_back(Noise(kPage * (2 + random_() % 6)));
    for (std::size_t i = 0; i < changes; ++i) Change(first + static_cast<std::uint32_t>(i));
  }

  std::string Noise(std::size_t bytes) {
    std::string noise(bytes, '\0');
    for (char& byte : noise) byte = static_cast<char>(random_());
    return noise;
  }
  std::size_t Below(std::size_t end) { return random_() % end; }
  std::size_t Count() const { return entries.size(); }

  /** Returns the file after `done` changes. `second` is its second sequence number. */
  std::string Primary(std::size_t done, std::uint32_t second) const {
    HeaderFields fields;
    fields.first = second + 1;
    fields.second = second;
    fields.binsBytes = static_cast<std::uint32_t>(states[done].size());
    std::string file = MakeHeader(fields);
    file.resize(kPage);
    return file + states[done];
  }
  std::string Primary(std::size_t done) const {
    return Primary(done, first + static_cast<std::uint32_t>(done));
  }
  /** Returns a log with the entries from `begin` to before `end`. */
  std::string Log(std::size_t begin, std::size_t end, HeaderFields fields = {}) const {
    fields.type = 6;
    fields.first = fields.second = first + static_cast<std::uint32_t>(begin);
    fields.binsBytes = static_cast<std::uint32_t>(states[begin].size());
    std::string log = MakeHeader(fields);
    for (std::size_t i = begin; i < end; ++i) log += entries[i];
    return log;
  }

  std::uint32_t first = 0;
  std::vector<std::string> states;
  std::vector<std::string> entries;

 private:
  void Change(std::uint32_t sequence) {
    std::string bins = states.back();
    const std::size_t sectors = bins.size() / kSector;
    Pages pages;
    if (random_() % 4 == 0) {
      // The hive grows by a new bin, which is logged as a whole.
      pages[static_cast<std::uint32_t>(bins.size())] = Noise(kPage);
      bins.resize(bins.size() + kPage);
    }
    for (std::size_t i = 1 + random_() % 3; i > 0; --i)
      pages[static_cast<std::uint32_t>(random_() % sectors * kSector)] = Noise(kSector);
    for (const auto& [offset, bytes] : pages) bins.replace(offset, bytes.size(), bytes);
    entries.push_back(MakeEntry(sequence, static_cast<std::uint32_t>(bins.size()), pages));
    states.push_back(bins);
  }

  std::mt19937 random_;
};

HiveRecovery Recover(const std::string& primary, const std::vector<std::string>& logs) {
  std::vector<HiveBytes> bytes;
  for (const std::string& log : logs) bytes.push_back(BytesOf(log));
  return RecoverHive(BytesOf(primary), bytes);
}

std::string BinsOf(const HiveRecovery& recovery, std::size_t bytes) {
  if (recovery.image.size() < kPage + bytes) return "(none)";
  return {recovery.image.begin() + kPage,
          recovery.image.begin() + static_cast<std::ptrdiff_t>(kPage + bytes)};
}

/** Checks the number of entries, the bins, and that the header is valid and clean. */
void ExpectState(const HiveRecovery& recovery, const History& history, std::size_t done,
                 std::size_t entries) {
  EXPECT_EQ(recovery.entries, entries);
  ASSERT_FALSE(recovery.image.empty());
  EXPECT_TRUE(BinsOf(recovery, history.states[done].size()) == history.states[done]);
  EXPECT_TRUE(HasHiveHeader(recovery.image));
  EXPECT_EQ(Read32(recovery.image, 4), Read32(recovery.image, 8));
  EXPECT_EQ(Read32(recovery.image, 40), history.states[done].size());
}

constexpr unsigned kSets = 100;

TEST(HiveRecovery, AppliesAllEntriesOfBothLogsInEitherOrder) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t done = history.Below(history.Count()), begin = history.Below(done + 1),
                      split = begin + 1 + history.Below(history.Count() - begin);
    std::vector<std::string> logs = {history.Log(begin, split)};
    if (split < history.Count()) logs.push_back(history.Log(split, history.Count()));
    if (seed % 2 == 1) std::ranges::reverse(logs);
    const HiveRecovery recovery = Recover(history.Primary(done), logs);
    // The primary may already have all entries of the first log, or its first ones.
    ExpectState(recovery, history, history.Count(), history.Count() - done);
    EXPECT_THAT(recovery.loss, IsEmpty());
  }
}

TEST(HiveRecovery, FirstEntryMayBeAboveThePrimarysNumber) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t done = 1 + history.Below(history.Count() - 1);
    const HiveRecovery recovery =
        Recover(history.Primary(done, history.first), {history.Log(done, history.Count())});
    ExpectState(recovery, history, history.Count(), history.Count() - done);
  }
}

TEST(HiveRecovery, RemnantsBehindTheEntriesAreNotApplied) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t done = 2 + history.Below(history.Count() - 2);
    std::string log = history.Log(done, history.Count());
    for (std::size_t i = 0; i < done; ++i) log += history.entries[i];
    const HiveRecovery recovery = Recover(history.Primary(done), {history.Log(0, 1), log});
    ExpectState(recovery, history, history.Count(), history.Count() - done);
    EXPECT_THAT(recovery.loss, IsEmpty());
  }
}

TEST(HiveRecovery, StopsBeforeATornLastEntry) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::string torn = history.entries.back();
    const std::string log = history.Log(0, history.Count() - 1) + torn.substr(0, history.Below(torn.size()));
    const HiveRecovery recovery = Recover(history.Primary(0), {log});
    ExpectState(recovery, history, history.Count() - 1, history.Count() - 1);
    EXPECT_THAT(recovery.loss, IsEmpty());
  }
}

TEST(HiveRecovery, StopsBeforeADamagedEntryAndReportsThoseBehindIt) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t damaged = 1 + history.Below(history.Count() - 2);
    std::string& entry = history.entries[damaged];
    char& byte = entry[history.Below(entry.size())];
    byte = static_cast<char>(byte ^ 0x40);
    const bool isSplit = seed % 2 == 1;
    std::vector<std::string> logs = {history.Log(0, isSplit ? damaged + 1 : history.Count())};
    if (isSplit) logs.insert(logs.begin(), history.Log(damaged + 1, history.Count()));
    const HiveRecovery recovery = Recover(history.Primary(0), logs);
    ExpectState(recovery, history, damaged, damaged);
    EXPECT_NE(recovery.loss, "");
  }
}

TEST(HiveRecovery, DamagedFirstEntryIsNotSkipped) {
  History history(1);
  history.entries[0][50] ^= 1;
  const HiveRecovery recovery = Recover(history.Primary(0), {history.Log(0, history.Count())});
  EXPECT_EQ(recovery.entries, 0U);
  EXPECT_THAT(recovery.image, IsEmpty());
  EXPECT_NE(recovery.loss, "");
}

TEST(HiveRecovery, TornHeaderIsRebuiltFromTheLog) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t done = history.Below(history.Count() - 1), split = done + 1;
    std::string primary = history.Primary(done);
    primary.replace(history.Below(kSector - 8), 8, history.Noise(8));
    const HiveRecovery recovery =
        Recover(primary, {history.Log(split, history.Count()), history.Log(done, split)});
    EXPECT_TRUE(recovery.isHeaderBroken);
    ExpectState(recovery, history, history.Count(), history.Count() - done);
  }
}

TEST(HiveRecovery, TornHeaderAndAStaleLogGiveTheLatestLogsState) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    std::string primary = history.Primary(4);
    primary.replace(0, kSector, kSector, '\0');
    ExpectState(Recover(primary, {history.Log(0, 2), history.Log(4, history.Count())}), history,
                history.Count(), history.Count() - 4);
  }
}

// Without the primary's header Windows uses only the latest log. If the log before it ends where the latest
// begins, it can only add changes that the primary lacks.
TEST(HiveRecovery, TornHeaderGivesWhatTheLatestLogAloneGives) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t split = 1 + history.Below(history.Count() - 1);
    std::string primary = history.Primary(split);
    primary.replace(0, kSector, kSector, '\0');
    const std::string latest = history.Log(split, history.Count());
    ExpectState(Recover(primary, {latest}), history, history.Count(), history.Count() - split);
    ExpectState(Recover(primary, {history.Log(0, split), latest}), history, history.Count(), history.Count());
  }
}

TEST(HiveRecovery, LaterEntriesOfALogWithADamagedHeaderAreReported) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t split = 1 + history.Below(history.Count() - 1);
    std::string latest = history.Log(split, history.Count());
    latest[history.Below(kSector)] ^= 1;
    const HiveRecovery recovery = Recover(history.Primary(0), {history.Log(0, split), latest});
    ExpectState(recovery, history, split, split);
    EXPECT_THAT(recovery.loss, HasSubstr("later entries are left out"));
  }
}

TEST(HiveRecovery, LogOfAnotherHiveIsNotApplied) {
  History history(1);
  HeaderFields otherName, otherIdentifier;
  otherName.name = "C:\\Users\\pavel\\ntuser.dat";
  otherIdentifier.identifier = 2;
  for (const HeaderFields& fields : {otherName, otherIdentifier}) {
    const HiveRecovery recovery = Recover(history.Primary(0), {history.Log(0, history.Count(), fields)});
    EXPECT_THAT(recovery.image, IsEmpty());
    EXPECT_THAT(recovery.loss, HasSubstr("no usable log"));
  }
}

TEST(HiveRecovery, CleanHiveIsLeftAsItIs) {
  History history(1);
  HeaderFields fields;
  fields.binsBytes = static_cast<std::uint32_t>(history.states[0].size());
  std::string primary = MakeHeader(fields);
  primary.resize(kPage);
  const HiveRecovery recovery = Recover(primary + history.states[0], {history.Log(0, history.Count())});
  EXPECT_FALSE(recovery.isDirty);
  EXPECT_THAT(recovery.image, IsEmpty());
  EXPECT_THAT(recovery.loss, IsEmpty());
}

TEST(HiveRecovery, EntryThatGrowsTheHiveBeyondItsLogsIsNotApplied) {
  History history(1);
  const std::string log =
      history.Log(0, 0) + MakeEntry(history.first, 0xFFFFF000, {{0, history.Noise(kPage)}});
  const HiveRecovery recovery = Recover(history.Primary(0), {log});
  EXPECT_THAT(recovery.image, IsEmpty());
  EXPECT_NE(recovery.loss, "");
}

TEST(HiveRecovery, EntryWithAPageOutsideTheHiveIsNotApplied) {
  History history(1);
  const auto bins = static_cast<std::uint32_t>(history.states[0].size());
  const std::string log =
      history.Log(0, 0) + MakeEntry(history.first, bins, {{bins - 16, history.Noise(32)}});
  EXPECT_THAT(Recover(history.Primary(0), {log}).image, IsEmpty());
}

class SectorLogTest : public testing::Test {
 protected:
  SectorLogTest() : history(3, 1) {
    for (std::size_t i = 0; i < history.states[0].size() / kSector; ++i)
      if (i % 3 == 1) sectors.push_back(i);
    after = history.states[0];
    for (const std::size_t sector : sectors) after.replace(sector * kSector, kSector, history.Noise(kSector));
    fields.first = fields.second = history.first + 1;
    fields.type = 1;
    fields.binsBytes = static_cast<std::uint32_t>(after.size());
  }
  std::string Log() const { return MakeSectorLog(fields, after, sectors); }

  History history;
  std::vector<std::size_t> sectors;
  std::string after;
  HeaderFields fields;
};

TEST_F(SectorLogTest, DirtySectorsAreApplied) {
  const HiveRecovery recovery = Recover(history.Primary(0), {Log()});
  EXPECT_EQ(recovery.entries, 1U);
  EXPECT_TRUE(BinsOf(recovery, after.size()) == after);
  EXPECT_TRUE(HasHiveHeader(recovery.image));
}

TEST_F(SectorLogTest, LogOfAnotherChangeIsNotApplied) {
  fields.time = 8;
  EXPECT_THAT(Recover(history.Primary(0), {Log()}).loss, HasSubstr("no usable log"));
}

TEST_F(SectorLogTest, LogThatIsCutOffIsNotApplied) {
  const std::string log = Log();
  EXPECT_THAT(Recover(history.Primary(0), {log.substr(0, log.size() - 1)}).image, IsEmpty());
}

TEST_F(SectorLogTest, TornHeaderIsRebuilt) {
  // The first bin also has the time of the last change.
  fields.time = Read64(BytesOf(history.states[0]), 20);
  std::string primary = history.Primary(0);
  primary[9] ^= 1;
  EXPECT_TRUE(BinsOf(Recover(primary, {Log()}), after.size()) == after);
}

}  // namespace
}  // namespace simulated
