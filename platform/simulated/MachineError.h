/** The one failure of reading a machine from the file system. */
#pragma once

#include <stdexcept>

namespace simulated {

/** Why a machine cannot be used: what() is one line that names the place and says what to do. */
class MachineError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace simulated
