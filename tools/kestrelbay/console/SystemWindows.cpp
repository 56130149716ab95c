#include <windows.h>
// windows.h must come first.
#include <shellapi.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <span>
#include <system_error>

#include "console/Failure.h"
#include "console/SecretText.h"
#include "console/System.h"

namespace cli {
namespace {

std::atomic<bool> wasInterrupted = false;

/** A write of more characters than this fails on some consoles; a line that is typed is shorter, too. */
constexpr std::size_t kMostConsoleChars = 8192;

HANDLE StreamHandle(Stream stream) {
  return GetStdHandle(stream == Stream::Out ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

std::wstring ToWide(UINT codePage, std::string_view text) {
  const int bytes = static_cast<int>(text.size());
  std::wstring wide(
      static_cast<std::size_t>(MultiByteToWideChar(codePage, 0, text.data(), bytes, nullptr, 0)), 0);
  MultiByteToWideChar(codePage, 0, text.data(), bytes, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string ToUtf8(std::wstring_view wide) {
  const int units = static_cast<int>(wide.size());
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(bytes), 0);
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), units, text.data(), bytes, nullptr, nullptr);
  return text;
}

WriteResult LastWriteResult(std::string& reason) {
  const DWORD lastError = GetLastError();
  const bool isReaderGone =
      lastError == ERROR_NO_DATA || lastError == ERROR_BROKEN_PIPE || lastError == ERROR_PIPE_NOT_CONNECTED;
  if (isReaderGone) return WriteResult::ReaderGone;
  reason = std::system_category().message(static_cast<int>(lastError));
  return WriteResult::Failed;
}

WriteResult WriteConsole(HANDLE console, std::wstring_view text, std::string& reason) {
  while (!text.empty()) {
    DWORD written = 0;
    const auto units = static_cast<DWORD>(std::min(text.size(), kMostConsoleChars));
    if (!WriteConsoleW(console, text.data(), units, &written, nullptr)) return LastWriteResult(reason);
    text.remove_prefix(written);
  }
  return WriteResult::Done;
}

/** Turns the echo of the console off, and on again at the end, also when Ctrl-C ends the process. */
class QuietConsole {
 public:
  QuietConsole() : isQuiet_(GetConsoleMode(Input(), &shownMode) != 0) {
    if (!isQuiet_) return;
    SetConsoleCtrlHandler(&Restore, TRUE);
    SetConsoleMode(Input(), shownMode & ~DWORD{ENABLE_ECHO_INPUT});
  }
  ~QuietConsole() {
    if (!isQuiet_) return;
    SetConsoleMode(Input(), shownMode);
    SetConsoleCtrlHandler(&Restore, FALSE);
  }
  QuietConsole(const QuietConsole&) = delete;
  QuietConsole& operator=(const QuietConsole&) = delete;

 private:
  static HANDLE Input() { return GetStdHandle(STD_INPUT_HANDLE); }
  static BOOL WINAPI Restore(DWORD) {
    SetConsoleMode(Input(), shownMode);
    return FALSE;  // the next handler ends the process
  }

  static inline DWORD shownMode = 0;
  const bool isQuiet_;
};

/** Reads a line of the console into `line`. @return its characters, the line end included */
std::wstring_view ReadConsoleLine(std::span<wchar_t> line) {
  DWORD chars = 0;
  const auto room = static_cast<DWORD>(line.size());
  if (!ReadConsoleW(GetStdHandle(STD_INPUT_HANDLE), line.data(), room, &chars, nullptr)) chars = 0;
  return {line.data(), chars};
}

}  // namespace

std::vector<std::string> Start(int, char**) {
  // The arguments of main() lack the characters that the ANSI code page does not have.
  int count = 0;
  wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(ToUtf8(wide[i]));
  LocalFree(wide);
  return arguments;
}

bool IsTerminal(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(StreamHandle(stream), &mode) != 0;
}

bool CanColour(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(StreamHandle(stream), &mode) != 0 &&
         SetConsoleMode(StreamHandle(stream), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

int TerminalColumns() {
  CONSOLE_SCREEN_BUFFER_INFO screen{};
  if (!GetConsoleScreenBufferInfo(StreamHandle(Stream::Out), &screen)) return kUsualColumns;
  return screen.srWindow.Right - screen.srWindow.Left + 1;
}

WriteResult Write(Stream stream, std::string_view bytes, std::string& reason) {
  const HANDLE handle = StreamHandle(stream);
  if (IsTerminal(stream)) {
    // It may be a secret.
    std::wstring wide = ToWide(CP_UTF8, bytes);
    const WriteResult result = WriteConsole(handle, wide, reason);
    Wipe(wide.data(), wide.size() * sizeof(wchar_t));
    return result;
  }
  while (!bytes.empty()) {
    DWORD written = 0;
    if (!WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
      return LastWriteResult(reason);
    }
    bytes.remove_prefix(written);
  }
  return WriteResult::Done;
}

bool IsInputTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode) != 0;
}

std::string AskLine(const std::string& question) {
  std::string reason;
  Write(Stream::Error, question, reason);
  std::array<wchar_t, kMostConsoleChars> line;
  std::string text = ToUtf8(ReadConsoleLine(line));
  while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
  return text;
}

void AskSecret(const std::string& question, SecretText& secret) {
  // Before the question, because a person may type as soon as the question shows.
  const QuietConsole quiet;
  std::string reason;
  Write(Stream::Error, question, reason);
  std::array<wchar_t, kMostConsoleChars> line;
  std::wstring_view text = ReadConsoleLine(line);
  while (text.ends_with(L'\n') || text.ends_with(L'\r')) text.remove_suffix(1);
  // Straight into the secret's own memory: another text would be a second copy.
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), secret.Data(),
                                        static_cast<int>(secret.Capacity()), nullptr, nullptr);
  secret.Resize(static_cast<std::size_t>(bytes));
  Wipe(line.data(), sizeof line);
  Write(Stream::Error, "\n", reason);
}

