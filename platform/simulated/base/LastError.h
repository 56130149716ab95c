/** The calling thread's last error number. */
#pragma once

#include "simulated/base/WindowsNumbers.h"

namespace simulated {

void SetLastError(platform::DWORD lastError);
platform::DWORD LastError();

}  // namespace simulated
