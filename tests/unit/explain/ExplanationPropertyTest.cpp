#include <gtest/gtest.h>

#include <algorithm>

#include "NaiveInventory.h"
#include "RandomRegistry.h"
#include "explain/Explanation.h"
#include "support/RenderedRegistry.h"

namespace kestrelbay {
namespace {

const std::u16string kUninstall = u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const std::u16string kUserData = u"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";

const PlainKey* Open(const PlainKey& root, const std::u16string& path) {
  const PlainKey* const key = root.Find(path);
  return key && !key->denied ? key : nullptr;
}

/** The places and entries that a scan reads, counted without a scan. */
std::size_t CountKeys(const PlainRegistry& registry) {
  if (!Open(registry.machine, u"Software\\Classes\\Installer\\Products")) return 1;
  // The products key, the uninstall keys of the machine, and the hive of the current user, which has neither
  // path.
  std::size_t count = 1 + 2 + 2;
  for (const PlainKey* machine : {&registry.machine32, &registry.machine}) {
    if (const PlainKey* uninstall = Open(*machine, kUninstall)) count += uninstall->subKeys.size();
  }
  for (const PlainKey& hive : registry.users.subKeys) {
    count += 2;
    if (const PlainKey* uninstall = Open(hive, kUninstall)) count += uninstall->subKeys.size();
    // Each hive with products is also searched in both views of UserData, and these are places too.
    if (const PlainKey* products = Open(hive, u"Software\\Microsoft\\Installer\\Products")) {
      count += 2 * (1 + products->subKeys.size());
    }
  }
  return count;
}

std::u16string Wide(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

/** The value in the source that an explanation names for a field, as the record would have it. */
std::string ReadSource(const PlainRegistry& registry, AppField field, const FieldSource& source) {
  if (field == AppField::RegistryKey) return source.key.root + '\\' + source.key.path;
  if (field == AppField::Architecture) return std::to_string(source.key.view);
  const PlainKey& root = source.key.root == "HKEY_USERS" ? registry.users
                         : source.key.view == k32BitView ? registry.machine32
                                                         : registry.machine;
  const PlainKey* const key = root.Find(Wide(source.key.path));
  if (!key) return "no such key";
  return Utf8(field == AppField::LastWriteTime ? LastWriteTimeNaively(*key)
                                               : ReadNaively(*key, Wide(source.value)));
}

std::vector<std::string> Texts(const ExplainedRecord& record) {
  std::vector<std::string> texts;
  std::ranges::transform(record.fields, std::back_inserter(texts), &ExplainedField::text);
  return texts;
}

std::vector<std::string> Texts(const InstalledAppInfo& app) {
  return {Utf8(app.DisplayName),
          Utf8(app.InstallLocation),
          Utf8(app.DisplayVersion),
          Utf8(app.UninstallString),
          Utf8(app.rootKeyStr + u'\\' + app.subKeyPath),
          std::to_string(app.architecture),
          Utf8(app.DisplayIcon),
          Utf8(app.InstallDate),
          Utf8(app.LastWriteTime)};
}

void CheckSources(const PlainRegistry& registry, const Explanation& explanation) {
  for (const ExplainedRecord& record : explanation.records) {
    for (std::size_t field = 0; field < kAppFieldCount; ++field) {
      const ExplainedField& explained = record.fields[field];
      ASSERT_EQ(explained.source.has_value(), !explained.text.empty()) << "field " << field;
      if (!explained.source) continue;
      EXPECT_EQ(ReadSource(registry, static_cast<AppField>(field), *explained.source), explained.text);
    }
  }
}

std::size_t Count(const Explanation& explanation, Fate fate) {
  return static_cast<std::size_t>(std::ranges::count(explanation.keys, fate, &ExplainedKey::fate));
}

TEST(ExplanationProperty, OfRandomRegistriesAccountsForEachKeyAndRecord) {
  std::size_t merged = 0;
  std::size_t leftOut = 0;
  std::size_t unread = 0;
  for (std::uint32_t seed = 0; seed < 1000; ++seed) {
    RandomRegistry random(seed);
    PlainRegistry registry = random.Make();
    random.DenySome(registry);
    simulated::Machine& machine = UseMachineWith(registry);
    const Explanation explanation = ExplainInstalledApps();
    SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + Describe(registry));
    ASSERT_EQ(machine.OpenKeys(), 0U);
    ASSERT_EQ(explanation.keys.size(), CountKeys(registry));
    const PlainRecords expected = ScanNaively(registry);
    ASSERT_EQ(explanation.records.size(), expected.size());
    ASSERT_EQ(Count(explanation, Fate::Listed), expected.size());
    for (std::size_t at = 0; at < expected.size(); ++at) {
      ASSERT_EQ(Texts(explanation.records[at]), Texts(expected[at]));
    }
    ASSERT_NO_FATAL_FAILURE(CheckSources(registry, explanation));
    merged += Count(explanation, Fate::Merged);
    leftOut += Count(explanation, Fate::LeftOut);
    unread += Count(explanation, Fate::Unread);
  }
  // A check of the test itself: each fate occurred often.
  EXPECT_GT(std::min({merged, leftOut, unread}), 100U);
}

}  // namespace
}  // namespace kestrelbay
