#include "base/RegistryKey.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>

#include "platform/Constants.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using simulated::Faults;
using testing::ElementsAre;

const std::u16string kKey = u"HKEY_LOCAL_MACHINE\\Software\\Vendor";
const std::u16string kKey32 = u"HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Vendor";

class Roots : public OnMachine {};

TEST_F(Roots, HaveViewZeroAnEmptyPathAndTheirName) {
  EXPECT_EQ(LocalMachineRoot().rootName, u"HKEY_LOCAL_MACHINE");
  EXPECT_EQ(CurrentUserRoot().rootName, u"HKEY_CURRENT_USER");
  EXPECT_EQ(UsersRoot().rootName, u"HKEY_USERS");
  for (const RegistryKey* root : {&LocalMachineRoot(), &CurrentUserRoot(), &UsersRoot()}) {
    EXPECT_EQ(root->view, 0);
    EXPECT_EQ(root->path, u"");
  }
}

TEST_F(Roots, HoldThePredefinedHandles) {
  const auto number = [](const RegistryKey& root) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(root.handle));
  };
  EXPECT_EQ(number(LocalMachineRoot()), 0x80000002U);
  EXPECT_EQ(number(CurrentUserRoot()), 0x80000001U);
  EXPECT_EQ(number(UsersRoot()), 0x80000003U);
}

TEST_F(Roots, AreOneObjectEach) {
  EXPECT_EQ(&LocalMachineRoot(), &LocalMachineRoot());
  EXPECT_EQ(&CurrentUserRoot(), &CurrentUserRoot());
  EXPECT_EQ(&UsersRoot(), &UsersRoot());
}

TEST_F(Roots, CopyOfMachineAndUsersClosesNothing) {
  EXPECT_THAT(CallsOf([] {
                const RegistryKey machineCopy = LocalMachineRoot();
                const RegistryKey usersCopy = UsersRoot();
              }),
              ElementsAre());
}

TEST_F(Roots, EachCopyOfTheCurrentUserClosesThatPredefinedKey) {
  const auto calls = CallsOf([] {
    const RegistryKey first = CurrentUserRoot();
    const RegistryKey second = first;
    EXPECT_EQ(second.handle, first.handle);
    EXPECT_EQ(second.rootName, u"HKEY_CURRENT_USER");
  });
  EXPECT_THAT(calls, ElementsAre("RegCloseKey(HKEY_CURRENT_USER) = 0", "RegCloseKey(HKEY_CURRENT_USER) = 0"));
}

void TellWhetherTheCurrentUserWasClosed() {
  for (const simulated::JournalCall& call : simulated::CurrentMachine().journal.Calls()) {
    if (call.name == "RegCloseKey") std::fputs(("closed " + call.arguments).c_str(), stderr);
  }
}

TEST(RootsDeathTest, CurrentUserIsClosedOnceMoreAtUnload) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto unload = [] {
    simulated::CurrentMachine().journal.Start();
    // Registered before the roots are created, so it runs after they are destroyed.
    std::atexit(&TellWhetherTheCurrentUserWasClosed);
    LocalMachineRoot();
    CurrentUserRoot();
    UsersRoot();
    std::exit(0);
  };
  EXPECT_EXIT(unload(), testing::ExitedWithCode(0), "^closed HKEY_CURRENT_USER$");
}

class Opening : public OnMachine {
 protected:
  Opening() {
    machine.registry.CreateKey(kKey + u"\\App");
    machine.registry.CreateKey(kKey32 + u"\\App");
  }
};

TEST_F(Opening, DefaultViewAsksForReadAccessAndClosesOnce) {
  const auto calls = CallsOf([] { EXPECT_EQ(OpenKey(LocalMachineRoot(), u"Software\\Vendor")->view, 0); });
  EXPECT_THAT(calls, ElementsAre("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\Vendor\", 0, 0x20019) = 0",
                                 "RegCloseKey(HKEY_LOCAL_MACHINE\\Software\\Vendor) = 0"));
}

TEST_F(Opening, Bits32ViewAddsItsMask) {
  const auto calls = CallsOf([] { EXPECT_EQ(OpenKey32(LocalMachineRoot(), u"Software\\Vendor")->view, 1); });
  EXPECT_THAT(calls, ElementsAre("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\Vendor\", 0, 0x20219) = 0",
                                 "RegCloseKey(HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Vendor) = 0"));
}

