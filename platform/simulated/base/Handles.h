/**
 * The events, processes and threads that HANDLEs of the host's process refer to.
 *
 * They outlive any machine, because the library creates events when it is loaded. Thread-safe.
 */
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <unordered_map>

#include "platform/Types.h"
#include "simulated/base/ObjectTable.h"

namespace simulated {

class Clock;

/** An object that a thread can wait for. Guarded by the lock of Handles. */
struct Waitable {
  /** No thread waits for a mutex: tests create one so that no event can have its name. */
  enum class Kind { Event, Process, Thread, Mutex };

  Kind kind;
  bool signalled = false;
  /** False for an automatic reset: the wait that it ends clears it. */
  bool staysSignalled = true;
  std::u16string name = {};
  /** STILL_ACTIVE (259) until the process has ended. */
  platform::DWORD exitCode = 259;
  /** Open handles. Closing the last one frees the name, even if a watch still holds the object. */
  std::size_t handleCount = 0;
};

class Handles {
 public:
  static Handles& Shared();

  platform::HANDLE Open(std::shared_ptr<Waitable> waitable);
  /**
   * Opens the event of that name, or creates it. Tests also create a mutex with this function.
   * @param made  out: whether it was created
   * @return null if an object of another kind has the name
   */
  platform::HANDLE OpenEvent(Waitable event, bool& made);
  /** @return false if the handle is not open */
  bool Close(platform::HANDLE handle);
  std::shared_ptr<Waitable> Find(platform::HANDLE handle) const;
  /** Counts the open handles of a kind. */
  std::size_t OpenCount(Waitable::Kind kind) const;

  void Signal(Waitable& waitable, bool signalled = true);
  bool IsSignalled(const Waitable& waitable) const;
  void SetExitCode(Waitable& process, platform::DWORD exitCode);
  /** Makes all waits check the clock again. */
  void Wake();

  /**
   * Blocks until one of the objects, or all of them, are signalled.
   * @param timeoutMs  measured by `clock`, or INFINITE (0xFFFFFFFF)
   * @return the index of the first that ended the wait, or WAIT_TIMEOUT (258)
   */
  platform::DWORD Wait(std::span<const std::shared_ptr<Waitable>> objects, bool all,
                       platform::DWORD timeoutMs, const Clock& clock);

 private:
  /** With the lock held. */
  platform::HANDLE Add(std::shared_ptr<Waitable> waitable);

  mutable std::mutex lock_;
  std::condition_variable changed_;
  ObjectTable<platform::HANDLE, Waitable> open_;
  std::unordered_map<std::u16string, std::shared_ptr<Waitable>> named_;
};

}  // namespace simulated
