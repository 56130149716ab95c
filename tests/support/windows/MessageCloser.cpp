#include <windows.h>

#include <atomic>
#include <thread>

#include "TestMachine.h"

namespace tests {
namespace {

// The window class of dialogs. A message box is a dialog.
constexpr wchar_t kDialogClass[] = L"#32770";
constexpr auto kPause = std::chrono::milliseconds(20);

BOOL CALLBACK AnswerDialog(HWND window, LPARAM) {
  DWORD process = 0;
  wchar_t className[8] = {};
  GetWindowThreadProcessId(window, &process);
  const bool isDialog =
      GetClassNameW(window, className, std::size(className)) != 0 && lstrcmpW(className, kDialogClass) == 0;
  if (process == GetCurrentProcessId() && isDialog) PostMessageW(window, WM_COMMAND, IDOK, 0);
  return TRUE;
}

}  // namespace

struct MessageCloser::State {
  ~State() {
    isOver = true;
    thread.join();
  }

  std::atomic<bool> isOver = false;
  std::thread thread{[this] {
    while (!isOver) {
      EnumWindows(&AnswerDialog, 0);
      std::this_thread::sleep_for(kPause);
    }
  }};
};

MessageCloser::MessageCloser() : state(std::make_unique<State>()) {}
MessageCloser::~MessageCloser() = default;

}  // namespace tests
