/*
 * Starts a proof and closes its window as Windows does, while a test has keys: close-window COMMAND-LINE. A
 * thread of the proof calls its handlers. When they return, Windows ends the proof. Exit status: 0 if the
 * proof has ended by itself before, 1 if it was ended, 2 if it did not run.
 *
 * Windows waits five seconds for the handlers. This program waits longer, because Wine may be slow.
 */
#include <windows.h>

static const DWORD kStoppedProof = 2;
static const DWORD kPatienceMs = 60000;

static BOOL HasMadeKeys(void) {
  WCHAR path[MAX_PATH];
  ExpandEnvironmentStringsW(L"%ProgramData%\\KestrelbayProof\\temp\\kestrelbay-test-keys.bin", path,
                            MAX_PATH);
  return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

/** The end of a process gives its exit code to each of its threads. */
static DWORD CloseWindowOf(HANDLE process) {
  DWORD code = 0;
  void* const handlers = (void*)GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CtrlRoutine");
  const HANDLE thread = CreateRemoteThread(process, NULL, 0, (LPTHREAD_START_ROUTINE)handlers,
                                           (void*)CTRL_CLOSE_EVENT, 0, NULL);
  WaitForSingleObject(thread, kPatienceMs);
  GetExitCodeThread(thread, &code);
  TerminateProcess(process, 1);
  return code;
}

int main(int count, char** arguments) {
  STARTUPINFOA startup = {.cb = sizeof startup};
  PROCESS_INFORMATION proof;
  if (count != 2) return 2;
  if (!CreateProcessA(NULL, arguments[1], NULL, NULL, FALSE, 0, NULL, NULL, &startup, &proof)) return 2;
  while (!HasMadeKeys()) {
    if (WaitForSingleObject(proof.hProcess, 20) != WAIT_TIMEOUT) return 2;
  }
  return CloseWindowOf(proof.hProcess) == kStoppedProof ? 0 : 1;
}
