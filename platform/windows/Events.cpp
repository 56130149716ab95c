#include "platform/Events.h"

#include <windows.h>

#include "Casts.h"

namespace platform {

HANDLE CreateEventW(void* attributes, BOOL manualReset, BOOL initialState, const char16_t* name) {
  return ::CreateEventW(static_cast<SECURITY_ATTRIBUTES*>(attributes), manualReset, initialState, Wide(name));
}

BOOL SetEvent(HANDLE event) { return ::SetEvent(event); }

}  // namespace platform
