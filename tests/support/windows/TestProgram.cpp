// Stands for any program that a test starts: leaves a mark beside itself and ends.
#include <windows.h>

#include <string>

int main() {
  std::wstring mark(32768, L'\0');
  mark.resize(GetModuleFileNameW(nullptr, mark.data(), 32768));
  mark += L".ran";
  HANDLE file = CreateFileW(mark.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return 1;
  CloseHandle(file);
  return 0;
}
