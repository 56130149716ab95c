#include "simulated/machine/Machine.h"

#include <mutex>

namespace simulated {
std::vector<LogRecord> Machine::LogRecords() const {
  const std::lock_guard guard(logLock_);
  return log_;
}

void Machine::AddLogRecord(LogRecord record) {
  const std::lock_guard guard(logLock_);
  log_.push_back(std::move(record));
}

std::string Machine::WriteProblem() const {
  const std::lock_guard guard(logLock_);
  return writeProblem_;
}

void Machine::SetWriteProblem(std::string line) {
  const std::lock_guard guard(logLock_);
  writeProblem_ = std::move(line);
}

}  // namespace simulated
