/** Events, waits and pauses. */
#pragma once

#include "platform/Types.h"

namespace platform {

/**
 * Creates an event, or opens the one that already bears the name.
 * @param attributes    null
 * @param manualReset   true: stays signalled until it is reset; false: the wait that it ends clears it
 * @param initialState  true: starts out signalled
 * @param name          null for an unnamed event; a name with a backslash is refused
 * @return a handle that CloseHandle closes, or null with the last error set
 */
HANDLE CreateEventW(void* attributes, BOOL manualReset, BOOL initialState, const char16_t* name);

/** Signals an event. @return 0 on failure, with the last error set */
BOOL SetEvent(HANDLE event);

}  // namespace platform
