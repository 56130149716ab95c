#include "simulated/machine/Machine.h"

#include <mutex>

namespace simulated {

void Machine::CollectLogRecords() {
  const std::lock_guard guard(logLock_);
  collectsLog_ = true;
}

std::vector<LogRecord> Machine::LogRecords() const {
  const std::lock_guard guard(logLock_);
  return log_;
}

bool Machine::AddLogRecord(LogRecord record) {
  const std::lock_guard guard(logLock_);
  if (collectsLog_) log_.push_back(std::move(record));
  return collectsLog_;
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
