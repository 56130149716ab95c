#include "platform/Processes.h"

#include <atomic>

#include "platform/Constants.h"
#include "simulated/machine/ProgramSearch.h"
#include "simulated/port/Call.h"

namespace simulated {
namespace {

using platform::BOOL;
using platform::DWORD;
using platform::HANDLE;
using platform::PROCESS_INFORMATION;
using platform::SHELLEXECUTEINFOW;
using platform::STARTUPINFOW;

BOOL Fail(DWORD lastError) {
  SetLastError(lastError);
  return 0;
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
