/** A machine with many applications: the real registry, or that of a simulated machine. */
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

inline constexpr char16_t kUninstallKey[] = u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
inline constexpr char16_t kProductsKey[] = u"Software\\Classes\\Installer\\Products";

/**
 * Registers the first `count` applications of Applications.h while it exists. Keeps all earlier entries. At
 * most one exists at a time.
 */
class FilledMachine {
 public:
  /** @throws std::runtime_error if the registry refuses a call; some entries may stay then */
  explicit FilledMachine(std::size_t count);
  ~FilledMachine();
  FilledMachine(const FilledMachine&) = delete;
  FilledMachine& operator=(const FilledMachine&) = delete;

 private:
  const std::size_t count_;
};

}  // namespace bench
