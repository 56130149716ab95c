#include "simulated/base/LastError.h"

namespace simulated {
namespace {

thread_local platform::DWORD lastErrorOfThread = 0;

}  // namespace

void SetLastError(platform::DWORD lastError) { lastErrorOfThread = lastError; }

platform::DWORD LastError() { return lastErrorOfThread; }

}  // namespace simulated
