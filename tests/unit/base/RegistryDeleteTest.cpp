#include <gmock/gmock.h>

#include "base/RegistryKey.h"
#include "platform/Constants.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr platform::DWORD kDeleteRight = 0x10000;
const std::u16string kMachine = u"HKEY_LOCAL_MACHINE\\";

class DeleteTree : public OnMachine {
 protected:
  bool Has(const std::u16string& path) { return machine.registry.Find(path) != nullptr; }
};

TEST_F(DeleteTree, KeyWithoutSubkeysIsDeletedInOneCall) {
  machine.registry.CreateKey(kMachine + u"Software\\Vendor");
  bool deleted = false;
  EXPECT_THAT(
      CallsOf([&] { deleted = DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\Vendor"); }),
      ElementsAre("RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\Vendor\") = 0"));
  EXPECT_TRUE(deleted);
  EXPECT_FALSE(Has(kMachine + u"Software\\Vendor"));
}

TEST_F(DeleteTree, MissingPathCountsAsDeleted) {
  bool deleted = false;
  EXPECT_THAT(CallsOf([&] { deleted = DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\None"); }),
              ElementsAre("RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\None\") = 2",
                          "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\None\", 0, 0x20019) = 2"));
  EXPECT_TRUE(deleted);
}

TEST_F(DeleteTree, KeyThatCanNeitherBeDeletedNorOpenedCountsAsDeleted) {
  machine.registry.CreateKey(kMachine + u"Software\\Vendor");
  machine.registry.Deny(kMachine + u"Software\\Vendor", kDeleteRight | kAllReading);
  EXPECT_TRUE(DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\Vendor"));
  EXPECT_TRUE(Has(kMachine + u"Software\\Vendor"));
}

TEST_F(DeleteTree, ChildrenGoFirstInOrderAndTheKeyIsClosedBeforeThem) {
  machine.registry.CreateKey(kMachine + u"Software\\V\\b\\c");
  machine.registry.CreateKey(kMachine + u"Software\\V\\a");
  bool deleted = false;
  EXPECT_THAT(CallsOf([&] { deleted = DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\V"); }),
              ElementsAre("RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\V\") = 5",
                          "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\V\", 0, 0x20019) = 0",
                          "RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\V, 0, 260) = 0",
                          "RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\V, 1, 260) = 0",
                          "RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\V, 2, 260) = 259",
                          "RegCloseKey(HKEY_LOCAL_MACHINE\\Software\\V) = 0",
                          "RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\V\\a\") = 0",
                          "RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\V\\b\") = 5",
                          "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\V\\b\", 0, 0x20019) = 0",
                          "RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\V\\b, 0, 260) = 0",
                          "RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\V\\b, 1, 260) = 259",
                          "RegCloseKey(HKEY_LOCAL_MACHINE\\Software\\V\\b) = 0",
                          "RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\V\\b\\c\") = 0",
                          "RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\V\\b\") = 0",
                          "RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\V\") = 0"));
  EXPECT_TRUE(deleted);
  EXPECT_FALSE(Has(kMachine + u"Software\\V"));
}

TEST_F(DeleteTree, StopsAtTheChildThatCannotBeDeletedAndFails) {
  for (const char16_t* child : {u"a", u"b", u"c"})
    machine.registry.CreateKey(kMachine + u"Software\\V\\" + child);
  machine.registry.Deny(kMachine + u"Software\\V\\b", kDeleteRight);
  const auto calls =
      CallsOf([] { EXPECT_FALSE(DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\V")); });
  EXPECT_EQ(calls.back(), "RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\V\") = 5");
  EXPECT_FALSE(Has(kMachine + u"Software\\V\\a"));
  EXPECT_TRUE(Has(kMachine + u"Software\\V\\b"));
  EXPECT_TRUE(Has(kMachine + u"Software\\V\\c"));
}

TEST_F(DeleteTree, DeepestChildThatCannotBeDeletedFailsTheWholeTree) {
  machine.registry.CreateKey(kMachine + u"Software\\V\\a\\b\\c");
  machine.registry.CreateKey(kMachine + u"Software\\V\\a\\d");
  machine.registry.Deny(kMachine + u"Software\\V\\a\\b\\c", kDeleteRight);
  EXPECT_FALSE(DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\V"));
  EXPECT_TRUE(Has(kMachine + u"Software\\V\\a\\b\\c"));
  EXPECT_TRUE(Has(kMachine + u"Software\\V\\a\\d"));
}

TEST_F(DeleteTree, KeyWithoutSubkeysIsTriedTwice) {
  machine.registry.CreateKey(kMachine + u"Software\\V");
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "RegDeleteKeyW");
  EXPECT_TRUE(DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\V"));
  EXPECT_TRUE(machine.faults.Fired());
  EXPECT_FALSE(Has(kMachine + u"Software\\V"));
}

TEST_F(DeleteTree, TrailingBackslashIsNotDoubledInChildren) {
  machine.registry.CreateKey(kMachine + u"Software\\V\\a");
  const auto calls =
      CallsOf([] { EXPECT_TRUE(DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\V\\")); });
  EXPECT_THAT(calls, testing::Contains("RegDeleteKeyW(HKEY_LOCAL_MACHINE, \"Software\\V\\a\") = 0"));
  EXPECT_FALSE(Has(kMachine + u"Software\\V"));
}

TEST_F(DeleteTree, OfTheCurrentUserOpensBelowThatRootAndClosesIt) {
  machine.registry.CreateKey(u"HKEY_CURRENT_USER\\Software\\V\\a");
  const auto calls =
      CallsOf([] { EXPECT_TRUE(DeleteRegistryTree(platform::HKEY_CURRENT_USER, u"Software\\V")); });
  ASSERT_GE(calls.size(), 8U);
  EXPECT_EQ(calls[1], "RegOpenKeyExW(HKEY_CURRENT_USER, \"Software\\V\", 0, 0x20019) = 0");
  EXPECT_THAT(calls[4], StartsWith("RegCloseKey(HKEY_USERS\\"));
  EXPECT_EQ(calls[5], "RegCloseKey(HKEY_CURRENT_USER) = 0");
  EXPECT_EQ(calls[6], "RegDeleteKeyW(HKEY_CURRENT_USER, \"Software\\V\\a\") = 0");
}

TEST_F(DeleteTree, MissingPathOfTheCurrentUserStillClosesItsCopy) {
  bool deleted = false;
  EXPECT_THAT(CallsOf([&] { deleted = DeleteRegistryTree(platform::HKEY_CURRENT_USER, u"Software\\None"); }),
              ElementsAre("RegDeleteKeyW(HKEY_CURRENT_USER, \"Software\\None\") = 2",
                          "RegOpenKeyExW(HKEY_CURRENT_USER, \"Software\\None\", 0, 0x20019) = 2",
                          "RegCloseKey(HKEY_CURRENT_USER) = 0"));
  EXPECT_TRUE(deleted);
}

TEST_F(DeleteTree, OfTheUsersRootLooksForChildrenBelowTheMachine) {
  machine.registry.CreateKey(u"HKEY_USERS\\S-1\\V\\a");
  const auto calls = CallsOf([] {
    // Not deleted, and not found below the machine: so it counts as gone.
    EXPECT_TRUE(DeleteRegistryTree(platform::HKEY_USERS, u"S-1\\V"));
  });
  EXPECT_THAT(calls, ElementsAre("RegDeleteKeyW(HKEY_USERS, \"S-1\\V\") = 5",
                                 "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"S-1\\V\", 0, 0x20019) = 2"));
  EXPECT_TRUE(Has(u"HKEY_USERS\\S-1\\V\\a"));
}

TEST_F(DeleteTree, ActsInTheViewOfTheProcess) {
  machine.registry.CreateKey(kMachine + u"Software\\V\\a");
  machine.registry.CreateKey(kMachine + u"Software\\Wow6432Node\\V\\a");
  EXPECT_TRUE(DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\V"));
  EXPECT_FALSE(Has(kMachine + u"Software\\V"));
  EXPECT_TRUE(Has(kMachine + u"Software\\Wow6432Node\\V\\a"));
}

TEST_F(DeleteTree, FollowsATree500KeysDeep) {
  std::u16string path = kMachine + u"Software\\V";
  for (int level = 0; level < 497; ++level) path += u"\\k";
  machine.registry.CreateKey(path);
  EXPECT_TRUE(DeleteRegistryTree(platform::HKEY_LOCAL_MACHINE, u"Software\\V"));
  EXPECT_FALSE(Has(kMachine + u"Software\\V"));
}

}  // namespace
}  // namespace kestrelbay
