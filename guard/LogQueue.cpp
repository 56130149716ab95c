#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <utility>

#include "KestrelbayGuard.h"
#include "StatusOfException.h"

namespace {

using kestrelbay::guard::StatusOf;

constexpr std::size_t kMaxRecords = 4096;

struct Record {
  std::int32_t level;
  std::string text;
};

struct Queue {
  std::mutex mutex;
  std::deque<Record> records;
  std::uint32_t dropped = 0;
};

/** Orders the calls that choose the destination. Records take only the mutex of the queue. */
std::mutex choosing;
bool isQueued = false;

// Never destroyed: threads of the library may log until the process ends.
Queue& TheQueue() {
  static Queue& queue = *new Queue;
  return queue;
}

void Add(const char* file, std::int32_t level, const char* text) {
  Queue& queue = TheQueue();
  const std::lock_guard held(queue.mutex);
  // Counted first: if there is no memory for the record, the next call throws and the count stays.
  ++queue.dropped;
  queue.records.push_back({level, std::string(file) + ' ' + text});
  if (queue.records.size() > kMaxRecords) {
    queue.records.pop_front();
  } else {
    --queue.dropped;
  }
}

void Enqueue(const char* file, std::int32_t level, const char* text) {
  // The library's thread must not see an exception of this callback.
  StatusOf([=] { return Add(file, level, text), 0; });
}

/** Calls the library only to change the destination, because that is forbidden while a thread logs. */
void QueueOnce() {
  const std::lock_guard held(choosing);
  if (isQueued) return;
  TheQueue();
  InitDllLogger(&Enqueue);
  isQueued = true;
}

void Choose(LogCallback callback) {
  const std::lock_guard held(choosing);
  isQueued = false;
  InitDllLogger(callback);
}

std::int32_t Take(std::int32_t* level, char* text, std::int32_t* size, std::uint32_t* dropped) {
  Queue& queue = TheQueue();
  const std::lock_guard held(queue.mutex);
  *dropped = std::exchange(queue.dropped, 0);
  if (queue.records.empty()) return 0;
  const Record& oldest = queue.records.front();
  const auto bytes = static_cast<std::int32_t>(oldest.text.size() + 1);
  const bool hasRoom = *size >= bytes;
  *size = bytes;
  if (!hasRoom) return GUARD_BUFFER_TOO_SMALL;
  *level = oldest.level;
  std::memcpy(text, oldest.text.c_str(), static_cast<std::size_t>(bytes));
  queue.records.pop_front();
  return 1;
}

}  // namespace

extern "C" {

int32_t GuardQueueLog() {
  return StatusOf([] { return QueueOnce(), 0; });
}

int32_t GuardInitDllLogger(LogCallback callback) {
  return StatusOf([=] { return Choose(callback), 0; });
}

int32_t GuardTakeLog(int32_t* level, char* text, int32_t* size, uint32_t* dropped) {
  return StatusOf([=] { return Take(level, text, size, dropped); });
}

}  // extern "C"
