// Opening, enumerating, querying and deleting keys, on which the scanners and the removal of entries rely.
#include <gtest/gtest.h>

#include <algorithm>

#include "LastErrors.h"
#include "RegistryTest.h"
#include "TestMachine.h"
#include "platform/Constants.h"
#include "platform/Events.h"
#include "platform/Processes.h"
#include "platform/Registry.h"

namespace platform {
namespace {

using tests::TestMachine;
using tests::View;

class RegistryKeys : public testing::Test {
 protected:
  ~RegistryKeys() override {
    for (HKEY key : opened) RegCloseKey(key);
  }

  /** Opens a key that must exist. It is closed at the end of the test. */
  HKEY Open(HKEY parent, const char16_t* path, REGSAM access = KEY_READ) {
    HKEY key = nullptr;
    EXPECT_EQ(status::kSuccess, RegOpenKeyExW(parent, path, 0, access, &key));
    if (key) opened.push_back(key);
    return key;
  }

  static LSTATUS StatusOfOpen(HKEY parent, const char16_t* path, REGSAM access = KEY_READ) {
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(parent, path, 0, access, &key);
    if (status == status::kSuccess) RegCloseKey(key);
    return status;
  }

  static LSTATUS NameAt(HKEY key, DWORD index, DWORD room, std::u16string& name) {
    char16_t buffer[300] = {};
    DWORD chars = room;
    const LSTATUS status = RegEnumKeyExW(key, index, buffer, &chars, nullptr, nullptr, nullptr, nullptr);
    name = status == status::kSuccess ? std::u16string(buffer, chars) : std::u16string();
    return status;
  }

  static std::vector<std::u16string> Names(HKEY key) {
    std::vector<std::u16string> names;
    std::u16string name;
    while (NameAt(key, static_cast<DWORD>(names.size()), 260, name) == status::kSuccess) {
      names.push_back(name);
    }
    return names;
  }

  void MakeInReverse(const std::vector<std::u16string>& names) {
    for (auto name = names.rbegin(); name != names.rend(); ++name) machine.CreateKey(kBase + (u"\\" + *name));
  }

  TestMachine machine;
  std::vector<HKEY> opened;
};

TEST_F(RegistryKeys, MissingKeyIsNotFoundAndYieldsNull) {
  HKEY key = HKEY_USERS;
  EXPECT_EQ(status::kFileNotFound, RegOpenKeyExW(HKEY_LOCAL_MACHINE, kBelowRoot, 0, KEY_READ, &key));
  EXPECT_EQ(nullptr, key);
}

TEST_F(RegistryKeys, OpeningDoesNotChangeTheLastError) {
  machine.CreateKey(kBase);
  ASSERT_EQ(0, CloseHandle(nullptr));
  ASSERT_EQ(last_error::kInvalidHandle, GetLastError());
  EXPECT_EQ(status::kFileNotFound, StatusOfOpen(HKEY_LOCAL_MACHINE, u"Software\\KestrelbayContract\\None"));
  EXPECT_EQ(last_error::kInvalidHandle, GetLastError());
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_LOCAL_MACHINE, kBelowRoot));
  EXPECT_EQ(last_error::kInvalidHandle, GetLastError());
}

TEST_F(RegistryKeys, EmptyAndNullPathOpenTheParentItself) {
  machine.CreateKey(std::u16string(kBase) + u"\\Child");
  const HKEY base = Open(HKEY_LOCAL_MACHINE, kBelowRoot);
  const HKEY again = Open(base, u"");
  const HKEY andAgain = Open(base, nullptr);
  EXPECT_NE(base, again);
  EXPECT_EQ(std::vector<std::u16string>{u"Child"}, Names(again));
  EXPECT_EQ(std::vector<std::u16string>{u"Child"}, Names(andAgain));
  EXPECT_FALSE(Names(Open(HKEY_LOCAL_MACHINE, u"")).empty());
}

TEST_F(RegistryKeys, NamesAreCaseInsensitiveAndKeepTheirCase) {
  machine.CreateKey(std::u16string(kBase) + u"\\MiXed Ärger");
  Open(HKEY_LOCAL_MACHINE, u"SOFTWARE\\kestrelbaycontract\\mIxEd äRGER");
  EXPECT_EQ(std::vector<std::u16string>{u"MiXed Ärger"}, Names(Open(HKEY_LOCAL_MACHINE, kBelowRoot)));
}

