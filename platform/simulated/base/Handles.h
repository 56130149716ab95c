/**
 * The events and processes of the host's own process: what a HANDLE of the port refers to.
 *
 * They outlive any machine, since a library makes events when it is loaded. A closed handle's value is not
 * given out again, so that using it is always noticed. Safe for any number of threads.
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

namespace simulated {

class Clock;

/** What can be waited for. Guarded by the table's lock. */
struct Waitable {
  /** A mutex is never waited for: a test makes one, which takes its name away from events. */
  enum class Kind { Event, Process, Thread, Mutex };

  Kind kind;
  bool signalled = false;
  /** False: the wait that it ends clears it. */
  bool staysSignalled = true;
  std::u16string name = {};
  platform::DWORD exitCode = 259;
  /** How many are open for it: a name goes with the last, whoever else still holds the object. */
  std::size_t handleCount = 0;
};

class Handles {
 public:
  static Handles& Shared();

  platform::HANDLE Open(std::shared_ptr<Waitable> waitable);
  /**
   * Opens an event, or in tests a mutex, by its name, made if need be.
   * @param made  receives whether it was
   * @return null if an object of another kind bears the name
   */
  platform::HANDLE OpenEvent(Waitable event, bool& made);
  /** @return false for what is no open handle */
  bool Close(platform::HANDLE handle);
  std::shared_ptr<Waitable> Find(platform::HANDLE handle) const;
  /** How many are open. */
  std::size_t OpenCount(Waitable::Kind kind) const;

  void Signal(Waitable& waitable, bool signalled = true);
  bool IsSignalled(const Waitable& waitable) const;
  void SetExitCode(Waitable& process, platform::DWORD exitCode);
  /** Has waits look at the clock again. */
  void Wake();

  /**
   * Waits for one of the objects, or for all of them.
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
  std::unordered_map<platform::HANDLE, std::shared_ptr<Waitable>> open_;
  std::unordered_map<std::u16string, std::shared_ptr<Waitable>> named_;
  std::uintptr_t nextValue_ = 0x100;
};

}  // namespace simulated
