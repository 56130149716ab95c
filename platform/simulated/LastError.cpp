#include "simulated/LastError.h"

#include "platform/Processes.h"

namespace simulated {
namespace {

thread_local platform::DWORD lastErrorOfThread = 0;

}  // namespace

void SetLastError(platform::DWORD lastError) { lastErrorOfThread = lastError; }

}  // namespace simulated

namespace platform {

DWORD GetLastError() { return simulated::lastErrorOfThread; }

}  // namespace platform
