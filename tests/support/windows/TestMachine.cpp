#include "TestMachine.h"

#include <windows.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "MachineInUse.h"
#include "RegistryChanges.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kMaxPathChars = 32768;

std::u16string Text(std::wstring_view text) { return {text.begin(), text.end()}; }

fs::path ProgramPath() {
  std::wstring path(kMaxPathChars, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), kMaxPathChars));
  return path;
}

fs::path NewFolder() {
  static int made = 0;
  const auto name = "kestrelbay-test-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++made);
  auto folder = fs::temp_directory_path() / name;
  fs::create_directories(folder);
  return folder;
}

std::u16string Decimal(int number) {
  const auto text = std::to_string(number);
  return {text.begin(), text.end()};
}

std::u16string FromUtf8(std::string_view text) {
  std::u16string wide(text.size(), u'\0');
  const int chars =
      MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                          reinterpret_cast<wchar_t*>(wide.data()), static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(chars));
  return wide;
}

void RunAndWait(std::wstring commandLine) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &process)) {
    throw std::runtime_error("a program of the system does not start");
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  const DWORD exitCode = ExitCodeOf(process.hProcess);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  if (exitCode != 0) throw std::runtime_error("a program of the system failed");
}

/** Restores an environment variable when it is destroyed. */
class EarlierVariable {
 public:
  EarlierVariable(std::u16string_view variable, std::u16string_view value) : name(variable) {
    std::u16string text(kMaxPathChars, u'\0');
    const DWORD chars =
        GetEnvironmentVariableW(Wide(name), reinterpret_cast<wchar_t*>(text.data()), kMaxPathChars);
    if (chars != 0 || GetLastError() != ERROR_ENVVAR_NOT_FOUND) earlier = text.substr(0, chars);
    SetEnvironmentVariableW(Wide(name), Wide(std::u16string(value)));
  }
  ~EarlierVariable() { SetEnvironmentVariableW(Wide(name), earlier ? Wide(*earlier) : nullptr); }
  EarlierVariable(const EarlierVariable&) = delete;
  EarlierVariable& operator=(const EarlierVariable&) = delete;

 private:
  std::u16string name;
  std::optional<std::u16string> earlier;
};

}  // namespace

/** Events for which programs wait. No other run uses their names. */
struct TestMachine::Signals {
  ~Signals() {
    for (const auto& [name, event] : events) CloseHandle(event);
  }

  std::u16string NameOf(const std::u16string& name) const {
    return u"kestrelbay-test-" + Decimal(static_cast<int>(GetCurrentProcessId())) + u"-" + name;
  }

  HANDLE Find(const std::u16string& name) {
    HANDLE& event = events[name];
    if (!event) event = CreateEventW(nullptr, TRUE, FALSE, Wide(NameOf(name)));
    return event;
  }

  std::map<std::u16string, HANDLE> events;
};

struct TestMachine::State {
  ~State() {
    std::error_code ignored;
    fs::current_path(earlierDirectory, ignored);
    for (const auto& path : madePaths) fs::remove_all(path, ignored);
  }

  const fs::path earlierDirectory = fs::current_path();
  fs::path folder = NewFolder();
  std::vector<fs::path> madePaths = {folder};
  RegistryChanges registry;
  // In reverse order, because a variable that was set twice must get its first value back.
  std::vector<std::unique_ptr<EarlierVariable>> variables;
};

TestMachine::TestMachine() : signals(std::make_unique<Signals>()), state(std::make_unique<State>()) {
  SetVariable(u"KESTRELBAY_LOG_FILE", (state->folder / "log.txt").u16string());
  if (!IsInUse()) return;
  CheckNamesOfTests(*this);
  // Once, because a machine may have hundreds of items in the apps folder.
  [[maybe_unused]] static const bool isChecked = (CheckAppsFolder(), true);
}

TestMachine::~TestMachine() {
  while (!state->variables.empty()) state->variables.pop_back();
}

void TestMachine::CreateKey(const KeyPath& key) { state->registry.CreateKey(key); }

void TestMachine::SetValue(const KeyPath& key, std::u16string_view name, platform::DWORD type,
                           std::span<const std::uint8_t> bytes) {
  state->registry.SetValue(key, std::u16string(name), type, bytes);
}

bool TestMachine::DeleteKey(const KeyPath& key) { return state->registry.DeleteKey(key); }

void TestMachine::ImportReg(std::string_view regText) {
  const auto text = FromUtf8(regText);
  // The keys are created before the import, so that they are recorded and deleted when the test ends.
  for (auto start = text.find(u"\n[HKEY"); start != std::u16string::npos;
       start = text.find(u"\n[HKEY", start + 1)) {
    const auto end = text.find_first_of(u"\r\n", start + 1);
    const auto line = text.substr(start + 2, end - start - 2);
    CreateKey(line.substr(0, line.rfind(u']')));
  }
  const auto file = state->folder / "import.reg";
  std::ofstream(file, std::ios::binary)
      << "\xFF\xFE"
      << std::string_view(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t));
  RunAndWait(L"reg.exe import \"" + file.wstring() + L"\"");
}

bool TestMachine::HasKey(const KeyPath& key) { return static_cast<bool>(OpenKey(key, KEY_READ)); }

