// Notifications of changes to a key, on which the wait for an uninstaller relies.
#include <gtest/gtest.h>

#include <utility>

#include "RegistryTest.h"
#include "TestMachine.h"
#include "platform/Constants.h"
#include "platform/Events.h"
#include "platform/Registry.h"

namespace platform {
namespace {

using tests::RunsOnWine;
using tests::TestMachine;
using tests::View;

constexpr DWORD kValueFilter = 4;

class Notification : public testing::Test {
 protected:
  Notification() { machine.CreateKey(kBase + u"\\Child"); }
  ~Notification() override {
    if (key) RegCloseKey(key);
    CloseHandle(event);
  }

  void Open(REGSAM access = KEY_NOTIFY, HKEY root = HKEY_LOCAL_MACHINE, const char16_t* path = kBelowRoot) {
    ASSERT_EQ(status::kSuccess, RegOpenKeyExW(root, path, 0, access, &key));
  }

  LSTATUS Arm(bool watchSubtree = true, DWORD filter = REG_NOTIFY_CHANGE_NAME) {
    return RegNotifyChangeKeyValue(key, watchSubtree, filter, event, true);
  }

  /** @return whether the event is signalled; clears it */
  bool TakeSignal() const {
    const DWORD result = WaitForMultipleObjects(1, &event, 0, 0);
    EXPECT_TRUE(result == WAIT_OBJECT_0 || result == WAIT_TIMEOUT);
    return result == WAIT_OBJECT_0;
  }

  TestMachine machine;
  HKEY key = nullptr;
  // Signalled and automatic, as the library creates it.
  HANDLE event = CreateEventW(nullptr, false, true, nullptr);
};

TEST_F(Notification, ArmingClearsTheEvent) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  EXPECT_FALSE(TakeSignal());
}

TEST_F(Notification, ANewSubkeySignalsOnce) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  machine.CreateKey(kBase + u"\\New");
  EXPECT_TRUE(TakeSignal());
  machine.CreateKey(kBase + u"\\Newer");
  EXPECT_FALSE(TakeSignal());
}

TEST_F(Notification, ADeletedSubkeySignals) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  machine.DeleteKey(kBase + u"\\Child");
  EXPECT_TRUE(TakeSignal());
}

TEST_F(Notification, AWatchCanBeSetAgain) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  machine.CreateKey(kBase + u"\\New");
  ASSERT_TRUE(TakeSignal());
  ASSERT_EQ(status::kSuccess, Arm());
  EXPECT_FALSE(TakeSignal());
  machine.CreateKey(kBase + u"\\Newer");
  EXPECT_TRUE(TakeSignal());
}

TEST_F(Notification, AValueDoesNotMatchTheFilterForNames) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  machine.SetText(kBase, u"DisplayName", u"changed");
  machine.SetText(kBase + u"\\Child", u"DisplayName", u"changed");
  EXPECT_FALSE(TakeSignal());
}

TEST_F(Notification, ANameDoesNotMatchTheFilterForValues) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm(true, kValueFilter));
  machine.CreateKey(kBase + u"\\New");
  EXPECT_FALSE(TakeSignal());
  machine.SetText(kBase + u"\\Child", u"DisplayName", u"changed");
  EXPECT_TRUE(TakeSignal());
}

TEST_F(Notification, AnotherKeyDoesNotCount) {
  machine.CreateKey(kBase + u"\\Watched");
  Open(KEY_NOTIFY, HKEY_LOCAL_MACHINE, u"Software\\KestrelbayContract\\Watched");
  ASSERT_EQ(status::kSuccess, Arm());
  machine.CreateKey(kBase + u"\\Child\\New");
  machine.CreateKey(kBase + u"\\Other");
  machine.DeleteKey(kBase + u"\\Other");
  EXPECT_FALSE(TakeSignal());
}

TEST_F(Notification, AKeyFarBelowCountsWithTheSubtree) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm(true));
  machine.CreateKey(kBase + u"\\Child\\Grandchild");
  EXPECT_TRUE(TakeSignal());
}

TEST_F(Notification, AKeyFarBelowDoesNotCountWithoutTheSubtree) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm(false));
  machine.CreateKey(kBase + u"\\Child\\Grandchild");
  EXPECT_FALSE(TakeSignal());
  machine.CreateKey(kBase + u"\\New");
  EXPECT_TRUE(TakeSignal());
}

