#include "inventory/Merge.h"

namespace kestrelbay {
namespace {

// Install date, write time and icon text take no part: a merged record has those of the new one.
enum class Comparison { Agrees, Fills, Disagrees };

bool IsGap(std::u16string_view text) { return text.empty(); }
// The default view is that of a user's hive, which does not say for which architecture an application is.
bool IsGap(RegistryView view) { return view == kDefaultView; }

// Two values disagree only if both are known: one entry often leaves out what the other one has.
template <class Value, class Earlier>
Comparison CompareOrFill(Value& value, const Earlier& earlier) {
  if (IsGap(earlier)) return Comparison::Agrees;
  if (!IsGap(value)) return value == earlier ? Comparison::Agrees : Comparison::Disagrees;
  value = earlier;
  return Comparison::Fills;
}

Comparison CompareUninstallStrings(InstalledAppInfo& record, const AppRecord& earlier) {
  if (record.UninstallString.empty()) return CompareOrFill(record.UninstallString, earlier.UninstallString);
  // By design compared with the version: two entries that both have an uninstall command stay two records.
  const bool agrees = earlier.UninstallString.empty() || record.UninstallString == earlier.DisplayVersion;
  return agrees ? Comparison::Agrees : Comparison::Disagrees;
}

// Root and path belong together, so both replace those of the record or neither does. The view of the record
// stays, by design, even if it is not the view of that path.
Comparison TakeKeyPath(InstalledAppInfo& record, const AppRecord& earlier) {
  if (earlier.rootKeyStr.empty() || earlier.subKeyPath.empty()) return Comparison::Agrees;
  record.rootKeyStr = earlier.rootKeyStr;
  record.subKeyPath = earlier.subKeyPath;
  return Comparison::Fills;
}

}  // namespace

Agreement CompareAndFill(InstalledAppInfo& record, const AppRecord& earlier) {
  Agreement agreement;
  const auto note = [&](AppField field, Comparison comparison) {
    if (comparison == Comparison::Fills) agreement.filled.set(static_cast<std::size_t>(field));
    if (comparison == Comparison::Disagrees) agreement.disagreement = field;
    return comparison != Comparison::Disagrees;
  };
  // The order matters: a field that was filled before the first disagreement stays filled.
  const bool agrees =
      note(AppField::Architecture, CompareOrFill(record.architecture, earlier.architecture)) &&
      note(AppField::DisplayIcon, CompareOrFill(record.DisplayIcon, earlier.DisplayIcon)) &&
      note(AppField::InstallLocation, CompareOrFill(record.InstallLocation, earlier.InstallLocation)) &&
      note(AppField::DisplayVersion, CompareOrFill(record.DisplayVersion, earlier.DisplayVersion)) &&
      note(AppField::UninstallString, CompareUninstallStrings(record, earlier));
  if (agrees) note(AppField::RegistryKey, TakeKeyPath(record, earlier));
  return agreement;
}

}  // namespace kestrelbay
