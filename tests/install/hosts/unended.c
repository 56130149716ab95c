/* Writes the longest text that the library reads. It has no NUL, and every import tool would add one. */
#include <windows.h>

static WCHAR text[261];

static int Write(const char* path, const char* name) {
  WCHAR wideName[64];
  HKEY key;
  LSTATUS status;
  MultiByteToWideChar(CP_UTF8, 0, name, -1, wideName, 64);
  if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, path, 0, NULL, 0, KEY_SET_VALUE, NULL, &key, NULL) != 0) return 0;
  status = RegSetValueExW(key, wideName, 0, REG_SZ, (const BYTE*)text, 260 * sizeof(WCHAR));
  RegCloseKey(key);
  return status == 0;
}

int main(void) {
  /* One more character, because Windows would also write a NUL that follows the text. */
  for (int i = 0; i < 261; ++i) text[i] = 0x65e5;
  if (!Write("HARDWARE\\DESCRIPTION\\System\\BIOS", "BaseBoardManufacturer")) return 1;
  return Write("SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Long version", "DisplayVersion") ? 0
                                                                                                          : 2;
}
