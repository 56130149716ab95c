#include "MachineInUse.h"

#include <windows.h>
// windows.h must come first.
#include <sddl.h>
#include <shlobj.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <vector>

#include "RegistryChanges.h"

namespace tests {
namespace {

/** Every name of an application that a test gives to the library; check.test-names compares. */
constexpr const char16_t* kNamesOfTests[] = {u"A\\B", u"App",    u"Bare",   u"First", u"Later",
                                             u"Mine", u"My App", u"Narrow", u"New",   u"None",
                                             u"Old",  u"Second", u"Tool",   u"\u65e5"};

/** Every name that a test starts. The library starts an item whose name is a part of it. */
constexpr const char16_t* kStartedNames[] = {u"Tool", u"No such application here", u"No such alias",
                                             u"alias"};

constexpr const char16_t* kContainers[] = {
    u"HKEY_LOCAL_MACHINE", u"HKEY_CURRENT_USER", u"Software", u"System",   u"Classes",
    u"Uninstall",          u"Installer",         u"Products", u"UserData", u"Wow6432Node",
    u"App Paths",          u"CurrentVersion"};
/** On the way to containers. */
constexpr const char16_t* kWays[] = {u"HKEY_USERS", u"Microsoft", u"Windows"};
/** Below these every key is a container, whose name is a SID. */
constexpr const char16_t* kParentsOfSids[] = {u"HKEY_USERS", u"UserData"};

bool IsSameName(const std::u16string& left, const std::u16string& right) {
  return lstrcmpiW(Wide(left), Wide(right)) == 0;
}

template <std::size_t count>
bool IsOneOf(const char16_t* const (&names)[count], const std::u16string& name) {
  return std::ranges::any_of(names, [&](const std::u16string& one) { return IsSameName(one, name); });
}

std::u16string NameOf(const std::u16string& path) { return path.substr(path.rfind(u'\\') + 1); }

std::u16string ParentOf(const std::u16string& path) {
  const auto cut = path.rfind(u'\\');
  return cut == path.npos ? std::u16string() : path.substr(0, cut);
}

std::u16string TextOf(const KeyPath& path, const wchar_t* name) {
  const OpenKey key(path, KEY_READ);
  wchar_t text[512] = {};
  DWORD bytes = sizeof text - sizeof *text;
  if (!key || RegQueryValueExW(key.Get(), name, nullptr, nullptr, reinterpret_cast<BYTE*>(text), &bytes) !=
                  ERROR_SUCCESS) {
    return {};
  }
  const std::wstring_view found(text);
  return {found.begin(), found.end()};
}

std::vector<std::u16string> InstalledNames(TestMachine& machine) {
  std::vector<std::u16string> names;
  for (const KeyPath& key : machine.UninstallKeys()) names.push_back(TextOf(key, L"DisplayName"));
  std::vector<std::u16string> lists = {u"HKEY_LOCAL_MACHINE\\Software\\Classes\\Installer\\Products"};
  for (const std::u16string& user : machine.SubKeyNames(u"HKEY_USERS"))
    lists.push_back(u"HKEY_USERS\\" + user + u"\\Software\\Microsoft\\Installer\\Products");
  for (const std::u16string& products : lists) {
    for (const std::u16string& product : machine.SubKeyNames(products))
      names.push_back(TextOf(products + u"\\" + product, L"ProductName"));
  }
  return names;
}

/** The names of the items of the apps folder; none on a Windows without this folder. */
std::vector<std::u16string> ItemNames() {
  std::vector<std::u16string> names;
  IShellItem* folder = nullptr;
  IEnumShellItems* items = nullptr;
  CoInitialize(nullptr);
  if (SUCCEEDED(SHCreateItemFromParsingName(L"shell:appsFolder", nullptr, IID_IShellItem,
                                            reinterpret_cast<void**>(&folder)))) {
    folder->BindToHandler(nullptr, BHID_EnumItems, IID_IEnumShellItems, reinterpret_cast<void**>(&items));
    folder->Release();
  }
  IShellItem* item = nullptr;
  while (items && items->Next(1, &item, nullptr) == S_OK) {
    wchar_t* name = nullptr;
    item->GetDisplayName(SIGDN_NORMALDISPLAY, &name);
    const std::wstring_view text(name ? name : L"");
    names.emplace_back(text.begin(), text.end());
    CoTaskMemFree(name);
    item->Release();
  }
  if (items) items->Release();
  return names;
}

bool IsSet(const wchar_t* variable) {
  wchar_t value[2] = {};
  GetEnvironmentVariableW(variable, value, 2);
  return value[0] == L'1';
}

/** What a token answers about itself, in memory for its largest answer. */
std::array<std::max_align_t, 16> AskToken(TOKEN_INFORMATION_CLASS question) {
  std::array<std::max_align_t, 16> answer{};
  HANDLE token = nullptr;
  DWORD size = 0;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) {
    GetTokenInformation(token, question, answer.data(), sizeof answer, &size);
    CloseHandle(token);
  }
  return answer;
}

}  // namespace

bool IsInUse() { return !IsSet(L"KESTRELBAY_DISPOSABLE_MACHINE"); }

void CheckNamesOfTests(TestMachine& machine) {
  for (const std::u16string& installed : InstalledNames(machine)) {
    if (IsOneOf(kNamesOfTests, installed))
      throw NotOnThisMachine("an application has a name that tests use: " +
                             std::string(installed.begin(), installed.end()));
  }
}

void CheckAppsFolder() {
  for (const std::u16string& item : ItemNames()) {
    const auto isPart = [&](std::u16string_view started) { return started.find(item) != started.npos; };
    if (std::ranges::any_of(kStartedNames, isPart))
      throw NotOnThisMachine("a test would start this item of the apps folder: " +
                             std::string(item.begin(), item.end()));
  }
}

bool IsContainer(const std::u16string& path) {
  return IsOneOf(kContainers, NameOf(path)) || IsOneOf(kParentsOfSids, NameOf(ParentOf(path)));
}

bool IsWay(const std::u16string& path) { return IsContainer(path) || IsOneOf(kWays, NameOf(path)); }

std::u16string OwnHive() {
  const auto answer = AskToken(TokenUser);
  std::u16string path = u"HKEY_USERS\\";
  wchar_t* sid = nullptr;
  if (ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(answer.data())->User.Sid, &sid)) {
    const std::wstring_view text(sid);
    path.append(text.begin(), text.end());
    LocalFree(sid);
  }
  return path;
}

bool IsElevated() {
  if (IsSet(L"KESTRELBAY_WITHOUT_RIGHTS")) return false;
  const auto answer = AskToken(TokenElevation);
  return reinterpret_cast<const TOKEN_ELEVATION*>(answer.data())->TokenIsElevated != 0;
}

}  // namespace tests
