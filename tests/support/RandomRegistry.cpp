#include "RandomRegistry.h"

namespace kestrelbay {
namespace {

using Names = std::vector<std::u16string>;

const std::u16string kUninstallPrefix = u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
const std::u16string kUserDataPrefix = u"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\";
const std::u16string kUserProductsPrefix = u"\\Software\\Microsoft\\Installer\\Products\\";
const std::u16string kProducts = u"Software\\Classes\\Installer\\Products";

constexpr std::uint64_t kFileTimeOf1970 = 116444736000000000;

/** Product codes with their packed form, and texts that only look like product codes. */
const Names kEntryNames = {u"{12345678-ABCD-EF01-2345-6789ABCDEF01}",
                           u"12345678-ABCD-EF01-2345-6789ABCDEF01",
                           u"{00000001-0002-0003-0405-060708090A0B}",
                           u"{a-b-c-dd-ee}",
                           u"{a-b-c-d-e}",
                           u"{no-guid}",
                           u"KB123456",
                           u"KB1234567",
                           u"kb123456",
                           u"App",
                           u"zeta"};
const Names kPackedCodes = {u"87654321DCBA10FE32547698BADCFE10", u"87654321dcba10fe32547698badcfe10",
                            u"1000000020003000405060708090A0B0", u"abcddee", u"odd"};
const Names kSids = {u"S-1-5-18", u"S-1-5-21-1", u"S-1-5-21-2", u"s-1-5-21-3"};
const Names kHives = {u".DEFAULT", u"S-1-5-20", u"S-1-5-21-1", u"S-1-5-21-1_Classes", u"S-1-5-21-2"};

}  // namespace

PlainRegistry RandomRegistry::Make() {
  PlainRegistry registry;
  if (!OneIn(20)) FillProducts(registry);
  FillUninstallKey(registry.machine, kUninstallPrefix, 5);
  FillUninstallKey(registry.machine32, kUninstallPrefix, 5);
  FillUserData(registry.machine);
  FillUserData(registry.machine32);
  for (const std::u16string& hive : kHives) {
    if (OneIn(2)) FillHive(registry.users, hive);
  }
  return registry;
}

void RandomRegistry::FillProducts(PlainRegistry& registry) {
  // Both views share it. A scan opens it in the default view.
  registry.machine.At(kProducts);
  for (auto count = random() % 3; count > 0; --count) {
    FillProduct(registry.machine.At(kProducts + u"\\" + Any(kPackedCodes)));
  }
}

void RandomRegistry::FillProduct(PlainKey& key) {
  SetMaybe(key, u"ProductName", {u"App", u"Product", u""}, 2);
  SetMaybe(key, u"ProductIcon", {u"product.ico", u"app.ico"}, 2);
}

void RandomRegistry::FillUninstallKey(PlainKey& root, const std::u16string& path, std::uint32_t mostEntries) {
  for (auto count = random() % mostEntries; count > 0; --count) {
    FillEntry(root.At(path + Any(kEntryNames)));
  }
}

void RandomRegistry::FillUserData(PlainKey& root) {
  if (OneIn(4)) return;
  for (const std::u16string& sid : kSids) {
    if (OneIn(2)) root.At(kUserDataPrefix + sid);
    for (auto count = random() % 3; count > 0; --count) {
      PlainKey& product = root.At(kUserDataPrefix + sid + u"\\Products\\" + Any(kPackedCodes));
      if (!OneIn(8)) FillEntry(product.At(u"InstallProperties"));
    }
  }
}

void RandomRegistry::FillHive(PlainKey& users, const std::u16string& hive) {
  users.At(hive);
  FillUninstallKey(users, hive + u"\\" + kUninstallPrefix, 3);
  for (auto count = random() % 4; count > 0; --count) {
    FillProduct(users.At(hive + kUserProductsPrefix + Any(kPackedCodes)));
  }
}

void RandomRegistry::FillEntry(PlainKey& key) {
  SetMaybe(key, u"DisplayName", {u"App", u"app", u"Product", u"\u00c9tude", u"zeta2", u"Zeta", u""}, 10);
  SetMaybe(key, u"UninstallString", {u"u.exe", u"1.0", u""}, 4);
  SetMaybe(key, u"DisplayVersion", {u"1.0", u"2.0"}, 2);
  SetMaybe(key, u"InstallLocation", {u"C:\\App", u"C:\\Windows\\App", u"%SystemRoot%\\App"}, 2);
  SetMaybe(key, u"DisplayIcon", {u"app.ico", u"app.exe,0"}, 2);
  SetMaybe(key, u"InstallDate", {u"20240101"}, 2);
  SetRarely(key, u"Publisher", {u"TOLVAN Handheld Engine", u"tolvan handheld engine", u"Vendor"});
  SetRarely(key, u"ParentKeyName", {u"Parent", u""});
  SetRarely(key, u"ReleaseType", {u"Security Update", u"Update Rollup", u"Hotfix", u"hotfix"});
  SetRarely(key, u"SystemComponent", {u"1", u" 1x", u"0", u"yes", u"-1"});
  SetMaybe(key, u"WindowsInstaller", {u"1", u"01", u"+1", u"0", u""}, 1);
  key.lastWriteTime = random() % 3 * kFileTimeOf1970;
  key.lastWriteTime += random();
}

void RandomRegistry::SetRarely(PlainKey& key, std::u16string_view name, const Names& texts) {
  if (OneIn(6)) SetMaybe(key, name, texts, 100);
}

void RandomRegistry::SetMaybe(PlainKey& key, std::u16string_view name, const Names& texts,
                              std::uint32_t odds) {
  if (OneIn(odds + 1)) return;
  std::erase_if(key.values, [&](const PlainValue& value) { return value.name == name; });
  const std::u16string text = Any(texts);
  const std::u16string behindNul = OneIn(8) ? u"tail" : u"";
  const std::uint32_t textType = OneIn(4) ? 2 : 1;
  switch (random() % 16) {
    case 0:
      return key.Set(name, 4, {static_cast<std::uint8_t>(random() % 3), 0, 0, 0});
    case 1:
      return key.Set(name, 3, BytesOf(text));
    case 2:
      return key.Set(name, 1, BytesOf(std::u16string(260 + random() % 2, u'x')));
    case 3:
      return key.Set(name, 1, BytesOf(text));  // without a NUL
    default:
      return key.Set(name, textType, BytesOf(text + u'\0' + behindNul));
  }
}

void RandomRegistry::DenySome(PlainRegistry& registry) {
  for (PlainKey* root : {&registry.machine, &registry.machine32, &registry.users}) DenySome(*root);
}

void RandomRegistry::DenySome(PlainKey& key) {
  for (PlainKey& subKey : key.subKeys) {
    subKey.denied = OneIn(60);
    DenySome(subKey);
  }
}

}  // namespace kestrelbay
