// The program that tests start. It does the steps in the file beside it, writes its parameters and a mark to
// files beside it, and ends. The file of steps has the exit code, then five lines for each step: kind, key,
// view, name, text.
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "TestMachine.h"

namespace {

using tests::ProgramStep;

std::wstring OwnPath() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), 32768));
  return path;
}

std::vector<std::wstring> ReadLines(const std::wstring& file) {
  std::ifstream stream(std::filesystem::path(file), std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  std::vector<std::wstring> lines(1);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto unit = static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) |
                                           static_cast<unsigned char>(bytes[i + 1]) << 8);
    if (unit == L'\n') {
      lines.emplace_back();
    } else {
      lines.back() += unit;
    }
  }
  return lines;
}

/** @return the key at a whole path; creates it if it is missing */
class Key {
 public:
  Key(const std::wstring& path, const std::wstring& view) {
    const auto cut = path.find(L'\\');
    const std::wstring root = path.substr(0, cut);
    const REGSAM bits = view == L"1" ? KEY_WOW64_32KEY : view == L"2" ? KEY_WOW64_64KEY : 0;
    const HKEY top = root == L"HKEY_LOCAL_MACHINE" ? HKEY_LOCAL_MACHINE
                     : root == L"HKEY_USERS"       ? HKEY_USERS
                                                   : HKEY_CURRENT_USER;
    RegCreateKeyExW(top, path.substr(cut + 1).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | bits, nullptr, &key_,
                    nullptr);
  }
  ~Key() { RegCloseKey(key_); }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  HKEY Get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

void WaitForSignal(const std::wstring& name) {
  HANDLE event = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
  WaitForSingleObject(event, INFINITE);
  CloseHandle(event);
}

/** @return whether an event exists and is not signalled; a wait would clear it */
bool IsCleared(const std::wstring& name) {
  struct BasicInformation {
    LONG type;
    LONG state;
  };
  using QueryEvent = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
  static const auto query = reinterpret_cast<QueryEvent>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryEvent")));
  HANDLE event = OpenEventW(EVENT_ALL_ACCESS, FALSE, name.c_str());
  if (!event) return false;
  BasicInformation information = {0, 1};
  const bool isKnown = query(event, 0, &information, sizeof information, nullptr) == 0;
  CloseHandle(event);
  return isKnown && information.state == 0;
}

/** The event of the watch is created signalled, and setting the watch clears it. */
void WaitForWatch(const std::wstring& name) {
  while (!IsCleared(name)) Sleep(1);
}

void Take(const std::wstring* fields) {
  const auto kind = static_cast<ProgramStep::Kind>(std::stoi(fields[0]));
  const std::wstring& name = fields[3];
  if (kind == ProgramStep::Kind::WaitForSignal) return WaitForSignal(name);
  if (kind == ProgramStep::Kind::WaitForWatch) return WaitForWatch(name);
  const auto cut = fields[1].rfind(L'\\');
  if (kind == ProgramStep::Kind::DeleteKey) {
    RegDeleteTreeW(Key(fields[1].substr(0, cut), fields[2]).Get(), fields[1].substr(cut + 1).c_str());
    return;
  }
  const Key key(fields[1], fields[2]);
  if (kind == ProgramStep::Kind::DeleteValue) RegDeleteValueW(key.Get(), name.c_str());
  if (kind == ProgramStep::Kind::SetText) {
    RegSetValueExW(key.Get(), name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(fields[4].c_str()),
                   static_cast<DWORD>((fields[4].size() + 1) * sizeof(wchar_t)));
  }
}

/** @return the command line after the name of the program */
std::wstring Parameters() {
  const std::wstring line = GetCommandLineW();
  const bool isQuoted = line.starts_with(L'"');
  const auto end = line.find(isQuoted ? L'"' : L' ', 1);
  const auto begin = line.find_first_not_of(L' ', isQuoted ? end + 1 : end);
  return end == line.npos || begin == line.npos ? std::wstring() : line.substr(begin);
}

bool Write(const std::wstring& file, const std::wstring& text) {
  std::ofstream stream(std::filesystem::path(file), std::ios::binary);
  stream.write(reinterpret_cast<const char*>(text.data()),
               static_cast<std::streamsize>(text.size() * sizeof(wchar_t)));
  return static_cast<bool>(stream.flush());
}

}  // namespace

int main() {
  const std::vector<std::wstring> lines = ReadLines(OwnPath() + L".steps");
  for (std::size_t at = 1; at + 5 <= lines.size(); at += 5) Take(&lines[at]);
  // The mark is written last: when it exists, so does everything else.
  if (!Write(OwnPath() + L".parameters", Parameters()) || !Write(OwnPath() + L".ran", {})) return 1;
  return lines[0].empty() ? 0 : std::stoi(lines[0]);
}
