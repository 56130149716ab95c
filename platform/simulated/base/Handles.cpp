#include "simulated/base/Handles.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "platform/Constants.h"
#include "simulated/base/Clock.h"

namespace simulated {
namespace {

using Objects = std::span<const std::shared_ptr<Waitable>>;

/** The index that ends a wait now; nothing if it must go on. */
std::optional<platform::DWORD> TakeSignalled(Objects objects, bool all) {
  const auto signalled = [](const std::shared_ptr<Waitable>& object) { return object->signalled; };
  const auto first = std::find_if(objects.begin(), objects.end(), signalled);
  if (all ? !std::all_of(objects.begin(), objects.end(), signalled) : first == objects.end())
    return std::nullopt;
  for (const auto& object : all ? objects : Objects(&*first, 1)) {
    if (!object->staysSignalled) object->signalled = false;
  }
  return all ? 0 : static_cast<platform::DWORD>(first - objects.begin());
}

}  // namespace

Handles& Handles::Shared() {
  // Never freed, because detached threads use it until the end of the process.
  static Handles& shared = *new Handles;
  return shared;
}

platform::HANDLE Handles::Add(std::shared_ptr<Waitable> waitable) {
  ++waitable->handleCount;
  return open_.Open(std::move(waitable));
}

platform::HANDLE Handles::Open(std::shared_ptr<Waitable> waitable) {
  const std::lock_guard guard(lock_);
  return Add(std::move(waitable));
}

platform::HANDLE Handles::OpenEvent(Waitable event, bool& made) {
  const std::lock_guard guard(lock_);
  const auto named = event.name.empty() ? named_.end() : named_.find(event.name);
  made = named == named_.end();
  if (!made) return named->second->kind == event.kind ? Add(named->second) : nullptr;
  const auto opened = std::make_shared<Waitable>(std::move(event));
  if (!opened->name.empty()) named_.emplace(opened->name, opened);
  return Add(opened);
}

bool Handles::Close(platform::HANDLE handle) {
  const std::lock_guard guard(lock_);
  const std::shared_ptr<Waitable> closed = open_.Close(handle);
  if (!closed) return false;
  if (--closed->handleCount == 0 && !closed->name.empty()) named_.erase(closed->name);
  return true;
}

std::shared_ptr<Waitable> Handles::Find(platform::HANDLE handle) const { return open_.Find(handle); }

std::size_t Handles::OpenCount(Waitable::Kind kind) const {
  return open_.OpenCount([kind](const Waitable& waitable) { return waitable.kind == kind; });
}

void Handles::Signal(Waitable& waitable, bool signalled) {
  const std::lock_guard guard(lock_);
  waitable.signalled = signalled;
  if (signalled) changed_.notify_all();
}

bool Handles::IsSignalled(const Waitable& waitable) const {
  const std::lock_guard guard(lock_);
  return waitable.signalled;
}

void Handles::SetExitCode(Waitable& process, platform::DWORD exitCode) {
  const std::lock_guard guard(lock_);
  process.exitCode = exitCode;
}

void Handles::Wake() {
  const std::lock_guard guard(lock_);
  changed_.notify_all();
}

platform::DWORD Handles::Wait(Objects objects, bool all, platform::DWORD timeoutMs, const Clock& clock) {
  std::unique_lock guard(lock_);
  const std::uint64_t deadlineMs = clock.ElapsedMs() + timeoutMs;
  while (true) {
    if (const auto ended = TakeSignalled(objects, all)) return *ended;
    if (timeoutMs == platform::INFINITE) {
      changed_.wait(guard);
      continue;
    }
    const std::uint64_t nowMs = clock.ElapsedMs();
    if (nowMs >= deadlineMs) return platform::WAIT_TIMEOUT;
    // Advance wakes the wait each time.
    if (clock.HasSimulatedTime()) {
      changed_.wait(guard);
    } else {
      changed_.wait_for(guard, std::chrono::milliseconds(deadlineMs - nowMs));
    }
  }
}

}  // namespace simulated
