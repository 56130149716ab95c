#include "simulated/base/LastError.h"

#include "platform/Processes.h"
#include "simulated/machine/Machine.h"

namespace simulated {
namespace {

thread_local platform::DWORD lastErrorOfThread = 0;

}  // namespace

void SetLastError(platform::DWORD lastError) { lastErrorOfThread = lastError; }

}  // namespace simulated

namespace platform {

// It cannot fail, so it is told to the journal alone.
DWORD GetLastError() {
  const DWORD lastError = simulated::lastErrorOfThread;
  simulated::Machine* const machine = simulated::Machine::CurrentOrNull();
  if (machine && machine->journal.Running()) {
    machine->journal.Record({"GetLastError", "", std::to_string(lastError), std::this_thread::get_id()});
  }
  return lastError;
}

}  // namespace platform
