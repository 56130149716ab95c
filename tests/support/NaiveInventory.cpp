#include "NaiveInventory.h"

#include <algorithm>

namespace kestrelbay {
namespace {

using Text = std::u16string;

const Text kUninstall = u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const Text kUserData = u"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";
const Text kExcluded = u"TOLVAN Handheld Engine";

/** An open key of the plain registry. */
struct Opened {
  const PlainKey* key = nullptr;
  Text rootName;
  Text path;
  int view = 0;

  explicit operator bool() const { return key != nullptr; }
};

Text Value(const Opened& opened, std::u16string_view name) { return ReadNaively(*opened.key, name); }

bool ParsesToOne(const Text& text) {
  std::size_t at = 0;
  while (at < text.size() && (text[at] == u' ' || text[at] == u'\t')) ++at;
  bool negative = false;
  if (at < text.size() && (text[at] == u'+' || text[at] == u'-')) negative = text[at++] == u'-';
  long number = 0;
  for (; at < text.size() && text[at] >= u'0' && text[at] <= u'9'; ++at)
    number = number * 10 + (text[at] - u'0');
  return !negative && number == 1;
}

std::vector<Text> Groups(const Text& code) {
  std::vector<Text> groups(1);
  for (const char16_t unit : code) {
    if (unit == u'{' || unit == u'}') continue;
    if (unit == u'-') {
      groups.emplace_back();
    } else {
      groups.back() += unit;
    }
  }
  return groups;
}

/** @return empty for a text that is not a product code */
Text Pack(const Text& code) {
  const std::vector<Text> groups = Groups(code);
  if (groups.size() != 5 || groups[3].size() % 2 == 1 || groups[4].size() % 2 == 1) return {};
  Text packed;
  for (std::size_t group = 0; group < 3; ++group) {
    for (std::size_t at = groups[group].size(); at > 0; --at) packed += groups[group][at - 1];
  }
  for (std::size_t group = 3; group < 5; ++group) {
    for (std::size_t at = 0; at < groups[group].size(); ++at) packed += groups[group][at ^ 1];
  }
  return packed;
}

bool IsUpdate(const Text& name, const Text& parentKeyName, const Text& releaseType) {
  if (name.size() == 8 && name[0] == u'K' && name[1] == u'B') {
    bool digits = true;
    for (std::size_t at = 2; at < 8; ++at) digits = digits && name[at] >= u'0' && name[at] <= u'9';
    if (digits) return true;
  }
  return !parentKeyName.empty() || releaseType == u"Security Update" || releaseType == u"Update Rollup" ||
         releaseType == u"Hotfix";
}

class Scan {
 public:
  explicit Scan(const PlainRegistry& from) : registry(from) {}

  PlainRecords Run() {
    products = OpenBelowMachine(u"Software\\Classes\\Installer\\Products", 0);
    if (!products) return {};
    Uninstall(OpenBelowMachine(kUninstall, 1));
    Uninstall(OpenBelowMachine(kUninstall, 2));
    for (const Text& hive : SortedNames(registry.users)) Hive(hive);
    std::stable_sort(list.begin(), list.end(), LessNaively);
    return list;
  }

 private:
  static Opened Open(const PlainKey& from, const Text& rootName, const Text& above, const Text& path,
                     int view) {
    const PlainKey* key = from.Find(path);
    if (!key || key->denied) return {};
    return {key, rootName, above.empty() ? path : above + u"\\" + path, view};
  }

  Opened OpenBelowMachine(const Text& path, int view) {
    return Open(view == 1 ? registry.machine32 : registry.machine, u"HKEY_LOCAL_MACHINE", u"", path, view);
  }

  Opened OpenBelowUsers(const Text& path) { return Open(registry.users, u"HKEY_USERS", u"", path, 0); }

  static Opened OpenBelow(const Opened& parent, const Text& name) {
    return Open(*parent.key, parent.rootName, parent.path, name, parent.view);
  }

  void Add(Text name, Text icon, const Opened& entry, int view) {
    InstalledAppInfo record;
    record.DisplayName = name;
    record.InstallLocation = Value(entry, u"InstallLocation");
    record.DisplayVersion = Value(entry, u"DisplayVersion");
    record.UninstallString = Value(entry, u"UninstallString");
    record.rootKeyStr = entry.rootName;
    record.subKeyPath = entry.path;
    record.architecture = view;
    record.DisplayIcon = icon;
    record.InstallDate = Value(entry, u"InstallDate");
    record.LastWriteTime = LastWriteTimeNaively(*entry.key);
    AddNaively(list, record);
  }

  void Uninstall(const Opened& uninstall) {
    if (!uninstall) return;
    for (const Text& name : SortedNames(*uninstall.key)) {
      const Opened entry = OpenBelow(uninstall, name);
      if (!entry || ParsesToOne(Value(entry, u"SystemComponent"))) continue;
      if (ParsesToOne(Value(entry, u"WindowsInstaller"))) {
        Managed(name, entry, uninstall.view);
      } else {
        Plain(name, entry, uninstall.view);
      }
    }
  }