TEST_F(RegistryKeys, PathMayEndInABackslash) {
  machine.CreateKey(kBase);
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_LOCAL_MACHINE, u"Software\\KestrelbayContract\\"));
}

TEST_F(RegistryKeys, KeysBelowTheLongestPathOpenOnlyPartByPart) {
  std::u16string below = kBelowRoot;
  while (below.size() < 32'768) below += u"\\" + std::u16string(250, u'k');
  machine.CreateKey(u"HKEY_LOCAL_MACHINE\\" + below);
  // Windows refuses the long path. Wine cuts it and finds no key there.
  const LSTATUS refusal = tests::RunsOnWine() ? status::kFileNotFound : status::kPathTooLong;
  EXPECT_EQ(refusal, StatusOfOpen(HKEY_LOCAL_MACHINE, below.c_str()));
  EXPECT_EQ(refusal, RegDeleteKeyW(HKEY_LOCAL_MACHINE, below.c_str()));
  const auto half = below.find(u'\\', 16'000);
  const HKEY above = Open(HKEY_LOCAL_MACHINE, below.substr(0, half).c_str());
  EXPECT_EQ(status::kSuccess, RegDeleteKeyW(above, below.substr(half + 1).c_str()));
}

TEST_F(RegistryKeys, ViewsAreSeparateBelowSoftware) {
  machine.CreateKey({kBase + std::u16string(u"\\Only32"), View::Bits32});
  machine.CreateKey({kBase + std::u16string(u"\\Only64"), View::Bits64});
  using Names32 = std::vector<std::u16string>;
  EXPECT_EQ(Names32{u"Only32"}, Names(Open(HKEY_LOCAL_MACHINE, kBelowRoot, KEY_READ | KEY_WOW64_32KEY)));
  EXPECT_EQ(Names32{u"Only64"}, Names(Open(HKEY_LOCAL_MACHINE, kBelowRoot, KEY_READ | KEY_WOW64_64KEY)));
  EXPECT_EQ(Names32{u"Only64"}, Names(Open(HKEY_LOCAL_MACHINE, kBelowRoot)));
}

TEST_F(RegistryKeys, The32BitViewIsBelowWow6432Node) {
  machine.CreateKey({kBase, View::Bits32});
  EXPECT_EQ(status::kFileNotFound, StatusOfOpen(HKEY_LOCAL_MACHINE, kBelowRoot));
  const auto* stored = u"Software\\Wow6432Node\\KestrelbayContract";
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_LOCAL_MACHINE, stored));
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_LOCAL_MACHINE, stored, KEY_READ | KEY_WOW64_32KEY));
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_LOCAL_MACHINE, stored, KEY_READ | KEY_WOW64_64KEY));
}

TEST_F(RegistryKeys, AKeyOfAViewOpensItsSubkeysInThatView) {
  machine.CreateKey({kBase + std::u16string(u"\\Child"), View::Bits32});
  const HKEY base = Open(HKEY_LOCAL_MACHINE, kBelowRoot, KEY_READ | KEY_WOW64_32KEY);
  EXPECT_EQ(status::kSuccess, StatusOfOpen(base, u"Child", KEY_READ | KEY_WOW64_32KEY));
  EXPECT_EQ(status::kSuccess, StatusOfOpen(base, u"Child"));
}

TEST_F(RegistryKeys, AKeyOfBothViewsOpensThe32BitViewOnRequest) {
  machine.CreateKey({std::u16string(kBase) + u"\\Narrow", View::Bits32});
  machine.CreateKey({kBase, View::Bits64});
  const HKEY software = Open(HKEY_LOCAL_MACHINE, u"Software", KEY_READ | KEY_WOW64_64KEY);
  const char16_t* const path = u"KestrelbayContract\\Narrow";
  EXPECT_EQ(status::kFileNotFound, StatusOfOpen(software, path, KEY_READ | KEY_WOW64_64KEY));
  // Wine 8 uses the view only when a predefined key is the parent.
  EXPECT_EQ(!tests::RunsOnWine(),
            StatusOfOpen(software, path, KEY_READ | KEY_WOW64_32KEY) == status::kSuccess);
  const HKEY narrow = Open(HKEY_LOCAL_MACHINE, u"Software", KEY_READ | KEY_WOW64_32KEY);
  EXPECT_EQ(status::kSuccess, StatusOfOpen(narrow, path, KEY_READ | KEY_WOW64_64KEY))
      << "there is no way back";
  EXPECT_EQ(status::kFileNotFound, StatusOfOpen(narrow, u"Wow6432Node\\KestrelbayContract"));
}

