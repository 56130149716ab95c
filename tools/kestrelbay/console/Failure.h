/** The exit statuses of the commands, and the exception that ends a command with one of them. */
#pragma once

#include <stdexcept>
#include <string>

namespace cli {

/** kTrouble: of `diff --exit-code`, whose kFailed means that the lists differ, as it does for diff(1). */
enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2, kTrouble = 2 };

/** Ends a command. what() is one line: what is wrong, where, and what to do. */
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& line, ExitStatus exitStatus = kFailed)
      : std::runtime_error(line), status(exitStatus) {}

  const ExitStatus status;
};

}  // namespace cli
