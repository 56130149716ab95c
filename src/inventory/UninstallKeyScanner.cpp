#include "inventory/UninstallKeyScanner.h"

#include <algorithm>
#include <utility>

#include "base/CommonFunc.h"
#include "base/LoadTimeObjects.h"
#include "platform/RuntimeText.h"

namespace kestrelbay {
namespace {

constexpr std::size_t kGroupsOfProductCode = 5;
constexpr std::size_t kReversedGroups = 3;

// "KB" and exactly six digits are the whole name. Other names of updates count as applications, by design.
bool IsKnowledgeBaseName(std::u16string_view name) {
  constexpr std::size_t kDigits = 6;
  return name.size() == 2 + kDigits && name.starts_with(u"KB") &&
         std::ranges::all_of(name.substr(2), [](char16_t unit) { return unit >= u'0' && unit <= u'9'; });
}

void AppendReversed(std::u16string& packed, const std::u16string& group) {
  packed.append(group.rbegin(), group.rend());
}

// 1234 becomes 2143: the bytes of a GUID are written with their low digit first.
void AppendPairsSwapped(std::u16string& packed, const std::u16string& group) {
  for (std::size_t at = 0; at + 1 < group.size(); at += 2) packed.append({group[at + 1], group[at]});
}

// The last two groups are swapped in pairs, so their lengths must be even. The other lengths do not matter.
bool IsProductCode(const std::vector<std::u16string>& groups) {
  return groups.size() == kGroupsOfProductCode &&
         std::all_of(groups.begin() + kReversedGroups, groups.end(),
                     [](const std::u16string& group) { return group.size() % 2 == 0; });
}

// In this order: the verdict of an explanation is the first rule that rejects the entry.
Verdict JudgePlainEntry(const InstalledAppInfo& app, std::u16string_view publisher,
                        std::u16string_view subKeyName, std::u16string_view parentKeyName,
                        std::u16string_view releaseType) {
  if (app.UninstallString.empty()) return Verdict::NoUninstallString;
  if (app.DisplayName.empty()) return Verdict::NoName;
  if (publisher == ExcludedPublisher) return Verdict::PublisherExcluded;
  return JudgeUpdate(subKeyName, parentKeyName, releaseType);
}

Verdict ReadUninstallEntry(const RegistryKey& uninstallKey, const std::u16string& name, Scan& scan) {
  const auto subKey = scan.OpenEntryKey(uninstallKey, name, uninstallKey.view);
  if (!subKey) return Verdict::Unopened;
  if (IsFlagSet(scan.ReadRuleValue(*subKey, u"SystemComponent"))) return Verdict::SystemComponent;
  // Only this flag decides. Without it, an entry with a product code as its name is a plain entry.
  if (!IsFlagSet(scan.ReadRuleValue(*subKey, u"WindowsInstaller"))) {
    return ReadPlainUninstallEntry(*subKey, name, scan);
  }
  return ReadInstallerUninstallEntry(name, *subKey, scan);
}

}  // namespace

std::u16string PackProductCode(std::u16string_view productCode) {
  std::u16string bare(productCode);
  std::erase_if(bare, [](char16_t unit) { return unit == u'{' || unit == u'}'; });
  const std::vector<std::u16string> groups = SplitWide(bare, u'-');
  std::u16string packed;
  if (!IsProductCode(groups)) return packed;
  for (std::size_t at = 0; at < groups.size(); ++at) {
    if (at < kReversedGroups) {
      AppendReversed(packed, groups[at]);
    } else {
      AppendPairsSwapped(packed, groups[at]);
    }
  }
  return packed;
}

// The number 1 and not "any text but 0": the texts 01, +1 and 1x count too, but 2 and yes do not.
bool IsFlagSet(const std::u16string& text) { return !text.empty() && platform::_wtoi(text.c_str()) == 1; }

Verdict JudgeUpdate(std::u16string_view subKeyName, std::u16string_view parentKeyName,
                    std::u16string_view releaseType) {
  if (IsKnowledgeBaseName(subKeyName)) return Verdict::KnowledgeBaseName;
  if (!parentKeyName.empty()) return Verdict::HasParent;  // any text, even of a key that does not exist
  const bool isUpdate =
      releaseType == u"Security Update" || releaseType == u"Update Rollup" || releaseType == u"Hotfix";
  return isUpdate ? Verdict::UpdateRelease : Verdict::Accepted;
}

Verdict JudgeManagedEntry(const InstalledAppInfo& app, std::u16string_view publisher) {
  // Needs no uninstall command, because the installer can always remove it, and may be an update.
  if (app.DisplayName.empty()) return Verdict::NoName;
  return publisher == ExcludedPublisher ? Verdict::PublisherExcluded : Verdict::Accepted;
}

Verdict AddIfAccepted(Verdict verdict, const RegistryKey& key, InstalledAppInfo app, Scan& scan) {
  if (verdict != Verdict::Accepted) return verdict;
  scan.CopyKeyOrigin(app, key);
  scan.AddOrMergeApp(std::move(app));
  return verdict;
}

Verdict ReadPlainUninstallEntry(const RegistryKey& subKey, const std::u16string& subKeyName, Scan& scan) {
  InstalledAppInfo app;
  // All values are read in this order, even those of an entry that is rejected later.
  const std::u16string releaseType = scan.ReadRuleValue(subKey, u"ReleaseType");
  scan.ReadField(app.DisplayVersion, AppField::DisplayVersion, subKey, u"DisplayVersion");
  scan.ReadField(app.DisplayName, AppField::DisplayName, subKey, u"DisplayName");
  scan.ReadField(app.InstallLocation, AppField::InstallLocation, subKey, u"InstallLocation");
  scan.ReadField(app.DisplayIcon, AppField::DisplayIcon, subKey, u"DisplayIcon");
  scan.ReadField(app.InstallDate, AppField::InstallDate, subKey, u"InstallDate");
  ReadLastWriteTime(subKey, app.LastWriteTime);
  scan.ReadField(app.UninstallString, AppField::UninstallString, subKey, u"UninstallString");
  const std::u16string parentKeyName = scan.ReadRuleValue(subKey, u"ParentKeyName");
  const std::u16string publisher = scan.ReadRuleValue(subKey, u"Publisher");
  const Verdict verdict = JudgePlainEntry(app, publisher, subKeyName, parentKeyName, releaseType);
  return AddIfAccepted(verdict, subKey, std::move(app), scan);
}

Verdict ReadInstallerUninstallEntry(const std::u16string& subKeyName, const RegistryKey& subKey, Scan& scan) {
  InstalledAppInfo app;
  // Opening an empty code would open the products key itself.
  if (const std::u16string packedCode = PackProductCode(subKeyName); !packedCode.empty()) {
    if (const auto productKey = scan.OpenEntryKey(*scan.productsKey, packedCode, scan.productsKey->view)) {
      scan.ReadField(app.DisplayName, AppField::DisplayName, *productKey, u"ProductName");
      scan.ReadField(app.DisplayIcon, AppField::DisplayIcon, *productKey, u"ProductIcon");
    }
  }
  // Fill the gaps that the product key left: ReadField keeps the first text.
  scan.ReadField(app.DisplayName, AppField::DisplayName, subKey, u"DisplayName");
  scan.ReadField(app.DisplayVersion, AppField::DisplayVersion, subKey, u"DisplayVersion");
  scan.ReadField(app.InstallLocation, AppField::InstallLocation, subKey, u"InstallLocation");
  scan.ReadField(app.InstallDate, AppField::InstallDate, subKey, u"InstallDate");
  ReadLastWriteTime(subKey, app.LastWriteTime);
  scan.ReadField(app.DisplayIcon, AppField::DisplayIcon, subKey, u"DisplayIcon");
  const std::u16string publisher = scan.ReadRuleValue(subKey, u"Publisher");
  scan.ReadField(app.UninstallString, AppField::UninstallString, subKey, u"UninstallString");
  const Verdict verdict = JudgeManagedEntry(app, publisher);
  return AddIfAccepted(verdict, subKey, std::move(app), scan);
}

void ScanUninstallKey(const RegistryKey* uninstallKey, Scan& scan) {
  if (!uninstallKey) return;
  for (const std::u16string& name : ListSubKeyNames(*uninstallKey)) {
    scan.Notify(EntryBegun{ScanRoot::UninstallKey, *uninstallKey, name, uninstallKey->view});
    const Verdict verdict = ReadUninstallEntry(*uninstallKey, name, scan);
    scan.Notify(EntryJudged{verdict});
  }
}

}  // namespace kestrelbay
