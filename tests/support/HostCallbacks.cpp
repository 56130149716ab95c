#include "HostCallbacks.h"

#include <algorithm>
#include <atomic>
#include <ostream>

namespace kestrelbay {
namespace {

LogCapture* logCapture = nullptr;
ListReceiver* listReceiver = nullptr;
IconReceiver* iconReceiver = nullptr;
std::atomic<int> insideLogCallback = 0;

/** Counts the threads that called a callback, and those of them that have ended. */
struct CallbackThread {
  CallbackThread() {
    const std::lock_guard held(mutex);
    ++begun;
  }
  ~CallbackThread() {
    const std::lock_guard held(mutex);
    ++ended;
    changed.notify_all();
  }

  /** Called on the thread. A second call on the same thread counts nothing. */
  static void Mark() {
    thread_local const CallbackThread thread;
    static_cast<void>(thread);
  }
  static std::size_t Begun() {
    const std::lock_guard held(mutex);
    return begun;
  }
  static void WaitForEnds(std::size_t count) {
    std::unique_lock held(mutex);
    changed.wait(held, [=] { return ended >= count; });
  }

  static inline std::mutex mutex;
  static inline std::condition_variable changed;
  static inline std::size_t begun = 0;
  static inline std::size_t ended = 0;
};

void Drop(const char*, std::int32_t, const char*) {}

std::string MessageOf(const std::string& text) { return text.substr(text.find(' ') + 1); }

}  // namespace

void PrintTo(const LogLine& line, std::ostream* out) {
  *out << line.file << " " << line.level << " \"" << line.text << "\"";
}

LogCapture::LogCapture() {
  InitDllLogger(&Drop);
  logCapture = this;
  InitDllLogger(&Receive);
  lines.clear();
}

LogCapture::~LogCapture() {
  InitDllLogger(&Drop);
  logCapture = nullptr;
}

void LogCapture::Receive(const char* file, std::int32_t level, const char* text) {
  // Counted without a lock: with one, a second call could never run beside the first.
  const bool alone = insideLogCallback.fetch_add(1) == 0;
  {
    const std::lock_guard held(logCapture->mutex);
    logCapture->overlapped |= !alone;
    logCapture->lines.push_back({file, level, text});
    logCapture->changed.notify_all();
  }
  if (logCapture->awaitedAction && MessageOf(text).starts_with(logCapture->awaitedBeginning))
    logCapture->awaitedAction();
  insideLogCallback.fetch_sub(1);
}

std::vector<LogLine> LogCapture::Lines() const {
  const std::lock_guard held(mutex);
  return lines;
}

std::vector<std::string> LogCapture::Messages() const {
  const std::lock_guard held(mutex);
  std::vector<std::string> messages;
  for (const LogLine& line : lines) messages.push_back(MessageOf(line.text));
  return messages;
}

void LogCapture::WaitFor(const std::string& message, std::size_t count) {
  const auto fits = [&](const LogLine& line) { return MessageOf(line.text) == message; };
  std::unique_lock held(mutex);
  changed.wait(held, [&] { return static_cast<std::size_t>(std::ranges::count_if(lines, fits)) >= count; });
}

void LogCapture::WaitUntil(const std::function<bool()>& condition) {
  std::size_t seen = 0;
  while (!condition()) {
    std::unique_lock held(mutex);
    changed.wait(held, [&] { return lines.size() > seen; });
    seen = lines.size();
  }
}

void LogCapture::When(const std::string& beginning, const std::function<void()>& action) {
  awaitedBeginning = beginning;
  awaitedAction = action;
}

bool LogCapture::Overlapped() const {
  const std::lock_guard held(mutex);
  return overlapped;
}

void PrintTo(const ReceivedEntry& entry, std::ostream* out) {
  for (const std::string* text : {&entry.displayName, &entry.installLocation, &entry.displayVersion,
                                  &entry.displayIcon, &entry.iconText, &entry.installDate}) {
    *out << "\"" << *text << "\", ";
  }
  *out << entry.lastWriteTime << ", " << entry.architecture;
}

std::vector<ReceivedEntry> CopyEntries(const InstalledAppEntry* entries, std::int32_t count) {
  std::vector<ReceivedEntry> copies;
  for (std::int32_t at = 0; at < count; ++at) {
    const InstalledAppEntry& entry = entries[at];
    copies.push_back({entry.displayName, entry.installLocation, entry.displayVersion, entry.displayIcon,
                      entry.iconText, entry.installDate, entry.lastWriteTime, entry.architecture});
  }
  return copies;
}

ListReceiver::ListReceiver() : earlierThreads(CallbackThread::Begun()) { listReceiver = this; }
ListReceiver::~ListReceiver() { listReceiver = nullptr; }

void ListReceiver::Receive(InstalledAppEntry* entries, std::int32_t count) {
  CallbackThread::Mark();
  const std::lock_guard held(listReceiver->mutex);
  listReceiver->sawNull |= entries == nullptr;
  listReceiver->lists.push_back(CopyEntries(entries, count));
  listReceiver->changed.notify_all();
}

std::vector<std::vector<ReceivedEntry>> ListReceiver::WaitForLists(std::size_t count) {
  CallbackThread::WaitForEnds(earlierThreads + count);
  std::unique_lock held(mutex);
  changed.wait(held, [&] { return lists.size() >= count; });
  return lists;
}

bool ListReceiver::SawNull() const {
  const std::lock_guard held(mutex);
  return sawNull;
}

IconReceiver::IconReceiver() : earlierThreads(CallbackThread::Begun()) { iconReceiver = this; }
IconReceiver::~IconReceiver() { iconReceiver = nullptr; }

void IconReceiver::Receive(char* iconText) {
  CallbackThread::Mark();
  const std::lock_guard held(iconReceiver->mutex);
  iconReceiver->texts.push_back(iconText ? iconText : "(null)");
  iconReceiver->changed.notify_all();
}

std::vector<std::string> IconReceiver::WaitForTexts(std::size_t count) {
  CallbackThread::WaitForEnds(earlierThreads + count);
  std::unique_lock held(mutex);
  changed.wait(held, [&] { return texts.size() >= count; });
  return texts;
}

}  // namespace kestrelbay
