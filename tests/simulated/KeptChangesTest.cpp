// Changes to a machine directory last: each completely or not at all. Many changes are merged into one.
#include <gmock/gmock.h>

#include "MachineFolder.h"
#include "simulated/directory/GroupedChanges.h"
#include "simulated/machine/KeptChanges.h"

namespace simulated {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace fs = std::filesystem;

constexpr std::u16string_view kKey = u"HKEY_LOCAL_MACHINE\\Software\\K";
constexpr std::u16string_view kText = u"text\0"sv;
const std::span<const std::uint8_t> kBytes{reinterpret_cast<const std::uint8_t*>(kText.data()),
                                           kText.size() * 2};
constexpr platform::LSTATUS kWriteFault = 29;

class KeptChangesTest : public MachineFolder {
 protected:
  KeptChangesTest() { WriteRegistry("a.reg", "[HKEY_LOCAL_MACHINE\\Software\\K]\n\"first\"=\"1\"\n"); }

  std::vector<std::string> ChangeFiles() const {
    std::vector<std::string> names;
    for (const auto& [path, bytes] : Files())
      if (path.find('~') != path.npos) names.push_back(path);
    return names;
  }
  static platform::LSTATUS SetValue(Machine& machine, std::u16string_view name) {
    KeptMerger merger(machine);
    merger.OpenKey(kKey, {});
    merger.SetValue(name, 1, kBytes);
    return merger.Commit();
  }
  void MakeChanges(int count) {
    const auto machine = Open(Changes::Lasting);
    for (int i = 1; i < count; ++i)
      ASSERT_EQ(SetValue(*machine, u"value" + std::u16string(static_cast<std::size_t>(i), u'x')), 0);
    KeptMerger merger(*machine);
    merger.OpenKey(kKey, {});
    merger.DeleteValue(u"first");
    ASSERT_EQ(merger.Commit(), 0);
  }
  void ExpectChanged(int count, Changes changes) {
    const auto machine = Open(changes);
    Key& key = *machine->registry.Find(kKey);
    EXPECT_EQ(key.ValueCount(), static_cast<std::size_t>(count - 1));
    EXPECT_EQ(TextOf(*machine, kKey, u"VALUEX"), kText);
    EXPECT_EQ(TextOf(*machine, kKey, u"first"), u"(none)");
  }
};

TEST_F(KeptChangesTest, EachIsAFileOfItsOwnAtOnce) {
  const auto machine = Open(Changes::Lasting);
  ASSERT_EQ(SetValue(*machine, u"a"), 0);
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.reg"));
  ASSERT_EQ(SetValue(*machine, u"b"), 0);
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.reg", "registry/~change-00000002.reg"));
}

TEST_F(KeptChangesTest, ManyThatAreMadeAsOneAreOneFile) {
  {
    const auto machine = Open(Changes::Lasting);
    const auto change = [&] {
      ASSERT_EQ(SetValue(*machine, u"a"), 0);
      ASSERT_EQ(SetValue(*machine, u"b"), 0);
      EXPECT_THAT(ChangeFiles(), SizeIs(0));
    };
    ASSERT_EQ(GroupChanges(*machine, change), 0);
    EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.reg"));
    ASSERT_EQ(SetValue(*machine, u"c"), 0);
    EXPECT_THAT(ChangeFiles(), SizeIs(2));
  }
  const auto again = Open(Changes::Discarded);
  EXPECT_EQ(again->registry.Find(kKey)->ValueCount(), 4U);
}

TEST_F(KeptChangesTest, NothingThatIsMadeAsOneIsNoFile) {
  const auto machine = Open(Changes::Lasting);
  ASSERT_EQ(GroupChanges(*machine, [] {}), 0);
  EXPECT_THAT(ChangeFiles(), SizeIs(0));
}

TEST_F(KeptChangesTest, OneThatChangesFilesTooIsKeptByItself) {
  fs::create_directories(folder / "drives" / "C");
  const auto machine = Open(Changes::Lasting);
  const auto change = [&] {
    ASSERT_EQ(SetValue(*machine, u"a"), 0);
    ASSERT_EQ(KeptMerger(*machine).Commit({{u"C:\\new"}, {}}), 0);
    EXPECT_THAT(ChangeFiles(), SizeIs(1));
  };
  ASSERT_EQ(GroupChanges(*machine, change), 0);
  EXPECT_THAT(ChangeFiles(), SizeIs(2));
}

TEST_F(KeptChangesTest, ManyThatCannotBeWrittenAsOneFail) {
  Machine machine;
  machine.keeper = [](const ProgramChanges&) { return kWriteFault; };
  EXPECT_EQ(GroupChanges(machine, [&] { EXPECT_EQ(SetValue(machine, u"a"), 0); }), kWriteFault);
  EXPECT_EQ(SetValue(machine, u"b"), kWriteFault);
}

TEST_F(KeptChangesTest, OfADiscardedMachineAreMadeAsOneInMemory) {
  Machine machine;
  EXPECT_EQ(GroupChanges(machine, [&] { EXPECT_EQ(SetValue(machine, u"a"), 0); }), 0);
  EXPECT_EQ(machine.registry.Find(kKey)->ValueCount(), 1U);
}

TEST_F(KeptChangesTest, OfADiscardedMachineAreNotOnDisk) {
  const auto before = Files();
  const auto machine = Open(Changes::Discarded);
  ASSERT_EQ(SetValue(*machine, u"a"), 0);
  EXPECT_EQ(TextOf(*machine, kKey, u"a"), kText);
  EXPECT_EQ(Files(), before);
}

TEST_F(KeptChangesTest, MoreThan64BecomeOneOnlyWhereChangesLast) {
  MakeChanges(65);
  ASSERT_THAT(ChangeFiles(), SizeIs(65));
  ExpectChanged(65, Changes::Discarded);
  EXPECT_THAT(ChangeFiles(), SizeIs(65));
  ExpectChanged(65, Changes::Lasting);
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000065.reg"));
  ExpectChanged(65, Changes::Discarded);
}

TEST_F(KeptChangesTest, Of64NoneIsTouched) {
  MakeChanges(64);
  const auto before = Files();
  ExpectChanged(64, Changes::Lasting);
  EXPECT_EQ(Files(), before);
}

TEST_F(KeptChangesTest, ThoseLeftBehindByAnInterruptedFoldingSayTheSame) {
  MakeChanges(65);
  const auto all = Files();
  ExpectChanged(65, Changes::Lasting);
  for (const char* name : {"registry/~change-00000003.reg", "registry/~change-00000064.reg"})
    Write(name, all.at(name));
  ExpectChanged(65, Changes::Lasting);
}

TEST_F(KeptChangesTest, FoldingOfADamagedOneChangesNothing) {
  MakeChanges(65);
  Write("registry/~change-00000030.reg", "cut off");
  const auto before = Files();
  EXPECT_THROW(Open(Changes::Lasting), MachineError);
  EXPECT_EQ(Files(), before);
}

TEST_F(KeptChangesTest, ChangeThatCannotBeWrittenIsNotMade) {
  const auto machine = Open(Changes::Lasting);
  fs::create_directory(folder / "registry/~change-00000001.reg");
  const auto before = Files();
  EXPECT_EQ(SetValue(*machine, u"a"), kWriteFault);
  EXPECT_THAT(machine->WriteProblem(), HasSubstr((folder / "registry: cannot be written").string()));
  EXPECT_EQ(TextOf(*machine, kKey, u"a"), u"(none)");
  EXPECT_EQ(Files(), before);
}

TEST_F(KeptChangesTest, OneOperationIsOneFile) {
  const auto machine = Open(Changes::Lasting);
  KeptMerger merger(*machine);
  merger.OpenKey(u"HKEY_LOCAL_MACHINE\\Software\\New", {});
  merger.SetValue(u"a", 1, kBytes);
  merger.DeleteKey(kKey);
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\New"), nullptr);
  ASSERT_EQ(merger.Commit({{u"C:\\App\\a.exe"}, {}}), 0);
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.reg"));
  EXPECT_EQ(TextOf(*machine, u"HKEY_LOCAL_MACHINE\\Software\\New", u"a"), kText);
  EXPECT_EQ(machine->registry.Find(kKey), nullptr);
}

TEST_F(KeptChangesTest, LaterStatementsOfAnOperationSeeEarlierOnes) {
  const auto expectResult = [](Machine& machine) {
    EXPECT_EQ(machine.registry.Find(kKey)->ValueCount(), 1U);
    EXPECT_EQ(TextOf(machine, kKey, u"b"), kText);
  };
  {
    const auto machine = Open(Changes::Lasting);
    KeptMerger merger(*machine);
    merger.OpenKey(kKey, {});
    merger.SetValue(u"late", 1, kBytes);
    merger.DeleteKey(kKey);
    merger.OpenKey(kKey, {});
    merger.SetValue(u"a", 1, kBytes);
    merger.DeleteValue(u"first");
    merger.DeleteValue(u"a");
    merger.SetValue(u"b", 1, kBytes);
    ASSERT_EQ(merger.Commit(), 0);
    expectResult(*machine);
  }
  expectResult(*Open(Changes::Discarded));
}

TEST_F(KeptChangesTest, KeysAndValuesStayInTheOrderOfTheStatements) {
  const auto machine = Open(Changes::Lasting);
  machine->registry.ListAsMade();
  KeptMerger merger(*machine);
  merger.OpenKey(u"HKEY_LOCAL_MACHINE\\Software\\K\\z", {});
  merger.OpenKey(u"HKEY_LOCAL_MACHINE\\Software\\K\\a", {});
  merger.SetValue(u"y", 1, kBytes);
  merger.SetValue(u"b", 1, kBytes);
  ASSERT_EQ(merger.Commit(), 0);
  EXPECT_EQ(machine->registry.Find(kKey)->SubKeyAt(0).Name(), u"z");
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\K\\a")->ValueAt(0).name, u"y");
}

TEST_F(KeptChangesTest, OperationWithADeletionThatIsDeniedChangesNothing) {
  const auto machine = Open(Changes::Lasting);
  machine->registry.Deny(kKey, 0x10000);
  const auto before = Files();
  KeptMerger merger(*machine);
  merger.OpenKey(u"HKEY_LOCAL_MACHINE\\Software\\New", {});
  merger.DeleteKey(kKey);
  EXPECT_EQ(merger.Commit(), 5);
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\New"), nullptr);
  EXPECT_EQ(Files(), before);
}

class FileChangesTest : public KeptChangesTest {
 protected:
  FileChangesTest() { Write("drives/C/old.txt", "x"); }

