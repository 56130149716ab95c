/**
 * The invalid-parameter handler of the C runtime, which runs if a buffer is too small or a pointer is null.
 *
 * Process-wide, as on Windows. Without a handler the operation returns its error number, as it does in the
 * runtime that the DLL is built with.
 */
#pragma once

namespace simulated {

/** @param operation  the Windows name of the operation */
using InvalidParameterHandler = void (*)(const char* operation);

/** Sets the handler. It runs on the thread that calls the operation. Null removes it. @return the old one */
InvalidParameterHandler SetInvalidParameterHandler(InvalidParameterHandler handler);

/** Calls the handler, if there is one. */
void RaiseInvalidParameter(const char* operation);

}  // namespace simulated
