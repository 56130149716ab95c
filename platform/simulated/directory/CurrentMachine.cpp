#include "simulated/directory/CurrentMachine.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "simulated/directory/MachineDirectory.h"

namespace simulated {
namespace {

std::atomic<Machine*> current = nullptr;

std::mutex& ReplacementLock() {
  static std::mutex& lock = *new std::mutex;
  return lock;
}

std::unique_ptr<Machine> MakeFirstMachine() {
  const char* directory = std::getenv("KESTRELBAY_MACHINE");
  if (!directory || !*directory) return std::make_unique<Machine>();
  try {
    return OpenMachine(directory, Changes::Lasting);
  } catch (const MachineError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    std::exit(1);
  }
}

}  // namespace

Machine* CurrentMachineOrNull() { return current.load(std::memory_order_acquire); }

Machine& CurrentMachine() {
  if (Machine* chosen = CurrentMachineOrNull()) return *chosen;
  const std::lock_guard guard(ReplacementLock());
  // Never freed, because the library's destructors close keys until the process ends.
  if (!CurrentMachineOrNull()) current = MakeFirstMachine().release();
  return *CurrentMachineOrNull();
}

Machine& UseMachine(std::unique_ptr<Machine> machine) {
  const std::lock_guard guard(ReplacementLock());
  const std::unique_ptr<Machine> before(current.exchange(machine.release()));
  return *CurrentMachineOrNull();
}

}  // namespace simulated
