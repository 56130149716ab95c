// If the checksum of a hive's header is wrong, other signs say whose log it is.
#include "HiveHistory.h"

namespace simulated {
namespace {

using testing::IsEmpty;

/** The header of a primary file lacks only its time. */
class TornTimeTest : public testing::Test {
 protected:
  TornTimeTest() {
    primary = history.Primary(0);
    primary[12] ^= 1;
  }
  std::string LogWith(const HeaderFields& fields) const { return history.Log(0, history.Count(), fields); }

  History history{1};
  std::string primary;
};

TEST(HiveLogOwner, LaterEntriesOfAnotherHiveAreNotMissing) {
  const History history(1), longer(1, 16);
  HeaderFields other;
  other.identifier = 2;
  const HiveRecovery recovery = Recover(history.Primary(0), {history.Log(0, 8), longer.Log(8, 16, other)});
  ExpectState(recovery, history, 8, 8);
  EXPECT_EQ(recovery.loss, "");
}

TEST_F(TornTimeTest, LogOfTheHiveIsApplied) {
  ExpectState(Recover(primary, {LogWith({})}), history, history.Count(), history.Count());
}

TEST_F(TornTimeTest, LogOfAnotherPlaceIsNotApplied) {
  HeaderFields fields;
  fields.name = "C:\\Users\\pavel\\ntuser.dat";
  EXPECT_THAT(Recover(primary, {LogWith(fields)}).image, IsEmpty());
}

TEST_F(TornTimeTest, LogOfAnotherFileNameIsNotApplied) {
  primary.replace(48, 64, 64, '\0');
  EXPECT_THAT(Recover(primary, {LogWith({})}, u"SOFTWARE").image, IsEmpty());
  ExpectState(Recover(primary, {LogWith({})}), history, history.Count(), history.Count());
}

TEST_F(TornTimeTest, LogOfAnotherIdentifierIsNotApplied) {
  // These bytes make a UUID of version 1, and the place is none.
  primary.replace(48, 64, 64, '\0');
  primary.replace(112, 16, "\1\1\1\1\1\1\1\x11\x81\1\1\1\1\1\1\1");
  primary.replace(128, 16, primary.substr(112, 16));
  EXPECT_THAT(Recover(primary, {LogWith({})}).image, IsEmpty());
}

TEST_F(TornTimeTest, LogsThatDisagreeAreNotApplied) {
  HeaderFields other;
  other.identifier = 2;
  primary.replace(0, kSector, kSector, '\0');
  for (const auto& logs : {std::vector{LogWith({}), LogWith(other)}, {LogWith(other), LogWith({})}})
    EXPECT_THAT(Recover(primary, logs).image, IsEmpty());
}

}  // namespace
}  // namespace simulated