  platform::LSTATUS Change(Machine& machine, FileChanges files) {
    KeptMerger merger(machine);
    merger.OpenKey(kKey, {});
    merger.SetValue(u"a", 1, kBytes);
    return merger.Commit(std::move(files));
  }
  /** Leaves the directory in the state of a process that was killed before it changed the files. */
  void LeavePending() {
    ASSERT_EQ(Change(*Open(Changes::Lasting), {{u"C:\\App\\new.exe"}, {u"C:\\OLD.txt"}}), 0);
    fs::rename(folder / "registry/~change-00000001.reg", folder / "registry/~change-00000001.pending");
    fs::remove_all(folder / "drives/C/App");
    Write("drives/C/old.txt", "x");
  }
};

TEST_F(FileChangesTest, LastWithTheRegistry) {
  ASSERT_EQ(Change(*Open(Changes::Lasting), {{u"C:\\App\\new.exe"}, {u"C:\\OLD.txt"}}), 0);
  EXPECT_TRUE(fs::exists(folder / "drives/C/App/new.exe"));
  EXPECT_FALSE(fs::exists(folder / "drives/C/old.txt"));
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.reg"));
}

TEST_F(FileChangesTest, OfAnEndedProcessAreFinishedByTheNext) {
  LeavePending();
  const auto machine = Open(Changes::Lasting);
  EXPECT_TRUE(fs::exists(folder / "drives/C/App/new.exe"));
  EXPECT_FALSE(fs::exists(folder / "drives/C/old.txt"));
  EXPECT_EQ(TextOf(*machine, kKey, u"a"), kText);
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.reg"));
}

TEST_F(FileChangesTest, OfAnEndedProcessAreSeenWithoutBeingMade) {
  LeavePending();
  const auto before = Files();
  const auto machine = Open(Changes::Discarded);
  EXPECT_TRUE(machine->drives.Exists(u"C:\\App\\new.exe"));
  EXPECT_FALSE(machine->drives.Exists(u"C:\\old.txt"));
  EXPECT_EQ(TextOf(*machine, kKey, u"a"), kText);
  EXPECT_EQ(Files(), before);
}

TEST_F(FileChangesTest, ThatCannotBeFinishedAreSeen) {
  LeavePending();
  Write("drives/C/App", "no folder");
  const auto before = Files();
  const auto machine = Open(Changes::Lasting);
  EXPECT_TRUE(machine->drives.Exists(u"C:\\App\\new.exe"));
  EXPECT_FALSE(machine->drives.Exists(u"C:\\old.txt"));
  EXPECT_EQ(Files(), before);
}

// The next process would finish the earlier operation after the later one.
TEST_F(FileChangesTest, WaitForEarlierOnesThatArePending) {
  LeavePending();
  Write("drives/C/App", "no folder");
  const auto machine = Open(Changes::Lasting);
  EXPECT_EQ(Change(*machine, {{u"C:\\old.txt"}, {}}), kWriteFault);
  EXPECT_THAT(machine->WriteProblem(),
              HasSubstr((folder / "drives/C/App/new.exe: cannot be written").string()));
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.pending"));
  fs::remove(folder / "drives/C/App");
  EXPECT_EQ(Change(*machine, {{u"C:\\old.txt"}, {}}), 0);
  EXPECT_TRUE(fs::exists(folder / "drives/C/App/new.exe"));
  EXPECT_TRUE(machine->drives.Exists(u"C:\\old.txt"));
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.reg", "registry/~change-00000002.reg"));
}

TEST_F(FileChangesTest, AreRefusedIfAnEarlierOneCannotBeReadAnyMore) {
  LeavePending();
  Write("drives/C/App", "no folder");
  const auto machine = Open(Changes::Lasting);
  const fs::path pending = folder / "registry/~change-00000001.pending";
  fs::remove(pending);
  EXPECT_EQ(Change(*machine, {{u"C:\\old.txt"}, {}}), kWriteFault);
  EXPECT_THAT(machine->WriteProblem(), HasSubstr(pending.string()));
  EXPECT_THAT(ChangeFiles(), ElementsAre());
}

TEST_F(FileChangesTest, FileThatCannotBeAddedUndoesTheOperation) {
  const auto machine = Open(Changes::Lasting);
  const auto before = Files();
  EXPECT_EQ(Change(*machine, {{u"C:\\App\\new.exe", u"C:\\old.txt\\below.exe"}, {u"C:\\old.txt"}}),
            kWriteFault);
  EXPECT_THAT(machine->WriteProblem(),
              HasSubstr((folder / "drives/C/old.txt/below.exe: cannot be written").string()));
  EXPECT_EQ(TextOf(*machine, kKey, u"a"), u"(none)");
  EXPECT_EQ(Files(), before);
}

TEST_F(FileChangesTest, PathWithALineEndIsRefused) {
  const auto machine = Open(Changes::Lasting);
  const auto before = Files();
  EXPECT_EQ(Change(*machine, {{u"C:\\a\r\n;Removes=C:\\old.txt"}, {}}), kWriteFault);
  EXPECT_EQ(Files(), before);
}

TEST_F(KeptChangesTest, KeyWithALineEndInItsNameCannotBeKept) {
  const auto machine = Open(Changes::Lasting);
  const auto before = Files();
  KeptMerger merger(*machine);
  merger.OpenKey(u"HKEY_LOCAL_MACHINE\\Software\\a\nb", {});
  EXPECT_EQ(merger.Commit(), kWriteFault);
  EXPECT_THAT(machine->WriteProblem(), HasSubstr("line end"));
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\a\nb"), nullptr);
  EXPECT_EQ(Files(), before);
}

TEST_F(KeptChangesTest, HalfWrittenOneOfAnEndedProcessIsNoChange) {
  Write("registry/~new-123.tmp", "Windows Regis");
  const auto machine = Open(Changes::Lasting);
  ASSERT_EQ(SetValue(*machine, u"a"), 0);
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.reg"));
}

}  // namespace
}  // namespace simulated
