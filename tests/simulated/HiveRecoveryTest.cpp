// Recovery from transaction logs, compared with histories of which each change is known.
#include "HiveHistory.h"

namespace simulated {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

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
    const HiveRecovery recovery = Recover(primary, {history.Log(0, 2), history.Log(4, history.Count())});
    ExpectState(recovery, history, history.Count(), history.Count() - 4);
    EXPECT_THAT(recovery.loss, IsEmpty());
  }
}

TEST(HiveRecovery, TornHeaderAndALogWithADamagedLastEntryIsALoss) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t split = 1 + history.Below(history.Count() - 1);
    std::string primary = history.Primary(0);
    primary.replace(0, kSector, kSector, '\0');
    history.entries[split - 1][history.Below(40)] ^= 1;
    const HiveRecovery recovery =
        Recover(primary, {history.Log(0, split), history.Log(split, history.Count())});
    EXPECT_EQ(recovery.entries, history.Count() - split);
    EXPECT_THAT(recovery.loss, HasSubstr("earlier entries are left out"));
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

TEST(HiveRecovery, EarlierEntriesOfALogWithADamagedHeaderAreReported) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t split = 1 + history.Below(history.Count() - 1);
    std::string earlier = history.Log(0, split);
    earlier[history.Below(kSector)] ^= 1;
    const std::string latest = history.Log(split, history.Count());
    std::string torn = history.Primary(split);
    torn.replace(0, kSector, kSector, '\0');
    // Nothing says whether the primary has the entries of the damaged log.
    for (const std::string& primary : {history.Primary(split, history.first), torn}) {
      const HiveRecovery recovery = Recover(primary, {earlier, latest});
      EXPECT_EQ(recovery.entries, history.Count() - split);
      EXPECT_THAT(recovery.loss, HasSubstr("earlier entries are left out"));
    }
    // The primary's number says so.
    EXPECT_THAT(Recover(history.Primary(split), {earlier, latest}).loss, IsEmpty());
  }
}

TEST(HiveRecovery, LogThatWasNotWrittenToItsEndIsNotApplied) {
  History history(1);
  std::string log = history.Log(0, history.Count());
  HeaderFields fields;
  fields.type = 6;
  fields.first = history.first;
  fields.second = history.first - 1;
  fields.binsBytes = static_cast<std::uint32_t>(history.states[0].size());
  log.replace(0, kSector, MakeHeader(fields));
  EXPECT_THAT(Recover(history.Primary(0), {log}).image, IsEmpty());
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

// Windows begins a log anew when the primary has its entries, so the other log may follow with a gap.
TEST(HiveRecovery, LogThatFollowsAnOldOneWithAGapIsApplied) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t old = 1 + history.Below(3), done = old + history.Below(2), begin = done + 1;
    const std::string primary = history.Primary(begin, history.first + static_cast<std::uint32_t>(done));
    const HiveRecovery recovery =
        Recover(primary, {history.Log(0, old), history.Log(begin, history.Count())});
    ExpectState(recovery, history, history.Count(), history.Count() - begin);
    EXPECT_THAT(recovery.loss, IsEmpty());
  }
}

TEST(HiveRecovery, LogThatFollowsADamagedOneWithAGapIsNotApplied) {
  for (unsigned seed = 0; seed < kSets; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed);
    const std::size_t damaged = 1 + history.Below(3);
    history.entries[damaged][50] ^= 1;
    const std::vector<std::string> logs = {history.Log(0, damaged + 1),
                                           history.Log(damaged + 2, history.Count())};
    const HiveRecovery recovery = Recover(history.Primary(damaged), logs);
    EXPECT_THAT(recovery.image, IsEmpty());
    EXPECT_THAT(recovery.loss, HasSubstr("no usable log"));
  }
}

TEST(HiveRecovery, NoDamagedByteOfAnEntrysHeaderMakesItsLogAnOldOne) {
  for (std::size_t at = 0; at < 40; ++at) {
    SCOPED_TRACE(at);
    History history(1);
    history.entries[2][at] ^= 1;
    const HiveRecovery recovery =
        Recover(history.Primary(2), {history.Log(0, 3), history.Log(3, history.Count())});
    EXPECT_THAT(recovery.image, IsEmpty());
    EXPECT_THAT(recovery.loss, HasSubstr("no usable log"));
  }
}

TEST(HiveRecovery, CopiesOnlyHeaderAndBins) {
  History history(1);
  const std::string primary = history.Primary(0) + history.Noise(10 * kPage);
  const HiveRecovery recovery = Recover(primary, {history.Log(0, history.Count())});
  EXPECT_EQ(recovery.image.size(), kPage + history.states.back().size());
}

// Windows may have written a new bin to the primary file, and not yet its header.
TEST(HiveRecovery, BinsBehindTheEndInTheHeaderAreKept) {
  History history(1);
  const std::string bin = history.Noise(kPage), bins = history.states[0] + bin;
  const auto grown = static_cast<std::uint32_t>(bins.size());
  const std::string log = history.Log(0, 0) + MakeEntry(history.first, grown, {{0, bins.substr(0, kSector)}});
  EXPECT_TRUE(BinsOf(Recover(history.Primary(0) + bin, {log}), grown) == bins);
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

TEST(HiveRecovery, EntryWhoseBinsEndInsideAPageIsNotApplied) {
  History history(1);
  const auto bins = static_cast<std::uint32_t>(history.states[0].size() + kSector);
  const std::string log =
      history.Log(0, 0) + MakeEntry(history.first, bins, {{0, history.Noise(2 * kSector)}});
  EXPECT_THAT(Recover(history.Primary(0), {log}).image, IsEmpty());
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

TEST_F(SectorLogTest, LogWithALowerNumberThanThePrimarysIsNotApplied) {
  fields.first = fields.second = history.first - 1;
  EXPECT_THAT(Recover(history.Primary(0), {Log()}).loss, HasSubstr("no usable log"));
}

// Windows keeps to the log of the header's time. It writes the other one after a failed write of the hive.
TEST_F(SectorLogTest, LaterLogIsReportedAndNotApplied) {
  const std::string log = Log();
  HeaderFields later = fields;
  for (const std::uint64_t time : {6U, 8U}) {
    later.time = time;
    for (const std::uint32_t number : {fields.first, fields.first + 1}) {
      later.first = later.second = number;
      const std::string other = MakeSectorLog(later, history.Noise(after.size()), sectors);
      for (const auto& logs : {std::vector{log, other}, {other, log}}) {
        const HiveRecovery recovery = Recover(history.Primary(0), logs);
        EXPECT_TRUE(BinsOf(recovery, after.size()) == after);
        EXPECT_EQ(recovery.loss, time == 6 ? "" : "a later log is left out, as on Windows");
      }
    }
  }
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
