/** Runs the programs of the proof. */
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

namespace proof {

enum class End { Exited, TimedOut, Stopped, NotStarted };

struct Run {
  End end = End::NotStarted;
  unsigned long exitCode = 0;
  std::chrono::milliseconds time{};
};

/** Starts and waits for one program after another, until the person stops the proof. */
class Programs {
 public:
  /** From now on Ctrl-C, or closing the window, stops the running program and every later one. */
  static void CatchStop();
  /** From now on, the keys and a closed window end the process at once. */
  static void ReleaseStop();
  static bool IsStopped();

  /**
   * Runs a program to its end. Ends it with all its children when the limit is over, when the person stops
   * the proof, or when this process ends.
   * @param output  receives standard output and standard error
   */
  static Run RunToEnd(const std::wstring& commandLine, const std::filesystem::path& folder,
                      const std::filesystem::path& output, std::chrono::milliseconds limit);

  /** Ends each process whose program is in the folder. */
  static void EndAllOf(const std::filesystem::path& folder);
};

}  // namespace proof
