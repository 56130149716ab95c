#include "platform/Events.h"

#include "platform/Constants.h"
#include "simulated/port/Call.h"

namespace simulated {
namespace {

using platform::DWORD;
using platform::HANDLE;

/** Windows' limit: MAX_PATH. */
constexpr std::size_t kLongestObjectName = 260;

/** There is one session, so the scopes Local and Global are the same. */
std::u16string_view WithoutScope(std::u16string_view name) {
  for (const std::u16string_view scope : {u"Local\\", u"Global\\"}) {
    if (name.starts_with(scope)) return name.substr(scope.size());
  }
  return name;
}

/** Checks a name without its scope. Any other backslash would name a folder of objects that does not exist.
 */
DWORD CheckName(std::u16string_view name) {
  if (name.starts_with(u'\\')) return kBadPathName;
  if (name.find(u'\\') != name.npos) return kPathNotFound;
  return name.size() > kLongestObjectName ? kNameTooLong : 0;
}

HANDLE Create(bool manualReset, bool initialState, const char16_t* givenName) {
  const std::u16string_view name = givenName ? WithoutScope(givenName) : std::u16string_view();
  if (const DWORD problem = CheckName(name); problem != 0) {
    SetLastError(problem);
    return nullptr;
  }
  bool made = false;
  Waitable event{Waitable::Kind::Event, initialState, manualReset, std::u16string(name), 0};
  const HANDLE handle = Handles::Shared().OpenEvent(std::move(event), made);
  // Objects of every kind share one table of names. On success Windows resets the last error, or reports
  // through it that the event existed.
  SetLastError(!handle ? kInvalidHandle : made ? 0 : kAlreadyExists);
  return handle;
}

platform::BOOL Signal(HANDLE handle) {
  const auto event = Handles::Shared().Find(handle);
  if (!event || event->kind != Waitable::Kind::Event) {
    SetLastError(kInvalidHandle);
    return 0;
  }
  Handles::Shared().Signal(*event);
  return 1;
}

platform::BOOL Close(HANDLE handle) {
  if (Handles::Shared().Close(handle)) return 1;
  SetLastError(kInvalidHandle);
  return 0;
}

DWORD FailWait(DWORD lastError) {
  SetLastError(lastError);
  return platform::WAIT_FAILED;
}

DWORD Wait(DWORD count, const HANDLE* handles, bool all, DWORD timeoutMs) {
  if (count == 0 || count > platform::MAXIMUM_WAIT_OBJECTS) return FailWait(kInvalidParameter);
  std::vector<std::shared_ptr<Waitable>> objects;
  for (DWORD i = 0; i < count; ++i) {
    objects.push_back(Handles::Shared().Find(handles[i]));
    if (!objects.back()) return FailWait(kInvalidHandle);
  }
  // Before any machine is chosen, timeouts follow the real time. Never freed: threads may wait until the end.
  static const Clock& realTime = *new Clock;
  const Machine* machine = CurrentMachineOrNull();
  return Handles::Shared().Wait(objects, all, timeoutMs, machine ? machine->clock : realTime);
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::CurrentMachineOrNull;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;

HANDLE CreateEventW(void* attributes, BOOL manualReset, BOOL initialState, const char16_t* name) {
  return Perform(
      CurrentMachineOrNull(), "CreateEventW", Failure<HANDLE>{nullptr, simulated::kNoSystemResources},
      [&](Arguments& arguments) {
        arguments.Handle(attributes).Number(manualReset).Number(initialState).Text(name);
      },
      [&] { return simulated::Create(manualReset != 0, initialState != 0, name); });
}

BOOL SetEvent(HANDLE event) {
  return Perform(
      CurrentMachineOrNull(), "SetEvent", Failure<BOOL>{0, simulated::kInvalidHandle},
      [&](Arguments& arguments) { arguments.Handle(event); }, [&] { return simulated::Signal(event); });
}

BOOL CloseHandle(HANDLE handle) {
  return Perform(
      CurrentMachineOrNull(), "CloseHandle", Failure<BOOL>{0, simulated::kInvalidHandle, true},
      [&](Arguments& arguments) { arguments.Handle(handle); }, [&] { return simulated::Close(handle); });
}

DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD timeoutMs) {
  return Perform(
      CurrentMachineOrNull(), "WaitForMultipleObjects",
      Failure<DWORD>{WAIT_FAILED, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) {
        arguments.Number(count);
        for (DWORD i = 0; i < count; ++i) arguments.Handle(handles[i]);
        arguments.Number(waitAll).Number(timeoutMs);
      },
      [&] { return simulated::Wait(count, handles, waitAll != 0, timeoutMs); });
}

void Sleep(DWORD durationMs) {
  Machine& machine = CurrentMachine();
  Perform(
      &machine, "Sleep", [&](Arguments& arguments) { arguments.Number(durationMs); },
      [&] { machine.clock.Sleep(durationMs); });
}

// glibc allocates nothing for a mutex.
void DestroyMutex(std::mutex&) {}
void DestroyMutex(std::recursive_mutex&) {}

}  // namespace platform
