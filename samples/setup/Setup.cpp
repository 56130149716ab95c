/**
 * sample-setup NAME VERSION: a small installer for Windows, to try installing and removing on.
 *
 * It registers the application NAME at that version, of which it is the uninstaller itself: sample-setup
 * /remove NAME takes the registration away a second later. Ends with 1 for wrong usage, else with 0.
 */
#include <windows.h>

#include <array>
#include <string>

namespace {

constexpr REGSAM kAccess = KEY_ALL_ACCESS | KEY_WOW64_64KEY;
/** Whoever started it watches the entry by then. */
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
  // What starting the application starts; without parameters it does nothing.
  SetText(key, L"DisplayIcon", OwnPath());
  RegCloseKey(key);
}

/** The first change of keys is what a watch is told of, so there is nothing left to list by then. */
void Unregister(const std::wstring& name) {
  Sleep(kBeforeRemovalMs);
  const std::wstring path = EntryOf(name);
  const HKEY key = CreateKey(path);
  RegDeleteValueW(key, L"DisplayName");
  // Wine does not tell of the end of a watched key, but of one that comes below it.
  RegCloseKey(CreateKey(path + L"\\Removed"));
  RegDeleteKeyExW(key, L"Removed", KEY_WOW64_64KEY, 0);
  RegCloseKey(key);
  RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WOW64_64KEY, 0);
}

/** The command line behind a number of words; a name may hold blanks. */
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
