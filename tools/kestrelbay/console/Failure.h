/** How the command-line host ends when it cannot do what it was asked. */
#pragma once

#include <stdexcept>
#include <string>

namespace cli {

/** What a calling program learns of a run. */
enum ExitStatus { kDone = 0, kFailed = 1, kWrongUsage = 2 };

/** Ends a command: what() is one line that says what is wrong and what to do. */
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& line, ExitStatus exitStatus = kFailed)
      : std::runtime_error(line), status(exitStatus) {}

  const ExitStatus status;
};

}  // namespace cli
