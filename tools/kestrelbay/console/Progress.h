/** A progress line on the terminal, which is erased at the end. */
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

/** Shows nothing if standard error is not a terminal, or during the first 300 ms. Not thread-safe. */
class Progress {
 public:
  /** @param task  such as "Reading the machine" */
  explicit Progress(std::string_view task);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /** Shows the share that is done. */
  void Update(std::uint64_t done, std::uint64_t all);
  /** Shows the seconds that have passed, for a task whose end is not known. */
  void UpdateTime();
  /** Erases the line, so that something else can be written; the next update draws it again. */
  void Erase();

 private:
  using Time = std::chrono::steady_clock::time_point;

  void Draw(const std::string& line);

  const std::string task_;
  const bool isShown_;
  const Time start_;
  Time nextDraw_;
  bool isDrawn_ = false;
};

}  // namespace cli
