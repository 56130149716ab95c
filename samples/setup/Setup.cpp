/**
 * sample-setup NAME VERSION: a small installer for Windows, to try installations and uninstallations with.
 *
 * It registers the application NAME with that version. It is also the application's uninstaller: sample-setup
 * /remove NAME deletes the registration after a second. Ends with 1 for wrong usage, else with 0.
 */
#include <windows.h>

#include <array>
#include <string>

namespace {

constexpr REGSAM kAccess = KEY_ALL_ACCESS | KEY_WOW64_64KEY;
/** Gives the library time to watch the entry after it has started this program. */
constexpr DWORD kBeforeRemovalMs = 1000;

std::wstring EntryOf(const std::wstring& name) {
  return L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + name;
}

void SetText(HKEY key, const wchar_t* name, const std::wstring& text) {
  RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                 static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

std::wstring OwnPath() {
  std::array<wchar_t, MAX_PATH> path{};
  GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return path.data();
}

HKEY CreateKey(const std::wstring& path) {
  HKEY key = nullptr;
  RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, kAccess, nullptr, &key, nullptr);
  return key;
}

void Register(const std::wstring& name, const std::wstring& version) {
  // A machine without this key lists nothing. Windows has it, a fresh Wine does not.
  RegCloseKey(CreateKey(L"Software\\Classes\\Installer\\Products"));
  const HKEY key = CreateKey(EntryOf(name));
  SetText(key, L"DisplayName", name);
  SetText(key, L"UninstallString", L"\"" + OwnPath() + L"\" /remove " + name);
  SetText(key, L"DisplayVersion", version);
  // The library starts the application by its icon's program. Without parameters this one does nothing.
  SetText(key, L"DisplayIcon", OwnPath());
  RegCloseKey(key);
}

/** Removes the name first: a watch ends at the first change of keys, and nothing may be listed then. */
void Unregister(const std::wstring& name) {
  Sleep(kBeforeRemovalMs);
  const std::wstring path = EntryOf(name);
  const HKEY key = CreateKey(path);
  RegDeleteValueW(key, L"DisplayName");
  // Wine does not signal the deletion of a watched key, but it signals a new key below it.
  RegCloseKey(CreateKey(path + L"\\Removed"));
  RegDeleteKeyExW(key, L"Removed", KEY_WOW64_64KEY, 0);
  RegCloseKey(key);
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WOW64_64KEY, 0);
}

/** Returns the command line from a word on; a name may contain blanks. */
std::wstring Rest(int argc, wchar_t** argv, int from) {
  std::wstring rest;
  for (int i = from; i < argc; ++i) rest.append(i == from ? L"" : L" ").append(argv[i]);
  return rest;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc < 3) return 1;
  if (std::wstring(argv[1]) == L"/remove") {
    Unregister(Rest(argc, argv, 2));
  } else {
    Register(argv[1], Rest(argc, argv, 2));
  }
  return 0;
}
