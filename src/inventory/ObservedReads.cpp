#include "inventory/ObservedReads.h"

namespace kestrelbay {

std::unique_ptr<RegistryKey> OpenEntryKey(const ScanObserver* observer, const RegistryKey& parent,
                                          const std::u16string& path, RegistryView view) {
  platform::LSTATUS status = 0;
  auto key = OpenKeyInView(parent, path, view, &status);
  Notify(observer, KeyTried{parent, path, view, status});
  return key;
}

std::unique_ptr<RegistryKey> OpenScanRoot(const ScanObserver* observer, ScanRoot place,
                                          const RegistryKey& root, const std::u16string& path,
                                          RegistryView view) {
  platform::LSTATUS status = 0;
  auto key = OpenKeyInView(root, path, view, &status);
  Notify(observer, ScanRootTried{place, {root, path, view, status}});
  return key;
}

std::u16string ReadRuleValue(const ScanObserver* observer, const RegistryKey& key, const char16_t* name) {
  std::u16string text;
  ValueFound found;
  ReadRegistryValue(key, name, text, &found);
  Notify(observer, ValueRead{key, name, text, found, std::nullopt});
  return text;
}

void ReadField(const ScanObserver* observer, std::u16string& fieldText, AppField field,
               const RegistryKey& key, const char16_t* name) {
  std::u16string discarded;
  std::u16string& text = fieldText.empty() ? fieldText : discarded;
  ValueFound found;
  ReadRegistryValue(key, name, text, &found);
  const bool takes = &text == &fieldText && !text.empty();
  Notify(observer, ValueRead{key, name, text, found, takes ? std::optional(field) : std::nullopt});
}

void CopyKeyOrigin(const ScanObserver* observer, InstalledAppInfo& app, const RegistryKey& key) {
  app.rootKeyStr = key.rootName;
  app.subKeyPath = key.path;
  app.architecture = key.view;
  Notify(observer, KeyTaken{key});
}

}  // namespace kestrelbay