TEST_F(RegistryKeys, ViewsShareKeysOutsideSoftware) {
  machine.CreateKey(u"HKEY_LOCAL_MACHINE\\System\\KestrelbayContract");
  const auto* path = u"System\\KestrelbayContract";
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_LOCAL_MACHINE, path, KEY_READ | KEY_WOW64_32KEY));
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_LOCAL_MACHINE, path, KEY_READ | KEY_WOW64_64KEY));
}

TEST_F(RegistryKeys, ViewsShareUninstallKeysOfUsers) {
  const std::u16string below =
      u"S-1-5-21-7-7-7-7777\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App";
  machine.CreateKey(u"HKEY_USERS\\" + below);
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_USERS, below.c_str(), KEY_READ | KEY_WOW64_32KEY));
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_USERS, below.c_str(), KEY_READ | KEY_WOW64_64KEY));
}

TEST_F(RegistryKeys, ViewsShareClasses) {
  machine.CreateKey(u"HKEY_LOCAL_MACHINE\\Software\\Classes\\KestrelbayContract");
  const auto* path = u"Software\\Classes\\KestrelbayContract";
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_LOCAL_MACHINE, path, KEY_READ | KEY_WOW64_64KEY));
  // In Wine the views differ here, as in Windows before 7.
  EXPECT_EQ(!tests::RunsOnWine(),
            StatusOfOpen(HKEY_LOCAL_MACHINE, path, KEY_READ | KEY_WOW64_32KEY) == status::kSuccess);
}

TEST_F(RegistryKeys, SubkeysAreSortedIgnoringCase) {
  const std::vector<std::u16string> expected = {u"!x", u"-a",  u"0",   u"10", u"2", u"A",  u"aa", u"AB",
                                                u"b",  u"B c", u"{1}", u"~",  u"É", u"éa", u"Éb", u"ω"};
  MakeInReverse(expected);
  EXPECT_EQ(expected, Names(Open(HKEY_LOCAL_MACHINE, kBelowRoot)));
}

TEST_F(RegistryKeys, SubkeysAreSortedByTheirUpperCase) {
  // '[' to '`' are after the letters. Sharp s, dotless i and the final sigma have no upper case. The upper
  // case of y with diaeresis is U+0178. Wine compares the lower-case characters.
  const std::vector<std::u16string> expected = {u"a",      u"b",      u"[", u"_",  u"_a", u"É", u"ß",
                                                u"\u0130", u"\u0131", u"ÿ", u"σa", u"Σb", u"ςc"};
  MakeInReverse(expected);
  const auto names = Names(Open(HKEY_LOCAL_MACHINE, kBelowRoot));
  EXPECT_EQ(!tests::RunsOnWine(), expected == names);
  EXPECT_TRUE(std::is_permutation(expected.begin(), expected.end(), names.begin(), names.end()));
}

TEST_F(RegistryKeys, AFinalSigmaIsASeparateLetter) {
  MakeInReverse({u"\u03c2", u"\u03a3"});
  EXPECT_EQ(2u, Names(Open(HKEY_LOCAL_MACHINE, kBelowRoot)).size());
  EXPECT_EQ(status::kSuccess, StatusOfOpen(Open(HKEY_LOCAL_MACHINE, kBelowRoot), u"\u03c3"));
}

