// Random registries on the machine under test: the list must equal that of a second implementation of the
// rules.
#include <algorithm>
#include <optional>

#include "HostTest.h"
#include "NaiveInventory.h"
#include "RandomRegistry.h"

namespace tests {
namespace {

using kestrelbay::InstalledAppInfo;
using kestrelbay::PlainKey;
using kestrelbay::PlainRegistry;
using kestrelbay::PlainValue;
using kestrelbay::ReceivedEntry;
using kestrelbay::Utf8;

/** Under Wine, each key and each value costs a call to another process. */
std::uint32_t SeedCount() { return RunsOnWine() ? 40 : 300; }

/** The random texts have no quotes and no blanks, so normalising an icon path only cuts it at a comma. */
std::string IconTextOf(const std::u16string& displayIcon) {
  if (displayIcon.find(u".exe") != std::u16string::npos) return {};
  return Utf8(displayIcon.substr(0, displayIcon.find(u',')));
}

ReceivedEntry WithIcon(InstalledAppInfo app) {
  app.IconText = IconTextOf(app.DisplayIcon);
  return AsReceived(app);
}

std::vector<ReceivedEntry> ListNaively(const PlainRegistry& registry) {
  std::vector<ReceivedEntry> entries;
  std::ranges::transform(kestrelbay::ScanNaively(registry), std::back_inserter(entries), WithIcon);
  return entries;
}

/** Leaves out what a machine in use has itself: other users, and the key of all products. */
void KeepToNewKeys(PlainRegistry& registry) {
  const std::u16string user = u"S-1-5-21-1";
  std::erase_if(registry.users.subKeys, [&](const PlainKey& hive) { return hive.name != user; });
  for (PlainKey& hive : registry.users.subKeys) hive.name = kHive.substr(kHive.rfind(u'\\') + 1);
  registry.machine.At(kProducts.path.substr(kProducts.path.find(u'\\') + 1));
}

/** Removes all entries that a random registry could meet, while the object lives. */
class RandomMachine {
 public:
  explicit RandomMachine(PlainRegistry& registry) {
    // Systems write the name of the folder of Windows in different case.
    machine.SetVariable(u"SystemRoot", u"C:\\Windows");
    if (!IsInUse()) Clear();
    Fill(registry);
  }

 private:
  using Visit = void (RandomMachine::*)(const KeyPath& place, PlainKey& key);

  void Clear() {
    for (const KeyPath& key : machine.UninstallKeys()) machine.DeleteKey(key);
    for (const View view : {View::Bits32, View::Bits64}) machine.DeleteKey({kUserData, view});
    machine.DeleteKey(kProducts);
    for (const std::u16string& user : machine.SubKeyNames(u"HKEY_USERS")) {
      machine.DeleteKey(u"HKEY_USERS\\" + user + u"\\Software\\Microsoft\\Installer\\Products");
    }
  }

  void Fill(PlainRegistry& registry) {
    ForEachRoot(registry, &RandomMachine::Put);
    ForEachRoot(registry, &RandomMachine::Date);
  }

  void ForEachRoot(PlainRegistry& registry, Visit visit) {
    ForEachKey({u"HKEY_LOCAL_MACHINE", View::Bits64}, registry.machine, visit);
    ForEachKey({u"HKEY_LOCAL_MACHINE", View::Bits32}, registry.machine32, visit);
    ForEachKey({u"HKEY_USERS"}, registry.users, visit);
  }

  void ForEachKey(const KeyPath& place, PlainKey& key, Visit visit) {
    for (PlainKey& subKey : key.subKeys) {
      const KeyPath below(place.path + u"\\" + subKey.name, place.view);
      (this->*visit)(below, subKey);
      ForEachKey(below, subKey, visit);
    }
  }

  void Put(const KeyPath& place, PlainKey& key) {
    machine.CreateKey(place);
    for (const PlainValue& value : key.values) machine.SetValue(place, value.name, value.type, value.bytes);
  }

  /** Copies the time of the key from a machine that sets times itself. */
  void Date(const KeyPath& place, PlainKey& key) {
    if (!machine.SetLastWriteTime(place, key.lastWriteTime)) key.lastWriteTime = machine.LastWriteTime(place);
  }

  TestMachine machine;
};

TEST(RandomInventory, EqualsASecondImplementation) {
  const kestrelbay::LogCapture log;
  if (IsInUse()) HideOthers();
  std::size_t records = 0;
  for (std::uint32_t seed = 0; seed < SeedCount(); ++seed) {
    PlainRegistry registry = kestrelbay::RandomRegistry(seed).Make();
    if (IsInUse()) KeepToNewKeys(registry);
    const RandomMachine machine(registry);
    const std::vector<ReceivedEntry> received = List();
    const std::vector<ReceivedEntry> expected = ListNaively(registry);
    // The sort is not stable: applications of others change the order of those that have the same name.
    const bool isEqual = IsInUse() ? std::ranges::is_permutation(received, expected) : received == expected;
    ASSERT_TRUE(isEqual) << "seed " << seed << "\n"
                         << testing::PrintToString(received) << "\n"
                         << testing::PrintToString(expected) << "\n"
                         << Describe(registry);
    records += received.size();
  }
  // A check of the test itself: the registries are neither mostly empty nor mostly filtered out.
  // Those for a machine in use have fewer users.
  EXPECT_GT(records, IsInUse() ? SeedCount() : SeedCount() * 2);
}

}  // namespace
}  // namespace tests
