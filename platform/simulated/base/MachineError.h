/** Errors and warnings of reading a machine from the file system. */
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace simulated {

/** Why a machine cannot be used: what() is one line that names the place and says what to do. */
class MachineError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** Receives one line that names the place of something that is left out while the rest is used. */
using Warning = std::function<void(const std::string& line)>;

}  // namespace simulated
