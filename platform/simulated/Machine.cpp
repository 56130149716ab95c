#include "simulated/Machine.h"

#include <atomic>
#include <mutex>

namespace simulated {
namespace {

std::atomic<Machine*> current = nullptr;

std::mutex& ReplacementLock() {
  static std::mutex& lock = *new std::mutex;
  return lock;
}

}  // namespace

Machine::Machine() = default;

Machine::~Machine() = default;

Machine* Machine::CurrentOrNull() { return current.load(std::memory_order_acquire); }

Machine& Machine::Current() {
  if (Machine* chosen = CurrentOrNull()) return *chosen;
  const std::lock_guard guard(ReplacementLock());
  // The current machine is never freed at the end of the process: keys are closed until the very last moment.
  if (!CurrentOrNull()) current = new Machine;
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
