/** The environment variables of a simulated machine. Names are case-insensitive. Thread-safe. */
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulated/base/UpperCase.h"

namespace simulated {

class Environment {
 public:
  /** Starts with the variables that every Windows has, such as SystemRoot and ProgramFiles. */
  Environment();

  void Set(std::u16string_view name, std::u16string_view value);
  /** Removes all variables, also the initial ones. */
  void Clear();
  std::optional<std::u16string> Find(std::u16string_view name) const;
  /** Names and values, in the order of the names. */
  std::vector<std::pair<std::u16string, std::u16string>> All() const;

 private:
  mutable std::mutex lock_;
  std::map<std::u16string, std::u16string, NameLess> variables_;
};

}  // namespace simulated