TEST_F(Opening, Bits64ViewAddsItsMask) {
  const auto calls = CallsOf([] { EXPECT_EQ(OpenKey64(LocalMachineRoot(), u"Software\\Vendor")->view, 2); });
  EXPECT_THAT(calls, ElementsAre("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\Vendor\", 0, 0x20119) = 0",
                                 "RegCloseKey(HKEY_LOCAL_MACHINE\\Software\\Vendor) = 0"));
}

TEST_F(Opening, GivenViewDecidesTheMaskAndIsStoredUnchanged) {
  const std::vector<std::pair<RegistryView, std::string>> masks = {
      {0, "0x20019"}, {1, "0x20219"}, {2, "0x20119"}, {7, "0x20019"}, {-1, "0x20019"}};
  for (const auto& [view, mask] : masks) {
    const auto calls = CallsOf([view = view] {
      EXPECT_EQ(OpenKeyInView(LocalMachineRoot(), u"Software\\Vendor", view)->view, view);
    });
    EXPECT_EQ(calls[0], "RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\Vendor\", 0, " + mask + ") = 0");
  }
}

TEST_F(Opening, ViewOfTheParentPlaysNoPart) {
  const auto parent = OpenKey32(LocalMachineRoot(), u"Software\\Vendor");
  const auto calls = CallsOf([&] { EXPECT_EQ(OpenKey(*parent, u"App")->view, 0); });
  EXPECT_EQ(calls[0],
            "RegOpenKeyExW(HKEY_LOCAL_MACHINE\\Software\\Wow6432Node\\Vendor, \"App\", 0, 0x20019) = 0");
}

TEST_F(Opening, ChildOfARootHasOnlyItsPath) {
  const auto key = OpenMachineKey(u"Software\\Vendor");
  EXPECT_EQ(key->path, u"Software\\Vendor");
  EXPECT_EQ(key->rootName, u"HKEY_LOCAL_MACHINE");
}

TEST_F(Opening, ChildOfAKeyGetsTheParentsPathInFront) {
  const auto parent = OpenMachineKey(u"Software\\Vendor");
  const auto key = OpenKey64(*parent, u"App");
  EXPECT_EQ(key->path, u"Software\\Vendor\\App");
  EXPECT_EQ(key->rootName, u"HKEY_LOCAL_MACHINE");
}

TEST_F(Opening, EmptyPathOpensTheParentItself) {
  const auto parent = OpenMachineKey(u"Software\\Vendor");
  const auto again = OpenKey(*parent, u"");
  ASSERT_NE(again, nullptr);
  EXPECT_NE(again->handle, parent->handle);
  EXPECT_EQ(again->path, u"Software\\Vendor\\");
  EXPECT_THAT(ListSubKeyNames(*again), ElementsAre(u"App"));
}

TEST_F(Opening, MissingAndDeniedKeysAreNull) {
  EXPECT_EQ(OpenMachineKey(u"Software\\None"), nullptr);
  machine.registry.Deny(kKey, kAllReading);
  EXPECT_EQ(OpenMachineKey(u"Software\\Vendor"), nullptr);
}

TEST_F(Opening, FailedOpenClosesNothing) {
  EXPECT_THAT(CallsOf([] { OpenMachineKey(u"Software\\None"); }),
              ElementsAre("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"Software\\None\", 0, 0x20019) = 2"));
}

TEST_F(Opening, Key500LevelsDeepOpens) {
  std::u16string path = u"Software";
  for (int level = 0; level < 498; ++level) path += u"\\k";
  machine.registry.CreateKey(u"HKEY_LOCAL_MACHINE\\" + path);
  const auto key = OpenMachineKey(path);
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(key->path, path);
}

class SubKeyNames : public OnMachine {
 protected:
  SubKeyNames() {
    for (const char16_t* name : {u"beta", u"Alpha", u"gamma"})
      machine.registry.CreateKey(kKey + u"\\" + name);
  }
};

TEST_F(SubKeyNames, AreInTheOrderOfThePlatform) {
  EXPECT_THAT(ListSubKeyNames(*OpenMachineKey(u"Software\\Vendor")),
              ElementsAre(u"Alpha", u"beta", u"gamma"));
}

