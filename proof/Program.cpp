#include "Program.h"

#include <windows.h>
// windows.h must come first.
#include <tlhelp32.h>

#include <array>

namespace proof {
namespace {

HANDLE stopEvent = nullptr;

BOOL WINAPI Stop(DWORD reason) {
  SetEvent(stopEvent);
  // After Ctrl-C and Ctrl-Break the process goes on. Otherwise Windows ends it when this returns, and the
  // cleanup needs the seconds that Windows gives to this handler. The end of main ends this thread.
  if (reason != CTRL_C_EVENT && reason != CTRL_BREAK_EVENT) Sleep(INFINITE);
  return TRUE;
}

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() {
    if (handle_ && handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  HANDLE Get() const { return handle_; }

 private:
  HANDLE handle_;
};

/** A job that ends all its processes when its last handle is closed, even because this process is killed. */
HANDLE MakeJob() {
  const HANDLE job = CreateJobObjectW(nullptr, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

HANDLE CreateOutput(const std::filesystem::path& path) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  return CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

void Programs::CatchStop() {
  stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  SetConsoleCtrlHandler(&Stop, TRUE);
}

void Programs::ReleaseStop() { SetConsoleCtrlHandler(&Stop, FALSE); }

bool Programs::IsStopped() { return WaitForSingleObject(stopEvent, 0) == WAIT_OBJECT_0; }

Run Programs::RunToEnd(const std::wstring& commandLine, const std::filesystem::path& folder,
                       const std::filesystem::path& output, std::chrono::milliseconds limit) {
  const Handle job(MakeJob());
  const Handle file(CreateOutput(output));
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = file.Get();
  startup.hStdError = file.Get();
  PROCESS_INFORMATION information = {};
  std::wstring line = commandLine;
  const auto begin = std::chrono::steady_clock::now();
  if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, folder.c_str(),
                      &startup, &information)) {
    return {};
  }
  const Handle process(information.hProcess);
  const Handle thread(information.hThread);
  // Old versions of Windows refuse it for a process of another job. Then only the process itself can be
  // ended.
  AssignProcessToJobObject(job.Get(), process.Get());
  ResumeThread(thread.Get());
  const HANDLE awaited[] = {process.Get(), stopEvent};
  const DWORD wait = WaitForMultipleObjects(2, awaited, FALSE, static_cast<DWORD>(limit.count()));
  Run run;
  run.end = wait == WAIT_OBJECT_0 ? End::Exited : wait == WAIT_TIMEOUT ? End::TimedOut : End::Stopped;
  if (run.end != End::Exited) {
    TerminateJobObject(job.Get(), 1);
    TerminateProcess(process.Get(), 1);
  }
  WaitForSingleObject(process.Get(), INFINITE);
  GetExitCodeProcess(process.Get(), &run.exitCode);
  run.time = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
  return run;
}

void Programs::EndAllOf(const std::filesystem::path& folder) {
  const Handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  const std::wstring beginning = folder.wstring() + L"\\";
  for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more;
       more = Process32NextW(snapshot.Get(), &entry)) {
    const Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE | SYNCHRONIZE,
                                     FALSE, entry.th32ProcessID));
    std::array<wchar_t, 32768> path{};
    DWORD chars = path.size();
    const bool isOwn = process.Get() && QueryFullProcessImageNameW(process.Get(), 0, path.data(), &chars) &&
                       chars > beginning.size() &&
                       CompareStringOrdinal(path.data(), static_cast<int>(beginning.size()), beginning.data(),
                                            static_cast<int>(beginning.size()), TRUE) == CSTR_EQUAL;
    constexpr DWORD kPatienceMs = 10'000;
    if (isOwn && TerminateProcess(process.Get(), 1)) WaitForSingleObject(process.Get(), kPatienceMs);
  }
}

}  // namespace proof
