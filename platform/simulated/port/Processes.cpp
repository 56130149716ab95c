#include "platform/Processes.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "platform/Constants.h"
#include "simulated/machine/BuiltInPrograms.h"
#include "simulated/machine/FilePath.h"
#include "simulated/port/Call.h"

namespace simulated {
namespace {

using platform::BOOL;
using platform::DWORD;
using platform::HANDLE;
using platform::PROCESS_INFORMATION;
using platform::SHELLEXECUTEINFOW;
using platform::STARTUPINFOW;

struct FoundProgram {
  std::u16string path;
  Program program;
  /** The program of Windows to run instead of `program`, or null. */
  BuiltIn builtIn = nullptr;
  /** Error number if something at the path cannot be started, such as a folder; otherwise 0. */
  DWORD problem = 0;
};

/** CreateProcess and the shell look for a bare name in different places. */
enum class Seeker { Creation, Shell };

constexpr std::u16string_view kProgramExtensions[] = {u".exe", u".com", u".bat", u".cmd"};
constexpr char16_t kAppPaths[] = u"\\Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\";

BOOL Fail(DWORD lastError) {
  SetLastError(lastError);
  return 0;
}

/** Whether Windows runs files of that name; it hands batch files to their interpreter. */
bool EndsLikeAProgram(std::u16string_view path) {
  return std::ranges::any_of(kProgramExtensions, [path](std::u16string_view extension) {
    return path.size() > extension.size() && SameName(path.substr(path.size() - extension.size()), extension);
  });
}

bool IsBareName(std::u16string_view name) { return name.find_first_of(u"\\/:") == name.npos; }

bool HasExtension(std::u16string_view path) {
  const auto lastName = path.find_last_of(u"\\/") + 1;
  return path.find(u'.', lastName) != path.npos;
}

/** A program of the machine replaces a built-in one, and a built-in one needs no file on the drive. */
std::optional<FoundProgram> FindAt(Machine& machine, const std::u16string& path) {
  const bool isThere = machine.drives.Exists(path);
  const auto program = machine.programs.Find(path);
  if (program && (isThere || !program->needsFile)) return FoundProgram{path, *program};
  if (const BuiltIn builtIn = FindBuiltIn(machine, path)) return FoundProgram{path, {}, builtIn};
  if (!isThere) return std::nullopt;
  if (machine.drives.IsFolder(path)) return FoundProgram{path, {}, nullptr, kAccessDenied};
  return FoundProgram{path, {}, nullptr, EndsLikeAProgram(path) ? 0 : kBadExeFormat};
}

std::u16string WithoutQuotes(std::u16string_view file) {
  while (file.size() >= 2 && file.front() == u'"' && file.back() == u'"')
    file = file.substr(1, file.size() - 2);
  return std::u16string(file);
}

/** The folders in which Windows searches for a bare name, in its order. */
std::vector<std::u16string> SearchFolders(const Machine& machine, Seeker seeker) {
  const std::u16string windows = WindowsFolder(machine);
  std::vector<std::u16string> folders = {machine.currentDirectory, windows, windows + u"\\System32"};
  if (seeker == Seeker::Creation) {
    std::swap(folders[1], folders[2]);
    folders.insert(folders.begin(), machine.hostPath.substr(0, machine.hostPath.rfind(u'\\')));
  }
  std::u16string path = machine.environment.Find(u"Path").value_or(u"") + u';';
  for (std::size_t end; (end = path.find(u';')) != path.npos; path.erase(0, end + 1)) {
    if (end != 0) folders.push_back(WithoutQuotes(path.substr(0, end)));
  }
  return folders;
}

/** The path that is registered for a program's name, for the user or for the machine; empty without one. */
std::u16string AppPath(Machine& machine, const std::u16string& name) {
  const std::lock_guard guard(machine.registry.Lock());
  for (const char16_t* root : {u"HKEY_CURRENT_USER", u"HKEY_LOCAL_MACHINE"}) {
    Key* const key = machine.registry.Find(std::u16string(root) + kAppPaths + name);
    ValueView value;
    if (!key || !key->FindValue(u"", value)) continue;
    std::u16string path(value.bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(path.data(), value.bytes.data(), path.size() * sizeof(char16_t));
    return path.substr(0, path.find(u'\0'));
  }
  return {};
}

std::optional<FoundProgram> FindNamed(Machine& machine, const std::u16string& name, Seeker seeker) {
  if (name.empty()) return std::nullopt;
  if (!IsBareName(name)) return FindAt(machine, WholePath(machine, name));
  if (auto program = machine.programs.Find(name)) return FoundProgram{name, *program};
  for (const std::u16string& folder : SearchFolders(machine, seeker)) {
    if (auto found = FindAt(machine, folder + u'\\' + name)) return found;
  }
  const std::u16string appPath = seeker == Seeker::Shell ? AppPath(machine, name) : std::u16string();
  return appPath.empty() ? std::nullopt : FindAt(machine, appPath);
}

std::optional<FoundProgram> FindProgram(Machine& machine, std::u16string_view name, Seeker seeker) {
  const std::u16string given(name);
  if (HasExtension(given)) return FindNamed(machine, given, seeker);
  if (auto found = FindNamed(machine, given + u".exe", seeker)) return found;
  return FindNamed(machine, given, seeker);
}

std::u16string WithoutLeadingBlanks(std::u16string_view text) {
  const auto begin = text.find_first_not_of(u" \t");
  return begin == text.npos ? std::u16string() : std::u16string(text.substr(begin));
}

/**
 * Finds the program at the beginning of a command line. Without quotes the name may contain blanks: as on
 * Windows, the shortest beginning that names a program is used.
 * @param parameters  out: the rest of the line
 */
std::optional<FoundProgram> FindByCommandLine(Machine& machine, std::u16string_view line,
                                              std::u16string& parameters) {
  if (line.starts_with(u'"')) {
    const auto end = std::min(line.find(u'"', 1), line.size());
    parameters = WithoutLeadingBlanks(line.substr(std::min(end + 1, line.size())));
    return FindProgram(machine, line.substr(1, end - 1), Seeker::Creation);
  }
  for (std::size_t end = 0; end < line.size();) {
    end = std::min(line.find_first_of(u" \t", end + 1), line.size());
    parameters = WithoutLeadingBlanks(line.substr(end));
    auto found = FindProgram(machine, line.substr(0, end), Seeker::Creation);
    // Windows skips a folder of that name.
    if (found && found->problem != kAccessDenied) return found;
  }
  return std::nullopt;
}

DWORD NextProcessId() {
  // Process and thread numbers are multiples of four, as on Windows.
  static std::atomic<DWORD> next = 0x1000;
  return next.fetch_add(4);
}

StartedProgram Launch(Machine& machine, const FoundProgram& found, const std::u16string& parameters,
                      bool isElevated) {
  Program program = found.program;
  if (found.builtIn) {
    program.run = [&machine, run = found.builtIn, parameters] { return run(machine, parameters); };
  }
  return machine.programs.Run(program, {found.path, parameters, isElevated});
}

BOOL Create(Machine& machine, const char16_t* application, const char16_t* commandLine,
            PROCESS_INFORMATION* information) {
  if (!application && !commandLine) return Fail(kInvalidParameter);
  std::u16string parameters;
  const auto found = application ? FindNamed(machine, application, Seeker::Creation)
                                 : FindByCommandLine(machine, commandLine, parameters);
  if (!found) return Fail(kFileNotFound);
  if (found->problem != 0) return Fail(found->problem);
  if (application && commandLine) parameters = commandLine;
  const StartedProgram started = Launch(machine, *found, parameters, false);
  *information = {Handles::Shared().Open(started.process), Handles::Shared().Open(started.thread),
                  NextProcessId(), NextProcessId()};
  return 1;
}

/** The value of hInstApp: an error number of 16-bit Windows, or a number above 32 for success. */
HANDLE InstanceNumber(DWORD lastError) {
  constexpr std::uintptr_t kStarted = 42;
  constexpr std::uintptr_t kNoAssociationNumber = 31;
  if (lastError == 0) return reinterpret_cast<HANDLE>(kStarted);
  if (lastError == kNoAssociation) return reinterpret_cast<HANDLE>(kNoAssociationNumber);
  return reinterpret_cast<HANDLE>(std::uintptr_t{lastError == kFileNotFound ? kFileNotFound : kAccessDenied});
}

DWORD Execute(Machine& machine, SHELLEXECUTEINFOW& execute) {
  if (execute.cbSize != sizeof execute) return kInvalidParameter;
  const auto found =
      FindProgram(machine, WithoutQuotes(execute.lpFile ? execute.lpFile : u""), Seeker::Shell);
  if (!found) return kFileNotFound;
  if (found->problem != 0) return found->problem == kBadExeFormat ? kNoAssociation : found->problem;
  const bool elevated = execute.lpVerb && SameName(execute.lpVerb, u"runas");
  if (elevated && (!machine.elevationGranted || found->program.refusesElevation)) return kCancelled;
  const std::u16string parameters = execute.lpParameters ? execute.lpParameters : u"";
  const StartedProgram started = Launch(machine, *found, parameters, elevated);
  if (found->program.givesHandle && execute.fMask & platform::SEE_MASK_NOCLOSEPROCESS) {
    execute.hProcess = Handles::Shared().Open(started.process);
  }
  return 0;
}

void DescribeCreation(Arguments& arguments, const char16_t* application, const char16_t* commandLine,
                      const void* processAttributes, const void* threadAttributes, BOOL inheritHandles,
                      DWORD creationFlags) {
  arguments.Text(application).Text(commandLine).Handle(processAttributes).Handle(threadAttributes);
  arguments.Number(inheritHandles).Hex(creationFlags);
}

void DescribeStartup(Arguments& arguments, const STARTUPINFOW* startup) {
  if (!startup) {
    arguments.Handle(nullptr);
  } else {
    arguments.Number(startup->cb).Hex(startup->dwFlags).Number(startup->wShowWindow);
  }
}

void DescribeExecution(Arguments& arguments, const SHELLEXECUTEINFOW& execute) {
  arguments.Number(execute.cbSize).Hex(execute.fMask).Handle(execute.hwnd).Text(execute.lpVerb);
  arguments.Text(execute.lpFile).Text(execute.lpParameters).Text(execute.lpDirectory).Number(execute.nShow);
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;

BOOL CreateProcessW(const char16_t* application, char16_t* commandLine, void* processAttributes,
                    void* threadAttributes, BOOL inheritHandles, DWORD creationFlags, void* environment,
                    const char16_t* currentDirectory, STARTUPINFOW* startupInfo,
                    PROCESS_INFORMATION* information) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "CreateProcessW", Failure<BOOL>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) {
        simulated::DescribeCreation(arguments, application, commandLine, processAttributes, threadAttributes,
                                    inheritHandles, creationFlags);
        arguments.Handle(environment).Text(currentDirectory);
        simulated::DescribeStartup(arguments, startupInfo);
      },
      [&] { return simulated::Create(machine, application, commandLine, information); });
}

BOOL ShellExecuteExW(SHELLEXECUTEINFOW* execute) {
  Machine& machine = CurrentMachine();
  execute->hProcess = nullptr;
  return Perform(
      &machine, "ShellExecuteExW", Failure<BOOL>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) { simulated::DescribeExecution(arguments, *execute); },
      [&] {
        const DWORD lastError = simulated::Execute(machine, *execute);
        execute->hInstApp = simulated::InstanceNumber(lastError);
        return lastError == 0 ? BOOL{1} : simulated::Fail(lastError);
      });
}

// Not through Perform, because it cannot fail and must not change the last error.
DWORD GetLastError() {
  const DWORD lastError = simulated::LastError();
  Machine* const machine = simulated::CurrentMachineOrNull();
  if (machine && machine->journal.Running()) {
    machine->journal.Record({"GetLastError", "", std::to_string(lastError), std::this_thread::get_id()});
  }
  return lastError;
}

}  // namespace platform
