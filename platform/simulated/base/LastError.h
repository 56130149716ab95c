/** The calling thread's last error number, as GetLastError tells it. */
#pragma once

#include "simulated/base/WindowsNumbers.h"

namespace simulated {

void SetLastError(platform::DWORD lastError);

}  // namespace simulated
