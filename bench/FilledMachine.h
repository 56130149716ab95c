/** A machine with many applications: the registry of this one, or a simulated one's. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

inline constexpr char16_t kUninstallKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
inline constexpr char16_t kProductsKey[] = u"Software\\Classes\\Installer\\Products";

/**
 * Registers the first `count` applications of Applications.h for as long as it lives. What was registered
 * before stays. One at a time.
 */
class FilledMachine {
 public:
  /** @throws std::runtime_error where the registry does not take them; some may stay behind then */
  explicit FilledMachine(std::size_t count);
  ~FilledMachine();
  FilledMachine(const FilledMachine&) = delete;
  FilledMachine& operator=(const FilledMachine&) = delete;

 private:
  const std::size_t count_;
};

}  // namespace bench
