#include "inventory/Scan.h"

#include <utility>

namespace kestrelbay {

std::unique_ptr<RegistryKey> Scan::OpenScanRoot(ScanRoot scanRoot, const RegistryKey& root,
                                                const std::u16string& path, RegistryView view) const {
  platform::LSTATUS status = 0;
  auto key = OpenKeyInView(root, path, view, &status);
  Notify(ScanRootTried{scanRoot, {root, path, view, status}});
  return key;
}

std::unique_ptr<RegistryKey> Scan::OpenEntryKey(const RegistryKey& parent, const std::u16string& path,
                                                RegistryView view) const {
  platform::LSTATUS status = 0;
  auto key = OpenKeyInView(parent, path, view, &status);
  Notify(KeyTried{parent, path, view, status});
  return key;
}

std::u16string Scan::ReadRuleValue(const RegistryKey& key, const char16_t* name) const {
  std::u16string text;
  ValueFound found;
  ReadRegistryValue(key, name, text, &found);
  Notify(ValueRead{key, name, text, found, std::nullopt});
  return text;
}

void Scan::ReadField(std::u16string& text, AppField field, const RegistryKey& key,
                     const char16_t* name) const {
  // Reads even if the field has a text already, so that every scan makes the same calls.
  std::u16string value;
  ValueFound found;
  ReadRegistryValue(key, name, value, &found);
  const bool isTaken = text.empty() && !value.empty();
  Notify(ValueRead{key, name, value, found, isTaken ? std::optional(field) : std::nullopt});
  if (isTaken) text = std::move(value);
}

void Scan::CopyKeyOrigin(InstalledAppInfo& app, const RegistryKey& key) const {
  app.rootKeyStr = key.rootName;
  app.subKeyPath = key.path;  // without Wow6432Node: to open it again takes the view, too
  app.architecture = key.view;
  Notify(KeyTaken{key});
}

void Scan::AddOrMergeApp(InstalledAppInfo record) {
  // Only the first record of the name counts. A later one that would agree is never compared.
  const auto found = appsByName_.find(record.DisplayName);
  const AppRecord* const earlier = found == appsByName_.end() ? nullptr : &*found->second.front();
  Agreement agreement;
  if (earlier) agreement = CompareAndFill(record, *earlier);
  const AppRecords::Iterator added = apps_.Append(record);
  // The key is a text of the list, which keeps it even if the record is erased.
  auto& sameName = earlier ? found->second : appsByName_[added->DisplayName];
  sameName.push_back(added);
  // Before the erase, because the event refers to the earlier record.
  Notify(RecordAdded{*added, earlier, agreement});
  if (!earlier || agreement.disagreement) return;
  apps_.Erase(sameName.front());
  sameName.pop_front();
}

}  // namespace kestrelbay
