// The changes of the tests to the registry, and their undoing.
#include "RegistryChanges.h"

#include <gtest/gtest.h>

#include "MachineInUse.h"

namespace tests {
namespace {

const KeyPath kKey(u"HKEY_LOCAL_MACHINE\\Software\\KestrelbayLeft\\One\\Deep", View::Bits32);
const KeyPath kTop(u"HKEY_LOCAL_MACHINE\\Software\\KestrelbayLeft", View::Bits32);

bool IsThere(const KeyPath& key) { return static_cast<bool>(OpenKey(key, KEY_READ)); }

TEST(RegistryChanges, AreUndoneInTheEnd) {
  {
    RegistryChanges changes;
    changes.CreateKey(kKey);
    EXPECT_TRUE(IsThere(kKey));
  }
  EXPECT_FALSE(IsThere(kTop));
}

TEST(RegistryChanges, OfATestThatWasKilledAreUndoneByTheNext) {
  // Never destroyed, as in a process that crashes.
  auto* const killed = new RegistryChanges;
  killed->CreateKey(kKey);
  killed->DeleteLater(u"HKEY_CURRENT_USER\\Software\\KestrelbayLeft");
  ASSERT_TRUE(IsThere(kKey));
  const RegistryChanges next;
  EXPECT_FALSE(IsThere(kTop));
}

TEST(RegistryChanges, LeaveKeysThatWereThereBefore) {
  const KeyPath software(u"HKEY_LOCAL_MACHINE\\Software", View::Bits32);
  {
    RegistryChanges changes;
    changes.CreateKey(software);
  }
  EXPECT_TRUE(IsThere(software));
}

TEST(RegistryChanges, AKeyThatOthersUseByNowStays) {
  const KeyPath shared = u"HKEY_CURRENT_USER\\Software\\UserData\\Products";
  const KeyPath own = shared.path + u"\\KestrelbayLeft", others = shared.path + u"\\KestrelbayOther";
  {
    RegistryChanges changes;
    changes.CreateKey(own);
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, Wide(others.path.substr(others.path.find(u'\\') + 1)), &key),
              ERROR_SUCCESS);
    RegCloseKey(key);
  }
  EXPECT_FALSE(IsThere(own));
  EXPECT_TRUE(IsThere(others));
  EXPECT_FALSE(RegistryChanges::HasLeftKeys());
  EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\UserData"), ERROR_SUCCESS);
}

TEST(RegistryChanges, KeysOnTheWayThatNobodyUsesAreDeleted) {
  {
    RegistryChanges changes;
    changes.CreateKey(u"HKEY_CURRENT_USER\\Software\\UserData\\Products\\KestrelbayLeft");
  }
  EXPECT_FALSE(IsThere(u"HKEY_CURRENT_USER\\Software\\UserData"));
}

/** Acts as on a machine that others use. */
class MachineInUse : public testing::Test {
 protected:
  MachineInUse() { SetEnvironmentVariableW(L"KESTRELBAY_DISPOSABLE_MACHINE", nullptr); }
  ~MachineInUse() override { SetEnvironmentVariableW(L"KESTRELBAY_DISPOSABLE_MACHINE", L"1"); }

  RegistryChanges changes;
};

TEST_F(MachineInUse, KeysOfOthersAreNotChanged) {
  const KeyPath others = u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT";
  const KeyPath below = u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\KestrelbayLeft";
  EXPECT_THROW(changes.CreateKey(others), NotOnThisMachine);
  EXPECT_THROW(changes.SetValue(others, u"Left", REG_SZ, {}), NotOnThisMachine);
  EXPECT_THROW(changes.DeleteKey(others), NotOnThisMachine);
  EXPECT_THROW(changes.CreateKey(below), NotOnThisMachine);
  EXPECT_THROW(changes.DeleteLater(below), NotOnThisMachine);
  EXPECT_FALSE(IsThere(below));
}

TEST_F(MachineInUse, KeysOfTheTestAreChangedInOneViewAlone) {
  changes.CreateKey(kKey);
  changes.SetValue(kKey, u"Value", REG_SZ, {});
  EXPECT_THROW(changes.RequireOwn({kTop.path, View::Bits64}), NotOnThisMachine);
  EXPECT_THROW(changes.RequireOwn({kTop.path + u"More", View::Bits32}), NotOnThisMachine);
  EXPECT_TRUE(changes.DeleteKey(kTop));
}

TEST_F(MachineInUse, WithoutRightsNoKeyOfTheMachineIsMade) {
  SetEnvironmentVariableW(L"KESTRELBAY_WITHOUT_RIGHTS", L"1");
  EXPECT_THROW(changes.CreateKey(kTop), NotOnThisMachine);
  EXPECT_NO_THROW(changes.CreateKey(u"HKEY_CURRENT_USER\\Software\\KestrelbayLeft"));
  SetEnvironmentVariableW(L"KESTRELBAY_WITHOUT_RIGHTS", nullptr);
}

TEST_F(MachineInUse, AnApplicationWithANameOfATestIsAReasonNotToRun) {
  const KeyPath entry =
      u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\KestrelbayLeft";
  TestMachine machine;
  machine.SetText(entry, u"DisplayName", u"Other");
  EXPECT_NO_THROW(CheckNamesOfTests(machine));
  machine.SetText(entry, u"DisplayName", u"app");
  EXPECT_THROW(CheckNamesOfTests(machine), NotOnThisMachine);
}

}  // namespace
}  // namespace tests