TEST_F(Notification, ClosingTheWatchedKeySignals) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  EXPECT_EQ(status::kSuccess, RegCloseKey(key));
  key = nullptr;
  EXPECT_TRUE(TakeSignal());
}

TEST_F(Notification, ClosingAnotherHandleOfTheKeyDoesNot) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  HKEY other = nullptr;
  ASSERT_EQ(status::kSuccess, RegOpenKeyExW(HKEY_LOCAL_MACHINE, kBelowRoot, 0, KEY_NOTIFY, &other));
  EXPECT_EQ(status::kSuccess, RegCloseKey(other));
  EXPECT_FALSE(TakeSignal());
}

TEST_F(Notification, DeletingTheWatchedKeySignals) {
  machine.DeleteKey(kBase + u"\\Child");
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  ASSERT_TRUE(machine.DeleteKey(kBase));
  EXPECT_EQ(!RunsOnWine(), TakeSignal());
}

TEST_F(Notification, OneChangeUnderTwoWatchesOfOneEventIsOneSignal) {
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  const HKEY first = std::exchange(key, nullptr);
  Open();
  ASSERT_EQ(status::kSuccess, Arm());
  machine.CreateKey(kBase + u"\\New");
  EXPECT_TRUE(TakeSignal());
  EXPECT_FALSE(TakeSignal());
  // Both watches have signalled, so closing their keys signals nothing more.
  EXPECT_EQ(status::kSuccess, RegCloseKey(first));
  EXPECT_FALSE(TakeSignal());
}

TEST_F(Notification, TheEventMayBeClosedWhileTheWatchIsSet) {
  Open();
  HANDLE closed = CreateEventW(nullptr, false, true, nullptr);
  ASSERT_EQ(status::kSuccess, RegNotifyChangeKeyValue(key, true, REG_NOTIFY_CHANGE_NAME, closed, true));
  EXPECT_NE(0, CloseHandle(closed));
  machine.CreateKey(kBase + u"\\New");
  EXPECT_EQ(status::kSuccess, Arm());
}

TEST_F(Notification, ADeepWatchOfAllUsersCanBeSet) {
  Open(KEY_NOTIFY, HKEY_USERS, u"");
  ASSERT_EQ(status::kSuccess, Arm());
  EXPECT_FALSE(TakeSignal());
  machine.CreateKey(u"HKEY_CURRENT_USER\\Software\\KestrelbayContract");
  EXPECT_TRUE(TakeSignal());
}

TEST_F(Notification, The32BitViewIsWatchedWhereItIsStored) {
  const std::u16string path = kBase + u"\\Narrow";
  machine.CreateKey({path, View::Bits32});
  Open(KEY_NOTIFY | KEY_WOW64_32KEY, HKEY_LOCAL_MACHINE, u"Software\\KestrelbayContract\\Narrow");
  ASSERT_EQ(status::kSuccess, Arm());
  machine.CreateKey(path + u"\\New");
  EXPECT_FALSE(TakeSignal());
  machine.CreateKey({path + u"\\New", View::Bits32});
  EXPECT_TRUE(TakeSignal());
}

TEST_F(Notification, TheRightIsNeeded) {
  Open(0x20009);  // KEY_READ without KEY_NOTIFY
  EXPECT_EQ(status::kAccessDenied, Arm());
  EXPECT_TRUE(TakeSignal());
}

TEST_F(Notification, ADeletedKeyIsRefused) {
  machine.DeleteKey(kBase + u"\\Child");
  Open();
  ASSERT_TRUE(machine.DeleteKey(kBase));
  EXPECT_EQ(status::kKeyDeleted, Arm());
}

TEST_F(Notification, OtherHandlesAreRefused) {
  Open();
  const HANDLE earlier = event;
  event = CreateEventW(nullptr, false, true, nullptr);
  CloseHandle(event);
  EXPECT_EQ(status::kInvalidHandle, Arm());
  event = earlier;
  RegCloseKey(key);
  EXPECT_EQ(status::kInvalidHandle, Arm());
  key = nullptr;
}

}  // namespace
}  // namespace platform