bool ReadInput(SecretText& secret) {
  // The end of a pipe is reported as an error, so a failure counts as the end.
  const auto readSome = [](char* bytes, std::size_t room) {
    DWORD count = 0;
    const bool isRead =
        ReadFile(GetStdHandle(STD_INPUT_HANDLE), bytes, static_cast<DWORD>(room), &count, nullptr);
    return isRead ? std::size_t{count} : 0;
  };
  std::size_t count = 0;
  while (count < secret.Capacity()) {
    const std::size_t more = readSome(secret.Data() + count, secret.Capacity() - count);
    if (more == 0) break;
    count += more;
  }
  secret.Resize(count);
  char byte = 0;
  return count < secret.Capacity() || readSome(&byte, 1) == 0;
}

void Wipe(void* bytes, std::size_t count) { SecureZeroMemory(bytes, count); }

std::FILE* CreateNewFile(const std::filesystem::path& path, bool) { return _wfopen(path.c_str(), L"wbx"); }

std::string FromAnsi(std::string_view text) { return ToUtf8(ToWide(CP_ACP, text)); }

char32_t ToLower(char32_t character) {
  if (character > 0xFFFF) return character;
  // CharLowerW takes a character in place of a pointer.
  const auto unit = reinterpret_cast<wchar_t*>(static_cast<ULONG_PTR>(character));
  return static_cast<char32_t>(reinterpret_cast<ULONG_PTR>(CharLowerW(unit)) & 0xFFFF);
}

void OpenMachine(const std::optional<std::string>& directory, const LoadWarning&) {
  if (!directory) return;
  throw Failure(
      "--machine names a simulated machine, and Windows has none: this computer is used; omit --machine",
      kWrongUsage);
}

void OpenMachineToRead(const std::string& directory, const LoadWarning&) {
  throw Failure(
      directory +
      ": a machine directory, which Windows cannot open; name a file saved with: kestrelbay list --json");
}

void SetVolumeOptions(VolumeOptions) {}

std::optional<VolumeDescription> DescribeVolume() { return std::nullopt; }

void CatchInterrupt() {
  SetConsoleCtrlHandler(
      [](DWORD event) -> BOOL { return event == CTRL_C_EVENT && !wasInterrupted.exchange(true); }, TRUE);
}

bool WasInterrupted() { return wasInterrupted; }

std::string WriteProblem() { return {}; }

void GroupChanges(const std::function<void()>& action) { action(); }

void LeaveMachine() {}

}  // namespace cli
