#include "simulated/machine/Machine.h"

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

/** The machine of a host that chose none: the directory that KESTRELBAY_MACHINE names, or an empty one. */
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

Machine::Machine() = default;

Machine::~Machine() = default;

Machine* Machine::CurrentOrNull() { return current.load(std::memory_order_acquire); }

Machine& Machine::Current() {
  if (Machine* chosen = CurrentOrNull()) return *chosen;
  const std::lock_guard guard(ReplacementLock());
  // The current machine is never freed at the end of the process: keys are closed until the very last moment.
  if (!CurrentOrNull()) current = MakeFirstMachine().release();
  return *CurrentOrNull();
}

Machine& Machine::Use(std::unique_ptr<Machine> machine) {
  const std::lock_guard guard(ReplacementLock());
  const std::unique_ptr<Machine> before(current.exchange(machine.release()));
  return *CurrentOrNull();
}

std::size_t Machine::OpenKeys() {
  const std::lock_guard guard(registry.Lock());
  return keys.OpenCount();
}

std::vector<LogRecord> Machine::LogRecords() const {
  const std::lock_guard guard(logLock_);
  return log_;
}

void Machine::AddLogRecord(LogRecord record) {
  const std::lock_guard guard(logLock_);
  log_.push_back(std::move(record));
}

}  // namespace simulated
