#include "platform/Events.h"

#include <pthread.h>
#include <windows.h>

#include "Casts.h"

namespace platform {

HANDLE CreateEventW(void* attributes, BOOL manualReset, BOOL initialState, const char16_t* name) {
  return ::CreateEventW(static_cast<SECURITY_ATTRIBUTES*>(attributes), manualReset, initialState, Wide(name));
}

BOOL SetEvent(HANDLE event) { return ::SetEvent(event); }

BOOL CloseHandle(HANDLE handle) { return ::CloseHandle(handle); }

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD timeoutMs) {
  return ::WaitForMultipleObjects(count, handles, waitAll, timeoutMs);
}

void Sleep(DWORD durationMs) { ::Sleep(durationMs); }

// The standard mutexes of mingw-w64 are mutexes of winpthreads with a trivial destructor.
void DestroyMutex(std::mutex& mutex) { ::pthread_mutex_destroy(mutex.native_handle()); }
void DestroyMutex(std::recursive_mutex& mutex) { ::pthread_mutex_destroy(mutex.native_handle()); }

}  // namespace platform
