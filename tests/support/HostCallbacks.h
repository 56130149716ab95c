/**
 * The host side of the C interface: callbacks that store their arguments, and functions that wait for them.
 *
 * The callbacks have no context parameter, so at most one object of each class may exist. A wait has no time
 * limit: the test runner ends a test that waits in vain.
 */
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "KestrelbayGeneralSDK.h"

namespace kestrelbay {

struct LogLine {
  std::string file;
  std::int32_t level;
  std::string text;

  bool operator==(const LogLine&) const = default;
};

/** Prints a line for gtest. */
void PrintTo(const LogLine& line, std::ostream* out);

/** Receives the log of the library. Does not store the line of InitDllLogger. */
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();

  std::vector<LogLine> Lines() const;
  /** @return the messages, without "function:line " */
  std::vector<std::string> Messages() const;
  /** Waits until that many lines have exactly this message. */
  void WaitFor(const std::string& message, std::size_t count);
  /** Waits until the condition holds. Checks it after each line, without a lock. */
  void WaitUntil(const std::function<bool()>& condition);
  /**
   * Runs an action whenever a message begins like this, on the thread that logs it and under the lock of the
   * logger, as the callback of a host would. Set it before anything logs.
   */
  void When(const std::string& beginning, const std::function<void()>& action);
  /** @return whether two calls ran at once */
  bool Overlapped() const;

  static void Receive(const char* file, std::int32_t level, const char* text);

 private:
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::vector<LogLine> lines;
  std::string awaitedBeginning;
  std::function<void()> awaitedAction;
  bool overlapped = false;
};

/** A copy of an InstalledAppEntry, which owns its texts. */
struct ReceivedEntry {
  std::string displayName, installLocation, displayVersion, displayIcon, iconText, installDate, lastWriteTime;
  std::int32_t architecture;

  bool operator==(const ReceivedEntry&) const = default;
};

void PrintTo(const ReceivedEntry& entry, std::ostream* out);
std::vector<ReceivedEntry> CopyEntries(const InstalledAppEntry* entries, std::int32_t count);

/** Receives the lists of GetInstalledAppListAsync. */
class ListReceiver {
 public:
  ListReceiver();
  ~ListReceiver();

  /** Waits for that many lists and for the ends of their threads, so that one list too many is seen. @return
   * all lists */
  std::vector<std::vector<ReceivedEntry>> WaitForLists(std::size_t count);
  /** @return whether a list had no array */
  bool SawNull() const;

  static void Receive(InstalledAppEntry* entries, std::int32_t count);

 private:
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::vector<ReceivedEntry>> lists;
  bool sawNull = false;
  const std::size_t earlierThreads;
};

/** Receives the texts of GetAppIconAsync. */
class IconReceiver {
 public:
  IconReceiver();
  ~IconReceiver();

  /** Waits for that many texts and for the ends of their threads. @return all texts */
  std::vector<std::string> WaitForTexts(std::size_t count);

  static void Receive(char* iconText);

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> texts;
  const std::size_t earlierThreads;
};

}  // namespace kestrelbay