TEST_F(RegistryKeys, LettersWhoseCapitalsUnicodeAddedLaterAreSeparateNames) {
  // Georgian, Cherokee, late Latin, Coptic and Cyrillic. Wine has a later Unicode, in which each pair is one
  // letter.
  for (const auto& [small, capital] :
       {std::pair{u"\u10d0", u"\u1c90"}, std::pair{u"\u13f8", u"\u13f0"}, std::pair{u"\uab70", u"\u13a0"},
        std::pair{u"\u0252", u"\u2c70"}, std::pair{u"\u2cec", u"\u2ceb"}, std::pair{u"\u0525", u"\u0524"}}) {
    MakeInReverse({capital});
    EXPECT_EQ(tests::RunsOnWine(),
              StatusOfOpen(Open(HKEY_LOCAL_MACHINE, kBelowRoot), small) == status::kSuccess);
  }
}

TEST_F(RegistryKeys, AUserHiveMadeForTheTestIsListed) {
  machine.CreateKey(u"HKEY_USERS\\S-1-5-21-7-7-7-7777\\Software");
  const auto names = Names(HKEY_USERS);
  EXPECT_EQ(1, std::count(names.begin(), names.end(), u"S-1-5-21-7-7-7-7777"));
}

TEST_F(RegistryKeys, TheEndOfSubkeysIsReportedEvenWithoutSubkeys) {
  machine.CreateKey(kBase);
  std::u16string name;
  EXPECT_EQ(status::kNoMoreItems, NameAt(Open(HKEY_LOCAL_MACHINE, kBelowRoot), 0, 260, name));
  machine.CreateKey(std::u16string(kBase) + u"\\One");
  EXPECT_EQ(status::kSuccess, NameAt(Open(HKEY_LOCAL_MACHINE, kBelowRoot), 0, 260, name));
  EXPECT_EQ(status::kNoMoreItems, NameAt(Open(HKEY_LOCAL_MACHINE, kBelowRoot), 1, 260, name));
}

TEST_F(RegistryKeys, ANameThatDoesNotFitIsRefusedAndTheNextIndexWorks) {
  for (const auto* name : {u"\\abc", u"\\abcd", u"\\ac"}) machine.CreateKey(std::u16string(kBase) + name);
  const HKEY base = Open(HKEY_LOCAL_MACHINE, kBelowRoot);
  std::u16string name;
  EXPECT_EQ(status::kSuccess, NameAt(base, 0, 4, name));
  EXPECT_EQ(u"abc", name);
  EXPECT_EQ(status::kMoreData, NameAt(base, 1, 4, name));
  EXPECT_EQ(status::kSuccess, NameAt(base, 2, 4, name));
  EXPECT_EQ(u"ac", name);
}

TEST_F(RegistryKeys, ANameOf255CharactersFits) {
  const std::u16string longest(255, u'n');
  machine.CreateKey(kBase + std::u16string(u"\\") + longest);
  std::u16string name;
  EXPECT_EQ(status::kSuccess, NameAt(Open(HKEY_LOCAL_MACHINE, kBelowRoot), 0, 260, name));
  EXPECT_EQ(longest, name);
}

TEST_F(RegistryKeys, LastWriteTimeOfAKeyIsReported) {
  machine.SetNumber(kBase, u"Value", 1);
  const HKEY base = Open(HKEY_LOCAL_MACHINE, kBelowRoot);
  FILETIME time = {};
  EXPECT_EQ(status::kSuccess, RegQueryInfoKeyW(base, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                               nullptr, nullptr, nullptr, nullptr, &time));
  const auto told = std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
  EXPECT_EQ(machine.LastWriteTime(kBase), told);
  constexpr std::uint64_t kStartOf2020 = 132223104000000000;
  EXPECT_GT(told, kStartOf2020);
}

TEST_F(RegistryKeys, AKeyIsDeletedOnlyWithoutSubkeys) {
  machine.SetNumber(std::u16string(kBase) + u"\\Leaf", u"Value", 1);
  EXPECT_EQ(status::kAccessDenied, RegDeleteKeyW(HKEY_LOCAL_MACHINE, kBelowRoot));
  EXPECT_TRUE(machine.HasKey(std::u16string(kBase) + u"\\Leaf"));
  EXPECT_EQ(status::kSuccess, RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"Software\\KestrelbayContract\\Leaf"));
  EXPECT_EQ(status::kSuccess, RegDeleteKeyW(HKEY_LOCAL_MACHINE, kBelowRoot));
  EXPECT_FALSE(machine.HasKey(kBase));
}

