#include "simulated/machine/Environment.h"

namespace simulated {

Environment::Environment() {
  Set(u"SystemRoot", u"C:\\Windows");
  Set(u"SystemDrive", u"C:");
  Set(u"ProgramFiles", u"C:\\Program Files");
  Set(u"ProgramFiles(x86)", u"C:\\Program Files (x86)");
  Set(u"ProgramData", u"C:\\ProgramData");
}

void Environment::Set(std::u16string_view name, std::u16string_view value) {
  const std::lock_guard guard(lock_);
  variables_.insert_or_assign(std::u16string(name), std::u16string(value));
}

void Environment::Clear() {
  const std::lock_guard guard(lock_);
  variables_.clear();
}

std::optional<std::u16string> Environment::Find(std::u16string_view name) const {
  const std::lock_guard guard(lock_);
  const auto found = variables_.find(name);
  if (found == variables_.end()) return std::nullopt;
  return found->second;
}

std::vector<std::pair<std::u16string, std::u16string>> Environment::All() const {
  const std::lock_guard guard(lock_);
  return {variables_.begin(), variables_.end()};
}

}  // namespace simulated
