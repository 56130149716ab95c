// The keys and values that a capture reads, its access rights, and its notes about what it cannot read.
#include "capture/RegistryCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulated/directory/CurrentMachine.h"

namespace capture {
namespace {

using simulated::Faults;
using simulated::Machine;
using simulated::UseMachine;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

const std::u16string kUninstall =
    u"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";

std::string Narrow(std::u16string_view text) { return {text.begin(), text.end()}; }

class RegistryCaptureTest : public testing::Test {
 protected:
  RegistryCaptureTest() : machine(UseMachine(std::make_unique<Machine>())) {
    machine.registry.SetText(kUninstall + u"\\App", u"DisplayName", u"App");
    machine.registry.SetText(kUninstall + u"\\App", u"Version", u"1");
  }
  /** Every key that was opened is closed. */
  ~RegistryCaptureTest() override { EXPECT_EQ(machine.OpenKeys(), 0U); }

  void Capture() {
    captured = {};
    captured.userSid = machine.registry.User();
    RegistryCapture(captured, [] {}).Run();
  }

  std::vector<std::string> Notes() const {
    std::vector<std::string> notes;
    for (const CapturedNote& note : captured.notes) notes.push_back(Narrow(note.Line()));
    return notes;
  }

  const CapturedKey* Find(const std::u16string& path) const {
    for (const CapturedKey& key : captured.keys)
      if (key.path == path) return &key;
    return nullptr;
  }

  Machine& machine;
  CapturedMachine captured;
};

TEST_F(RegistryCaptureTest, OpensWithTheRightsOfTheLibraryAndOnlyReads) {
  machine.journal.Start();
  Capture();
  machine.journal.Stop();
  std::size_t opens = 0;
  for (const simulated::JournalCall& call : machine.journal.Calls()) {
    EXPECT_THAT(call.name, testing::AnyOf("RegOpenKeyExW", "RegCloseKey", "RegEnumKeyExW", "RegEnumValueW",
                                          "RegQueryValueExW", "RegQueryInfoKeyW"));
    if (call.name != "RegOpenKeyExW") continue;
    ++opens;
    EXPECT_THAT(call.arguments, MatchesRegex(".*, 0x20[0123]19"));
  }
  EXPECT_GT(opens, 10U);
}

TEST_F(RegistryCaptureTest, NotesNothingIfEverythingCanBeRead) {
  Capture();
  EXPECT_THAT(Notes(), IsEmpty());
  ASSERT_TRUE(Find(kUninstall + u"\\App"));
  EXPECT_EQ(Find(kUninstall + u"\\App")->values.size(), 2U);
}

TEST_F(RegistryCaptureTest, NotesAnUnreadableValueAndCapturesTheOthers) {
  machine.faults.FailNth(1, Faults::Extent::Once, "RegEnumValueW");
  Capture();
  EXPECT_TRUE(machine.faults.Fired());
  EXPECT_THAT(Notes(), ElementsAre(HasSubstr("a value cannot be read (error 1450)")));
  EXPECT_TRUE(Find(kUninstall + u"\\App"));
}

TEST_F(RegistryCaptureTest, SkipsTheValuesAndContinuesIfNoValueCanBeRead) {
  machine.faults.FailNth(1, Faults::Extent::Onwards, "RegEnumValueW");
  Capture();
  ASSERT_TRUE(Find(kUninstall + u"\\App"));
  EXPECT_THAT(Find(kUninstall + u"\\App")->values, IsEmpty());
}

TEST_F(RegistryCaptureTest, NotesAKeyThatIsDeletedBetweenListingAndOpening) {
  // Deletes the application's key after it was listed and before it is opened.
  RegistryCapture(captured, [this] {
    const bool isListed = Find(kUninstall) != nullptr;
    if (isListed) machine.registry.RemoveKey(kUninstall + u"\\App");
  }).Run();
  EXPECT_THAT(Notes(), testing::Contains(HasSubstr("\\App: was deleted while the machine was read")));
  EXPECT_FALSE(Find(kUninstall + u"\\App"));
}

TEST_F(RegistryCaptureTest, NotesADeniedKeyAndListsIt) {
  machine.registry.Deny(kUninstall + u"\\App", 0x1);
  Capture();
  EXPECT_THAT(Notes(), ElementsAre(HasSubstr("\\App: access denied")));
  ASSERT_TRUE(Find(kUninstall + u"\\App"));
  EXPECT_TRUE(Find(kUninstall + u"\\App")->isDenied);
}

TEST_F(RegistryCaptureTest, NotesAndOmitsAKeyWithALineEndInItsName) {
  machine.registry.CreateKey(kUninstall + u"\\Two\nlines");
  Capture();
  EXPECT_THAT(Notes(), ElementsAre(HasSubstr("line end in its name")));
}

TEST_F(RegistryCaptureTest, NotesASubkeyThatCannotBeListed) {
  machine.faults.FailNth(1, Faults::Extent::Once, "RegEnumKeyExW");
  Capture();
  EXPECT_THAT(Notes(), ElementsAre(HasSubstr("a subkey cannot be listed (error 1450)")));
}

TEST_F(RegistryCaptureTest, CapturesALongValueCompletely) {
  const std::vector<std::uint8_t> bytes(100000, 7);
  machine.registry.SetValue(kUninstall + u"\\App", u"Blob", 3, bytes);
  Capture();
  ASSERT_TRUE(Find(kUninstall + u"\\App"));
  EXPECT_EQ(Find(kUninstall + u"\\App")->values.back().bytes, bytes);
}

// After any failure the capture ends and closes its keys.
TEST_F(RegistryCaptureTest, EndsAndClosesItsKeysAfterEveryFailure) {
  for (const Faults::Extent extent : {Faults::Extent::Once, Faults::Extent::Onwards}) {
    for (std::size_t n = 1;; ++n) {
      machine.faults.FailNth(n, extent);
      Capture();
      const bool fired = machine.faults.Fired();
      machine.faults.Clear();
      EXPECT_EQ(machine.OpenKeys(), 0U) << "call " << n;
      if (!fired) break;
    }
  }
}

TEST_F(RegistryCaptureTest, EndsIfPollThrows) {
  struct Stop {};
  EXPECT_THROW(RegistryCapture(captured, [] { throw Stop(); }).Run(), Stop);
}

}  // namespace
}  // namespace capture
