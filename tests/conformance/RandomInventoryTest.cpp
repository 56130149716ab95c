// Random registries on the machine under test: the list is what the rules, written out once more, make of
// them.
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

/** Each key and value on Wine is a call to another process. */
std::uint32_t SeedCount() { return RunsOnWine() ? 40 : 300; }

/** These texts hold neither quotes nor blanks, so that of an icon's path only the comma is to be cut off. */
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

/** A machine with nothing that a random registry could meet, for as long as one is on it. */
class RandomMachine {
 public:
  explicit RandomMachine(PlainRegistry& registry) {
    // The name of the system's folder differs between systems by case.
    machine.SetVariable(u"SystemRoot", u"C:\\Windows");
    Clear();
    ForEachRoot(registry, &RandomMachine::Put);
    ForEachRoot(registry, &RandomMachine::Date);
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

  /** Where a machine sets its times itself, the key gets the machine's. */
  void Date(const KeyPath& place, PlainKey& key) {
    if (!machine.SetLastWriteTime(place, key.lastWriteTime)) key.lastWriteTime = machine.LastWriteTime(place);
  }

  TestMachine machine;
};

TEST(RandomInventory, IsWhatTheRulesWrittenOutMakeOfIt) {
  const kestrelbay::LogCapture log;
  std::size_t records = 0;
  for (std::uint32_t seed = 0; seed < SeedCount(); ++seed) {
    PlainRegistry registry = kestrelbay::RandomRegistry(seed).Make();
    const RandomMachine machine(registry);
    const std::vector<ReceivedEntry> received = List();
    ASSERT_EQ(received, ListNaively(registry)) << "seed " << seed << "\n" << Describe(registry);
    records += received.size();
  }
  // The registries are worth comparing: neither mostly empty nor mostly filtered away.
  EXPECT_GT(records, SeedCount() * 2);
}

}  // namespace
}  // namespace tests
