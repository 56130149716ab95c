// Installer products of users. Their properties are in the UserData tree of the machine.
#include <gmock/gmock.h>

#include "HostTest.h"

namespace tests {
namespace {

using kestrelbay::ReceivedEntry;
using testing::ElementsAre;
using testing::IsEmpty;

const std::u16string kPacked = u"ABCDEF0123456789ABCDEF0123456789";

class UserProducts : public HostTest {
 protected:
  UserProducts() { SetTexts(kHive + u"\\Software\\Microsoft\\Installer\\Products\\" + kPacked, {}); }

  KeyPath Product() { return kHive + u"\\Software\\Microsoft\\Installer\\Products\\" + kPacked; }

  KeyPath Properties(const std::u16string& sid, const Values& values, View view = View::Bits64,
                     const std::u16string& packed = kPacked) {
    const KeyPath key(kUserData + u"\\" + sid + u"\\Products\\" + packed + u"\\InstallProperties", view);
    SetTexts(key, values);
    return key;
  }
};

TEST_F(UserProducts, AreListedWithTheirProperties) {
  machine.SetText(Product(), u"ProductIcon", u"C:\\own.ico");
  Properties(u"S-1-5-21-1",
             {{u"DisplayName", u"Own"}, {u"DisplayVersion", u"3"}, {u"DisplayIcon", u"C:\\x.ico"}});
  const std::vector<ReceivedEntry> list = List();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].displayName, "Own");
  EXPECT_EQ(list[0].displayVersion, "3");
  EXPECT_EQ(list[0].displayIcon, "C:\\own.ico");
  EXPECT_EQ(list[0].architecture, 2);
}

TEST_F(UserProducts, PreferTheirProductName) {
  machine.SetText(Product(), u"ProductName", u"Product");
  Properties(u"S-1-5-21-1", {{u"DisplayName", u"Displayed"}});
  EXPECT_THAT(Names(), ElementsAre("Product"));
}

TEST_F(UserProducts, OfTheMachinesBranchAreNotListed) {
  Properties(u"S-1-5-18", {{u"DisplayName", u"Own"}});
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(UserProducts, SystemComponentInOneBranchIsReadFromTheNext) {
  machine.SetNumber(Properties(u"S-1-5-21-1", {{u"DisplayName", u"First"}}), u"SystemComponent", 1);
  Properties(u"S-1-5-21-2", {{u"DisplayName", u"Second"}});
  EXPECT_THAT(Names(), ElementsAre("Second"));
}

TEST_F(UserProducts, WithoutANameAreReadFromTheNextBranch) {
  Properties(u"S-1-5-21-1", {});
  Properties(u"S-1-5-21-2", {{u"DisplayName", u"Second"}});
  EXPECT_THAT(Names(), ElementsAre("Second"));
}

TEST_F(UserProducts, AreReadFromTheFirstBranchThatYieldsARecord) {
  Properties(u"S-1-5-21-1", {{u"DisplayName", u"First"}});
  Properties(u"S-1-5-21-2", {{u"DisplayName", u"Second"}});
  EXPECT_THAT(Names(), ElementsAre("First"));
}

TEST_F(UserProducts, OfTheExcludedPublisherAreLeftOutInEachBranch) {
  for (const char16_t* sid : {u"S-1-5-21-1", u"S-1-5-21-2"}) {
    Properties(sid, {{u"DisplayName", u"Own"}, {u"Publisher", u"TOLVAN Handheld Engine"}});
  }
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(UserProducts, InBothViewsAreTwoRecords) {
  Properties(u"S-1-5-21-1", {{u"DisplayName", u"Own"}}, View::Bits32);
  Properties(u"S-1-5-21-1", {{u"DisplayName", u"Own"}}, View::Bits64);
  EXPECT_THAT(Names(), ElementsAre("Own", "Own"));
}

TEST_F(UserProducts, WithACodeInOtherCaseAreNotFound) {
  Properties(u"S-1-5-21-1", {{u"DisplayName", u"Own"}}, View::Bits64, u"abcdef0123456789abcdef0123456789");
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(UserProducts, MergeWithAnEntryOfTheSameName) {
  UserEntry(u"Own",
            {{u"DisplayName", u"Own"}, {u"UninstallString", u"u.exe"}, {u"InstallLocation", u"C:\\Own"}});
  Properties(u"S-1-5-21-1", {{u"DisplayName", u"Own"}, {u"DisplayVersion", u"3"}});
  const std::vector<ReceivedEntry> list = List();
  ASSERT_EQ(list.size(), 1U);
  EXPECT_EQ(list[0].installLocation, "C:\\Own");
  EXPECT_EQ(list[0].displayVersion, "3");
  EXPECT_EQ(list[0].architecture, 2);
}

}  // namespace
}  // namespace tests
