#include <windows.h>
// windows.h must come first.
#include <shellapi.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <system_error>

#include "console/Failure.h"
#include "console/System.h"

namespace cli {
namespace {

std::atomic<bool> wasInterrupted = false;

/** A single write of more than this fails on a console. */
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

constexpr std::size_t kMostInputBytes = 1 << 20;

/** As long as it lives, the console shows nothing of what is typed. */
class QuietConsole {
 public:
  explicit QuietConsole(bool isWanted) : isQuiet(isWanted && GetConsoleMode(input, &before)) {
    if (isQuiet) SetConsoleMode(input, before & ~DWORD{ENABLE_ECHO_INPUT});
  }
  ~QuietConsole() {
    if (isQuiet) SetConsoleMode(input, before);
  }
  QuietConsole(const QuietConsole&) = delete;
  QuietConsole& operator=(const QuietConsole&) = delete;

 private:
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  DWORD before = 0;
  const bool isQuiet;
};

}  // namespace

std::vector<std::string> Start(int, char**) {
  // The C runtime's own arguments have lost what the ANSI code page cannot express.
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
  if (IsTerminal(stream)) return WriteConsole(handle, ToWide(CP_UTF8, bytes), reason);
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

std::string AskLine(const std::string& question, Typing typing) {
  // Before the question: what is typed the moment it shows would be shown as well.
  const QuietConsole quiet(typing == Typing::Hidden);
  std::string reason;
  Write(Stream::Error, question, reason);
  wchar_t line[kMostConsoleChars];
  DWORD chars = 0;
  if (!ReadConsoleW(GetStdHandle(STD_INPUT_HANDLE), line, kMostConsoleChars, &chars, nullptr)) chars = 0;
  std::string text = ToUtf8({line, chars});
  SecureZeroMemory(line, sizeof line);
  if (typing == Typing::Hidden) Write(Stream::Error, "\n", reason);
  while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
  return text;
}

std::string ReadInput() {
  // One block, which is never moved: a secret must not be left behind by growing.
  std::string bytes(kMostInputBytes + 1, '\0');
  std::size_t count = 0;
  DWORD more = 0;
  while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &bytes[count], static_cast<DWORD>(bytes.size() - count),
                  &more, nullptr) &&
         more > 0) {
    count += more;
    if (count > kMostInputBytes) throw Failure("standard input is longer than a mebibyte; send less");
  }
  // The end of a pipe is told as an error, like any other.
  bytes.resize(count);
  return bytes;
}

std::string FromAnsi(std::string_view text) { return ToUtf8(ToWide(CP_ACP, text)); }

char32_t ToLower(char32_t character) {
  if (character > 0xFFFF) return character;
  // A pointer that is only a character asks for that character.
  const auto unit = reinterpret_cast<wchar_t*>(static_cast<ULONG_PTR>(character));
  return static_cast<char32_t>(reinterpret_cast<ULONG_PTR>(CharLowerW(unit)) & 0xFFFF);
}

void OpenMachine(const std::optional<std::string>& directory, const LoadObserver&) {
  if (!directory) return;
  throw Failure("--machine names a simulated machine, but on Windows this computer is used; leave it out",
                kWrongUsage);
}

void OpenMachineToRead(const std::string& directory, const LoadObserver&) {
  throw Failure(
      directory +
      ": a directory, of which Windows makes no machine; name a file saved with: kestrelbay list --json");
}

void SetVolumeOptions(VolumeOptions) {}

std::optional<VolumeDescription> DescribeVolume() { return std::nullopt; }

void CatchInterrupt() {
  SetConsoleCtrlHandler(
      [](DWORD event) -> BOOL { return event == CTRL_C_EVENT && !wasInterrupted.exchange(true); }, TRUE);
}

bool WasInterrupted() { return wasInterrupted; }

std::string WriteProblem() { return {}; }

void LeaveMachine() {}

}  // namespace cli
