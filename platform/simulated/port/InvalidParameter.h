/**
 * What the C runtime does when one of its operations is given too little room or a null pointer.
 *
 * Process-wide, as in Windows. Without a handler nothing more happens and the operation answers with its
 * error number: so does the runtime that the DLL is built with.
 */
#pragma once

namespace simulated {

/** @param operation the Windows name of the operation that was called wrongly */
using InvalidParameterHandler = void (*)(const char* operation);

/** Has `handler`, or nothing for null, called from now on, on the calling thread. @return the one before */
InvalidParameterHandler SetInvalidParameterHandler(InvalidParameterHandler handler);

/** Calls the handler, if there is one. */
void RaiseInvalidParameter(const char* operation);

}  // namespace simulated
