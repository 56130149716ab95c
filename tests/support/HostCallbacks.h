/**
 * A host's side of the C interface: callbacks that keep what they are given, and ways to wait for it.
 *
 * The library's callbacks carry no context, so at most one object of each class lives at a time. Waits end
 * only when what they wait for has come; a test that waits in vain is ended by the test runner.
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

/** How gtest prints a line that differs. */
void PrintTo(const LogLine& line, std::ostream* out);

/** Makes the library log to this object; the line of InitDllLogger itself is not kept. */
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();

  std::vector<LogLine> Lines() const;
  /** The messages alone: what stands behind "function:line ". */
  std::vector<std::string> Messages() const;
  /** Waits until that many lines have come with exactly this message. */
  void WaitFor(const std::string& message, std::size_t count);
  /** Waits until the condition holds; it is asked when a line has come, without a lock. */
  void WaitUntil(const std::function<bool()>& condition);
  /**
   * Has an action done by the thread that logs a message beginning so, each time, as the host's own callback
   * would do it: under the logger's lock. To be set before anything logs.
   */
  void When(const std::string& beginning, const std::function<void()>& action);
  /** Whether a call came while another was running. */
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

/** An InstalledAppEntry with texts of its own. */
struct ReceivedEntry {
  std::string displayName, installLocation, displayVersion, displayIcon, iconText, installDate, lastWriteTime;
  std::int32_t architecture;

  bool operator==(const ReceivedEntry&) const = default;
};

void PrintTo(const ReceivedEntry& entry, std::ostream* out);
std::vector<ReceivedEntry> CopyEntries(const InstalledAppEntry* entries, std::int32_t count);

/** Receives the lists that GetInstalledAppListAsync reports to Receive. */
class ListReceiver {
 public:
  ListReceiver();
  ~ListReceiver();

  /** Waits for that many lists and for the ends of their threads, so that one too many is seen. @return them
   * all */
  std::vector<std::vector<ReceivedEntry>> WaitForLists(std::size_t count);
  /** Whether a list came without an array. */
  bool SawNull() const;

  static void Receive(InstalledAppEntry* entries, std::int32_t count);

 private:
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::vector<ReceivedEntry>> lists;
  bool sawNull = false;
  const std::size_t earlierThreads;
};

/** Receives the texts that GetAppIconAsync reports to Receive. */
class IconReceiver {
 public:
  IconReceiver();
  ~IconReceiver();

  /** Waits for that many texts and for the ends of their threads. @return them all */
  std::vector<std::string> WaitForTexts(std::size_t count);

  static void Receive(char* iconText);

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> texts;
  const std::size_t earlierThreads;
};

}  // namespace kestrelbay
