/** A line on the terminal that tells how far a longer job is, and that leaves nothing behind. */
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

/** Shows nothing where standard error is no terminal, nor before the job has taken a while. One thread. */
class Progress {
 public:
  /** @param job  what is being done, such as "Reading the machine" */
  explicit Progress(std::string_view job);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Update(std::uint64_t done, std::uint64_t all);
  /** The same for a job that tells nothing of how far it is: how long it has taken. */
  void UpdateTime();
  /** Takes the line away, for something else to be written; the next Update brings it back. */
  void Erase();

 private:
  using Time = std::chrono::steady_clock::time_point;

  void Draw(const std::string& line);

  const std::string job;
  const bool possible;
  const Time start;
  Time nextDraw;
  bool drawn = false;
};

}  // namespace cli
