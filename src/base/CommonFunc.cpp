#include "base/CommonFunc.h"

#include <array>
#include <regex>

#include "base/SDKLog.h"
#include "platform/Constants.h"
#include "platform/Files.h"
#include "platform/Processes.h"
#include "platform/Text.h"

namespace kestrelbay {
namespace {

constexpr char kFile[] = "CommonFunc";
constexpr std::size_t kPathBytes = 260;  // MAX_PATH: longer paths are cut, by design

// The results of the two system calls are not checked, by design: after a failure the zeroed buffer is the
// empty text. Both are A functions, because hosts expect the ANSI code page and not UTF-8.
std::string CurrentDirectory() {
  std::array<char, kPathBytes> buffer{};
  platform::GetCurrentDirectoryA(buffer.size(), buffer.data());
  return buffer.data();
}

std::string HostDirectory() {
  std::array<char, kPathBytes> buffer{};
  // Null means the executable of the process, which is the host and not this library.
  platform::GetModuleFileNameA(nullptr, buffer.data(), buffer.size());
  buffer.back() = '\0';  // some releases of Windows do not terminate a path that they cut
  const std::string path = buffer.data();
  // Only a backslash separates. A path without one stays whole.
  return path.substr(0, path.rfind('\\'));
}

}  // namespace

std::u16string Utf8ToWide(const std::string& text) {
  // Converts the terminator too, so the size is at least 1 unless the conversion fails.
  const int bytes = static_cast<int>(text.size() + 1);
  const int needed = platform::MultiByteToWideChar(platform::CP_UTF8, 0, text.c_str(), bytes, nullptr, 0);
  if (needed < 1) return {};
  std::u16string wide(static_cast<std::size_t>(needed), u'\0');
  platform::MultiByteToWideChar(platform::CP_UTF8, 0, text.c_str(), bytes, wide.data(), needed);
  // Some conversions swallow the terminator after cut UTF-8. Then the terminator of `wide` ends the text.
  wide.resize(std::char_traits<char16_t>::length(wide.c_str()));
  return wide;
}

std::string WideToUtf8(std::u16string_view wide) {
  const int chars = static_cast<int>(wide.substr(0, wide.find(u'\0')).size());
  const int needed =
      platform::WideCharToMultiByte(platform::CP_UTF8, 0, wide.data(), chars, nullptr, 0, nullptr, nullptr);
  if (needed < 1) return {};
  // Without a terminator: the input ends before its first NUL, so the converted bytes contain none.
  std::string text(static_cast<std::size_t>(needed), '\0');
  const int written = platform::WideCharToMultiByte(platform::CP_UTF8, 0, wide.data(), chars, text.data(),
                                                    needed, nullptr, nullptr);
  text.resize(static_cast<std::size_t>(written));  // 0 if only this second call fails
  return text;
}

std::vector<std::u16string> SplitWide(std::u16string_view text, char16_t separator) {
  std::vector<std::u16string> pieces;
  std::size_t begin = 0;
  for (std::size_t end; (end = text.find(separator, begin)) != text.npos; begin = end + 1) {
    pieces.emplace_back(text.substr(begin, end - begin));
  }
  pieces.emplace_back(text.substr(begin));
  return pieces;
}

// The expressions are case-sensitive and match the whole text, by design. So "tool.EXE" and "tool.ico,0"
// yield the empty text. Such an application cannot be started.
std::string ExtractExePath(std::string iconPath) {
  iconPath = std::regex_replace(iconPath, std::regex("\""), "");
  std::smatch match;
  // Greedy: a folder that is named like a program stays in the path.
  if (std::regex_match(iconPath, match, std::regex("(.*\\.exe).*"))) return match[1];
  if (std::regex_match(iconPath, match, std::regex("(.*\\.ico)"))) {
    // By design the dot is not escaped: the expression also replaces the character before "ico".
    return std::regex_replace(match[1].str(), std::regex("(.ico)$"), ".exe");
  }
  return {};
}

bool FileExists(const std::string& path) {
  // Mode 0 asks for existence only, so a folder counts too.
  return !path.empty() && platform::_waccess(Utf8ToWide(path).c_str(), 0) == 0;
}

std::string GetRootDir(std::uint32_t mode) {
  switch (mode) {
    case 1:
      SDK_LOG(kLogInfo, kFile, "GetRootDir Debug");
      return CurrentDirectory();
    case 2:
      SDK_LOG(kLogInfo, kFile, "GetRootDir Release");
      return HostDirectory();
    default:
      return {};
  }
}

std::int32_t StartProcess(std::u16string commandLine) {
  platform::STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = platform::STARTF_USESHOWWINDOW;
  startup.wShowWindow = platform::SW_SHOWNORMAL;
  // By design the two handles in it are never closed.
  platform::PROCESS_INFORMATION process{};
  // Windows may write to the command line, so `commandLine` is a copy.
  const platform::BOOL started =
      platform::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, false,
                               platform::CREATE_NEW_CONSOLE, nullptr, nullptr, &startup, &process);
  if (!started) platform::GetLastError();  // called and ignored by design
  return started;
}

bool StartElevated(const std::string& file, const std::string& parameters, std::uint32_t showCommand,
                   platform::HANDLE& process) {
  const std::u16string wideFile = Utf8ToWide(file);
  const std::u16string wideParameters = Utf8ToWide(parameters);
  platform::SHELLEXECUTEINFOW execute{};
  execute.cbSize = sizeof execute;
  execute.fMask = platform::SEE_MASK_NOCLOSEPROCESS;  // without it, the shell returns no process
  execute.lpVerb = u"runas";
  execute.lpFile = wideFile.c_str();
  execute.lpParameters = wideParameters.c_str();
  execute.nShow = static_cast<int>(showCommand);
  const bool isStarted = platform::ShellExecuteExW(&execute) != 0;
  // Null even after a success, if the shell passed the file to a program that runs already.
  process = execute.hProcess;
  return isStarted;
}

platform::HANDLE StartProcessElevated(const std::string& file, const std::string& parameters,
                                      std::uint32_t showCommand) {
  platform::HANDLE process = nullptr;
  return StartElevated(file, parameters, showCommand, process) ? process : nullptr;
}

}  // namespace kestrelbay
