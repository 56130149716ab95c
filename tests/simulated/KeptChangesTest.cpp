// Changes to a machine directory last: each whole or not at all, and of many one.
#include <gmock/gmock.h>

#include "MachineFolder.h"
#include "simulated/machine/KeptChanges.h"

namespace simulated {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::SizeIs;

namespace fs = std::filesystem;

constexpr std::u16string_view kKey = u"HKEY_LOCAL_MACHINE\\Software\\K";
constexpr std::u16string_view kText = u"text\0"sv;
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
    merger.SetValue(name, 1, {reinterpret_cast<const std::uint8_t*>(kText.data()), kText.size() * 2});
    return merger.Status();
  }
  void MakeChanges(int count) {
    const auto machine = Open(Changes::Lasting);
    for (int i = 1; i < count; ++i)
      ASSERT_EQ(SetValue(*machine, u"value" + std::u16string(static_cast<std::size_t>(i), u'x')), 0);
    KeptMerger merger(*machine);
    merger.OpenKey(kKey, {});
    merger.DeleteValue(u"first");
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
  EXPECT_EQ(TextOf(*machine, kKey, u"a"), u"(none)");
  EXPECT_EQ(Files(), before);
}

TEST_F(KeptChangesTest, KeyWithALineEndInItsNameCannotBeKept) {
  const auto machine = Open(Changes::Lasting);
  const auto before = Files();
  KeptMerger merger(*machine);
  merger.OpenKey(u"HKEY_LOCAL_MACHINE\\Software\\a\nb", {});
  EXPECT_EQ(merger.Status(), kWriteFault);
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\a\nb"), nullptr);
  EXPECT_EQ(Files(), before);
}

TEST_F(KeptChangesTest, HalfWrittenOneOfAnEndedProcessIsNoChange) {
  Write("registry/~change.tmp", "Windows Regis");
  const auto machine = Open(Changes::Lasting);
  ASSERT_EQ(SetValue(*machine, u"a"), 0);
  EXPECT_THAT(ChangeFiles(), ElementsAre("registry/~change-00000001.reg"));
}

}  // namespace
}  // namespace simulated
