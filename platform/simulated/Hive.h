/** One hive file of Windows, read through libhivex. */
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "simulated/Key.h"

struct hive_h;

namespace simulated {

/** Not thread-safe: the lock of the registry that its keys are put into guards it. */
class Hive : public std::enable_shared_from_this<Hive> {
 public:
  using Node = std::size_t;
  using Warning = std::function<void(const std::string& line)>;

  /**
   * @param warning  told once if damage is found while keys are read; may be empty
   * @throws MachineError with one line that names the file
   */
  static std::shared_ptr<Hive> Open(const std::filesystem::path& file, Warning warning);
  ~Hive();
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;

  Node Root() const;
  std::optional<Node> Child(Node node, const std::string& name) const;
  /** Last write time as a FILETIME. */
  std::uint64_t TimeOf(Node node) const;
  /** Has the key filled with what the hive holds at that node, when it is first looked at. */
  void FillLater(Key& key, Node node);
  /** Fills it now; those below are still filled later. */
  void Fill(Key& key, Node node);

 private:
  Hive(hive_h* handle, std::filesystem::path file, Warning warning);
  void AddValue(Key& key, std::size_t value);
  void AddSubKey(Key& key, Node node);
  void WarnOfDamage();

  hive_h* handle_;
  std::filesystem::path file_;
  Warning warning_;
};

}  // namespace simulated