TEST_F(RegistryKeys, DeletingAMissingKeyIsNotFound) {
  EXPECT_EQ(status::kFileNotFound, RegDeleteKeyW(HKEY_LOCAL_MACHINE, kBelowRoot));
}

TEST_F(RegistryKeys, DeletingActsInTheNativeView) {
  machine.CreateKey({kBase, View::Bits32});
  EXPECT_EQ(status::kFileNotFound, RegDeleteKeyW(HKEY_LOCAL_MACHINE, kBelowRoot));
  EXPECT_EQ(status::kSuccess,
            RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"Software\\Wow6432Node\\KestrelbayContract"));
  EXPECT_FALSE(machine.HasKey({kBase, View::Bits32}));
}

TEST_F(RegistryKeys, AChangeOfAValueOrSubkeyWritesTheKey) {
  constexpr DWORD kLongerThanATickOfTheClockMs = 50;
  const std::u16string leaf = std::u16string(kBase) + u"\\Leaf";
  const auto expectWritten = [&](const char* what, const auto& change) {
    const auto before = machine.LastWriteTime(kBase);
    Sleep(kLongerThanATickOfTheClockMs);
    change();
    EXPECT_GT(machine.LastWriteTime(kBase), before) << what;
  };
  machine.CreateKey(kBase);
  expectWritten("a new value", [&] { machine.SetNumber(kBase, u"Value", 1); });
  expectWritten("a changed value", [&] { machine.SetNumber(kBase, u"Value", 2); });
  expectWritten("a new subkey", [&] { machine.CreateKey(leaf); });
  expectWritten("a deleted subkey", [&] {
    EXPECT_EQ(status::kSuccess, RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"Software\\KestrelbayContract\\Leaf"));
  });
}

TEST_F(RegistryKeys, TheHandleOfADeletedKeyReturnsKeyDeleted) {
  machine.SetNumber(kBase, u"Value", 1);
  const HKEY base = Open(HKEY_LOCAL_MACHINE, kBelowRoot);
  ASSERT_EQ(status::kSuccess, RegDeleteKeyW(HKEY_LOCAL_MACHINE, kBelowRoot));
  std::u16string name;
  EXPECT_EQ(status::kKeyDeleted, NameAt(base, 0, 260, name));
  EXPECT_EQ(status::kKeyDeleted, RegQueryValueExW(base, u"Value", nullptr, nullptr, nullptr, nullptr));
  FILETIME time = {};
  EXPECT_EQ(status::kKeyDeleted, RegQueryInfoKeyW(base, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                  nullptr, nullptr, nullptr, nullptr, &time));
  EXPECT_EQ(0u, time.dwLowDateTime);
  EXPECT_EQ(0u, time.dwHighDateTime);
}

TEST_F(RegistryKeys, AClosedHandleIsInvalid) {
  machine.CreateKey(kBase);
  HKEY base = nullptr;
  ASSERT_EQ(status::kSuccess, RegOpenKeyExW(HKEY_LOCAL_MACHINE, kBelowRoot, 0, KEY_READ, &base));
  EXPECT_EQ(status::kSuccess, RegCloseKey(base));
  std::u16string name;
  EXPECT_EQ(status::kInvalidHandle, RegCloseKey(base));
  EXPECT_EQ(status::kInvalidHandle, NameAt(base, 0, 260, name));
  EXPECT_EQ(status::kInvalidHandle, RegQueryValueExW(base, u"Value", nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(status::kInvalidHandle, StatusOfOpen(base, u"Child"));
}

TEST_F(RegistryKeys, ClosingAPredefinedKeyLeavesItUsable) {
  machine.CreateKey(u"HKEY_CURRENT_USER\\Software\\KestrelbayContract");
  for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS}) {
    EXPECT_EQ(status::kSuccess, RegCloseKey(root));
    EXPECT_EQ(status::kSuccess, RegCloseKey(root));
    EXPECT_FALSE(Names(root).empty());
  }
  EXPECT_EQ(status::kSuccess, StatusOfOpen(HKEY_CURRENT_USER, kBelowRoot));
}

}  // namespace
}  // namespace platform
