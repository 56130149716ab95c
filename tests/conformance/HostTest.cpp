#include "HostTest.h"

#include <algorithm>

namespace tests {

using kestrelbay::ReceivedEntry;

namespace {

std::vector<ReceivedEntry> ListAll(bool includeIcons) {
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  GetInstalledAppList(&entries, &count, includeIcons);
  EXPECT_NE(entries, nullptr);
  const std::vector<ReceivedEntry> received =
      kestrelbay::CopyEntries(entries, static_cast<std::int32_t>(count));
  ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
  EXPECT_EQ(entries, nullptr);
  return received;
}

/** Applications of others, without their icons. */
std::vector<ReceivedEntry> others;

bool IsOthers(ReceivedEntry entry) {
  const auto isSame = [&](const ReceivedEntry& other) {
    entry.iconText = other.iconText;
    return entry == other;
  };
  return std::ranges::any_of(others, isSame);
}

}  // namespace

void HideOthers() { others = ListAll(false); }

bool HostTest::Prepare(TestMachine& machine) {
  machine.CreateKey(kProducts);
  if (IsInUse()) {
    const kestrelbay::LogCapture unheard;
    HideOthers();
  } else {
    for (const KeyPath& key : machine.UninstallKeys()) machine.DeleteKey(key);
  }
  return true;
}

void HostTest::RequireNoOthers() {
  if (!others.empty()) throw NotOnThisMachine("the list has applications of others");
}

KeyPath HostTest::Entry(const std::u16string& name, const Values& values, View view) {
  const KeyPath key(kUninstall + u"\\" + name, view);
  SetTexts(key, values);
  return key;
}

KeyPath HostTest::UserEntry(const std::u16string& name, const Values& values) {
  const KeyPath key(kHive + u"\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + name);
  SetTexts(key, values);
  return key;
}

void HostTest::SetTexts(const KeyPath& key, const Values& values) {
  machine.CreateKey(key);
  for (const auto& [name, text] : values) machine.SetText(key, name, text);
}

std::vector<ReceivedEntry> List(bool includeIcons) {
  std::vector<ReceivedEntry> received = ListAll(includeIcons);
  std::erase_if(received, IsOthers);
  return received;
}

std::vector<std::string> HostTest::Names() {
  std::vector<std::string> names;
  for (const ReceivedEntry& entry : List()) names.push_back(entry.displayName);
  return names;
}

}  // namespace tests
