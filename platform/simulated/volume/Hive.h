/** One hive file of Windows, read through libhivex. */
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "simulated/base/LoadObserver.h"
#include "simulated/base/WholeFile.h"
#include "simulated/registry/Key.h"

struct hive_h;

namespace simulated {

/** Not thread-safe: the lock of the registry that its keys are put into guards it. */
class Hive : public KeySource {
 public:
  using Node = std::size_t;

  /**
   * Opens a hive, whole or not: libhivex looks at no more of it than it is asked for.
   * @param bytes     the same file's
   * @param observer  told of what is left out when keys are read: of each kind once
   * @throws MachineError with one line that names the file
   */
  static std::shared_ptr<Hive> Open(const std::filesystem::path& file,
                                    std::shared_ptr<const MappedFile> bytes, const LoadObserver& observer);
  ~Hive() override;
  Hive(const Hive&) = delete;
  Hive& operator=(const Hive&) = delete;

  Node Root() const;
  std::optional<Node> Child(Node node, const std::string& name) const;
  /** Last write time as a FILETIME. */
  std::uint64_t TimeOf(Node node) const;
  /** Has the key filled with what the hive holds at that node, when it is first looked at. */
  void FillLater(Key& key, Node node);
  /** Fills it now; those below are still filled later. */
  void Fill(Key& key, Node node) override;

 private:
  Hive(hive_h* handle, std::filesystem::path file, std::shared_ptr<const MappedFile> bytes,
       const LoadObserver& observer);
  void AddValue(Key& key, std::size_t value);
  void AddSubKey(Key& key, Node node);
  void TellOfDamage();
  void WarnOfImpossible(const char* why);

  hive_h* handle_;
  const std::filesystem::path file_;
  const std::shared_ptr<const MappedFile> bytes_;
  Warning damage_;
  Warning warning_;
};

}  // namespace simulated