  void Plain(const Text& name, const Opened& entry, int view) {
    if (Value(entry, u"UninstallString").empty()) return;
    if (Value(entry, u"DisplayName").empty()) return;
    if (Value(entry, u"Publisher") == kExcluded) return;
    if (IsUpdate(name, Value(entry, u"ParentKeyName"), Value(entry, u"ReleaseType"))) return;
    Add(Value(entry, u"DisplayName"), Value(entry, u"DisplayIcon"), entry, view);
  }

  void Managed(const Text& name, const Opened& entry, int view) {
    const Text packed = Pack(name);
    const Opened product = packed.empty() ? Opened{} : OpenBelow(products, packed);
    Joined(product, entry, view);
  }

  /** @return whether a record was added */
  bool Joined(const Opened& product, const Opened& entry, int view) {
    Text name = product ? Value(product, u"ProductName") : Text();
    if (name.empty()) name = Value(entry, u"DisplayName");
    Text icon = product ? Value(product, u"ProductIcon") : Text();
    if (icon.empty()) icon = Value(entry, u"DisplayIcon");
    if (name.empty() || Value(entry, u"Publisher") == kExcluded) return false;
    Add(name, icon, entry, view);
    return true;
  }

  void Hive(const Text& hive) {
    Uninstall(OpenBelowUsers(hive + u"\\" + kUninstall));
    const Opened userProducts = OpenBelowUsers(hive + u"\\Software\\Microsoft\\Installer\\Products");
    if (!userProducts) return;
    for (const int view : {1, 2}) {
      const Opened userData = OpenBelowMachine(kUserData, view);
      if (!userData) continue;
      for (const Text& packed : SortedNames(*userProducts.key)) {
        for (const Text& sid : SortedNames(*userData.key)) {
          if (sid != u"S-1-5-18" && UserProduct(packed, sid, userProducts, view)) break;
        }
      }
    }
  }

  bool UserProduct(const Text& packed, const Text& sid, const Opened& userProducts, int view) {
    const Text path = kUserData + u"\\" + sid + u"\\Products";
    const Opened branch = OpenBelowMachine(path, view);
    if (!branch) return false;
    for (const Text& name : SortedNames(*branch.key)) {
      if (name != packed) continue;
      const Opened properties = OpenBelowMachine(path + u"\\" + name + u"\\InstallProperties", view);
      if (!properties || ParsesToOne(Value(properties, u"SystemComponent"))) continue;
      const Opened product = OpenBelow(userProducts, packed);
      if (!product) continue;
      return Joined(product, properties, view);
    }
    return false;
  }

  const PlainRegistry& registry;
  Opened products;
  PlainRecords list;
};

}  // namespace

void AddNaively(PlainRecords& list, InstalledAppInfo n) {
  const auto e = std::find_if(list.begin(), list.end(), [&](const InstalledAppInfo& record) {
    return record.DisplayName == n.DisplayName;
  });
  const auto conflicts = [&](Text InstalledAppInfo::*field) {
    if (!(n.*field).empty() && !(*e.*field).empty() && n.*field != *e.*field) return true;
    if ((n.*field).empty()) n.*field = *e.*field;
    return false;
  };
  const auto merges = [&] {
    if (n.architecture == 0) {
      n.architecture = e->architecture;
    } else if (e->architecture != 0 && e->architecture != n.architecture) {
      return false;
    }
    if (conflicts(&InstalledAppInfo::DisplayIcon)) return false;
    if (conflicts(&InstalledAppInfo::InstallLocation)) return false;
    if (conflicts(&InstalledAppInfo::DisplayVersion)) return false;
    if (!n.UninstallString.empty() && !e->UninstallString.empty() && n.UninstallString != e->DisplayVersion) {
      return false;
    }
    if (n.UninstallString.empty()) n.UninstallString = e->UninstallString;
    return true;
  };
  if (e != list.end() && merges()) {
    if (!e->rootKeyStr.empty() && !e->subKeyPath.empty()) {
      n.rootKeyStr = e->rootKeyStr;
      n.subKeyPath = e->subKeyPath;
    }
    list.erase(e);
  }
  list.push_back(n);
}

bool LessNaively(const InstalledAppInfo& left, const InstalledAppInfo& right) {
  const auto lower = [](Text text) {
    for (char16_t& unit : text) {
      if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit - u'A' + u'a');
    }
    return text;
  };
  return lower(left.DisplayName) < lower(right.DisplayName);
}

PlainRecords ScanNaively(const PlainRegistry& registry) { return Scan(registry).Run(); }

ReceivedEntry AsReceived(const InstalledAppInfo& app) {
  return {.displayName = Utf8(app.DisplayName),
          .installLocation = Utf8(app.InstallLocation),
          .displayVersion = Utf8(app.DisplayVersion),
          .displayIcon = Utf8(app.DisplayIcon),
          .iconText = app.IconText,
          .installDate = Utf8(app.InstallDate),
          .lastWriteTime = Utf8(app.LastWriteTime),
          .architecture = app.architecture};
}

}  // namespace kestrelbay