TEST_F(SubKeyNames, AreReadIntoABufferOf260CharactersUpToTheEnd) {
  const auto key = OpenMachineKey(u"Software\\Vendor");
  EXPECT_THAT(CallsOf([&] { ListSubKeyNames(*key); }),
              ElementsAre("RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\Vendor, 0, 260) = 0",
                          "RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\Vendor, 1, 260) = 0",
                          "RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\Vendor, 2, 260) = 0",
                          "RegEnumKeyExW(HKEY_LOCAL_MACHINE\\Software\\Vendor, 3, 260) = 259"));
}

TEST_F(SubKeyNames, NameThatCannotBeReadIsLeftOut) {
  const auto key = OpenMachineKey(u"Software\\Vendor");
  machine.faults.FailNth(2, Faults::Extent::Once, "RegEnumKeyExW");
  EXPECT_THAT(ListSubKeyNames(*key), ElementsAre(u"Alpha", u"gamma"));
}

TEST_F(SubKeyNames, NameEndsAtItsFirstNul) {
  machine.registry.CreateKey(kKey + u"\\z" + u'\0' + u"hidden");
  EXPECT_EQ(ListSubKeyNames(*OpenMachineKey(u"Software\\Vendor")).back(), u"z");
}

TEST_F(SubKeyNames, LongestNameIsReadWhole) {
  const std::u16string longest(255, u'x');
  machine.registry.CreateKey(kKey + u"\\" + longest);
  EXPECT_THAT(ListSubKeyNames(*OpenMachineKey(u"Software\\Vendor")),
              ElementsAre(u"Alpha", u"beta", u"gamma", longest));
}

TEST_F(SubKeyNames, LoneSurrogateIsKept) {
  const std::u16string name = {u'z', char16_t{0xDC00}};
  machine.registry.CreateKey(kKey + u"\\" + name);
  EXPECT_EQ(ListSubKeyNames(*OpenMachineKey(u"Software\\Vendor")).back(), name);
}

TEST_F(SubKeyNames, OfAKeyWithoutSubkeysAreEmpty) {
  EXPECT_THAT(ListSubKeyNames(*OpenMachineKey(u"Software\\Vendor\\beta")), ElementsAre());
}

TEST_F(SubKeyNames, OfADeletedKeyEnd) {
  const auto key = OpenMachineKey(u"Software\\Vendor");
  ASSERT_TRUE(machine.registry.RemoveKey(kKey));
  EXPECT_THAT(ListSubKeyNames(*key), ElementsAre());
}

class LastWriteTime : public OnMachine {
 protected:
  std::u16string Read(std::uint64_t fileTime) {
    machine.registry.CreateKey(kKey);
    machine.registry.SetLastWriteTime(kKey, fileTime);
    std::u16string time = u"2";  // the time of an earlier key
    ReadLastWriteTime(*OpenMachineKey(u"Software\\Vendor"), time);
    return time;
  }
};

TEST_F(LastWriteTime, IsMillisecondsSince1970) {
  EXPECT_EQ(Read(116444736000000000), u"0");
  EXPECT_EQ(Read(116444736000010000), u"1");
  EXPECT_EQ(Read(133485408000000000), u"1704067200000");
}

TEST_F(LastWriteTime, TruncatesTowardsZero) {
  EXPECT_EQ(Read(116444736000019999), u"1");
  EXPECT_EQ(Read(116444736000000000 - 9999), u"0");
  EXPECT_EQ(Read(116444736000000000 - 19999), u"-1");
}

TEST_F(LastWriteTime, ZeroFileTimeIsFarBefore1970) { EXPECT_EQ(Read(0), u"-11644473600000"); }

TEST_F(LastWriteTime, FileTimeIsTakenAsSigned) {
  EXPECT_EQ(Read(0x7FFFFFFFFFFFFFFF), u"910692730085477");
  EXPECT_EQ(Read(0xFFFFFFFFFFFFFFFF), u"-11644473600000");
}

TEST_F(LastWriteTime, FailedQueryReadsAsZeroFileTime) {
  machine.registry.CreateKey(kKey);
  machine.registry.SetLastWriteTime(kKey, 133485408000000000);
  const auto key = OpenMachineKey(u"Software\\Vendor");
  machine.faults.FailNth(1, Faults::Extent::Once, "RegQueryInfoKeyW");
  std::u16string time;
  ReadLastWriteTime(*key, time);
  EXPECT_EQ(time, u"-11644473600000");
  EXPECT_TRUE(machine.faults.Fired());
}

}  // namespace
}  // namespace kestrelbay