std::vector<std::u16string> TestMachine::SubKeyNames(const KeyPath& key) {
  std::vector<std::u16string> names;
  const OpenKey open(key, KEY_READ);
  wchar_t name[256];
  for (DWORD index = 0; open; ++index) {
    DWORD chars = 256;
    if (RegEnumKeyExW(open.Get(), index, name, &chars, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
      break;
    names.push_back(Text({name, chars}));
  }
  return names;
}

std::uint64_t TestMachine::LastWriteTime(const KeyPath& key) {
  const OpenKey open(key, KEY_READ);
  FILETIME time = {};
  if (RegQueryInfoKeyW(open.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr, nullptr, &time) != ERROR_SUCCESS) {
    throw std::runtime_error("there is no such key");
  }
  return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

bool TestMachine::SetLastWriteTime(const KeyPath&, std::uint64_t) { return false; }

void TestMachine::SetVariable(std::u16string_view name, std::u16string_view value) {
  state->variables.push_back(std::make_unique<EarlierVariable>(name, value));
}

platform::HANDLE TestMachine::MakeMutex(const std::u16string& name) {
  const HANDLE mutex = CreateMutexW(nullptr, FALSE, Wide(name));
  if (!mutex) throw std::runtime_error("no mutex");
  return mutex;
}

std::u16string TestMachine::Folder() {
  const auto folder = NewFolder();
  state->madePaths.push_back(folder);
  return folder.u16string();
}

void TestMachine::MakeFile(const std::u16string& path, std::string_view contents) {
  const fs::path file(path);
  if (IsInUse() && !path.starts_with(fs::temp_directory_path().u16string()))
    throw NotOnThisMachine("a file outside of the folder of the tests");
  auto topmost = file;
  while (topmost.has_relative_path() && !fs::exists(topmost.parent_path())) topmost = topmost.parent_path();
  state->madePaths.push_back(topmost);
  fs::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary);
  stream << contents;
  if (!stream.flush()) throw std::runtime_error("a file cannot be made");
}

void TestMachine::MakeProgram(const std::u16string& path, const std::vector<ProgramStep>& steps,
                              int exitCode) {
  if (IsInUse() && !IsElevated())
    throw NotOnThisMachine("administrator rights are missing: Windows would ask at each start of a program");
  MakeFile(path, "");
  // Two files on one drive are the same file for fs::copy_file of mingw-w64.
  if (!CopyFileW((ProgramPath().parent_path() / "kestrelbay-test-program.exe").c_str(), Wide(path), FALSE))
    throw std::runtime_error("a program cannot be made");
  std::u16string script;
  const auto add = [&](std::u16string_view field) { script.append(field).push_back(u'\n'); };
  for (const ProgramStep& step : steps) {
    const bool makesKeys =
        step.kind == ProgramStep::Kind::CreateKey || step.kind == ProgramStep::Kind::SetText;
    if (makesKeys) state->registry.DeleteLater(step.key);
    const bool waits = step.kind == ProgramStep::Kind::WaitForSignal;
    if (!waits) state->registry.RequireOwn(step.key);
    add(Decimal(static_cast<int>(step.kind)));
    add(step.key.path);
    add(Decimal(static_cast<int>(step.key.view)));
    add(waits ? signals->NameOf(step.name) : step.name);
    add(step.text);
  }
  script.insert(0, Decimal(exitCode) + u"\n");
  MakeFile(path + u".steps",
           {reinterpret_cast<const char*>(script.data()), script.size() * sizeof(char16_t)});
  state->madePaths.push_back(path + u".parameters");
  state->madePaths.push_back(path + u".ran");
}

void TestMachine::Signal(const std::u16string& name) { SetEvent(signals->Find(name)); }

void TestMachine::WaitForProgram(const std::u16string& path) {
  while (!ProgramRan(path)) Sleep(1);
}

bool TestMachine::ProgramRan(const std::u16string& path) { return fs::exists(path + u".ran"); }

std::u16string TestMachine::ParametersOf(const std::u16string& path) {
  std::ifstream stream(fs::path(path + u".parameters"), std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  std::u16string parameters(bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(parameters.data(), bytes.data(), bytes.size());
  return parameters;
}

std::u16string TestMachine::HostPath() { return ProgramPath().u16string(); }

std::u16string TestMachine::CurrentDirectory() { return fs::current_path().u16string(); }

void TestMachine::Enter(const std::u16string& folder) { fs::current_path(folder); }

std::vector<LogRecord> TestMachine::LogRecords() {
  std::vector<LogRecord> records;
  std::ifstream stream(state->folder / "log.txt", std::ios::binary);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream fields(line);
    std::string time;
    LogRecord record;
    fields >> time >> record.level >> record.file;
    std::getline(fields.ignore(1), record.format);
    records.push_back(record);
  }
  return records;
}

// The system's C runtime already returns the error number if the program has no handler.
void TestMachine::IgnoreInvalidParameters() {}

std::u16string HiveOfTests() {
  return IsInUse() ? OwnHive() : u"HKEY_USERS\\S-1-5-21-4000000000-4000000000-4000000000-1001";
}

platform::DWORD ExitCodeOf(platform::HANDLE process) {
  DWORD exitCode = STILL_ACTIVE;
  if (!GetExitCodeProcess(process, &exitCode)) throw std::runtime_error("a process is unknown");
  return exitCode;
}

bool RunsOnWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

}  // namespace tests
