/**
 * Changes to a machine's registry as programs make them: at the machine's time, and on disk, where the
 * machine keeps its changes, before they are in memory.
 */
#pragma once

#include "simulated/regfile/RegFileSink.h"
#include "simulated/registry/RegistryTree.h"

namespace simulated {

class Machine;

/**
 * Deletes a key without sub keys. The registry is locked by the caller.
 * @return 0, ERROR_ACCESS_DENIED (5) for a key that has sub keys or must not be deleted, or why it cannot be
 * kept
 */
platform::LSTATUS DeleteKeptKey(Machine& machine, Key& key);
/** The same with all keys below it; deletes nothing where one of them must not be. */
platform::LSTATUS DeleteKeptTree(Machine& machine, Key& key);

/** Makes the changes that a registration file tells of; what comes behind a change that fails is left out. */
class KeptMerger : public RegFileSink {
 public:
  explicit KeptMerger(Machine& machine) : machine_(machine) {}
  void OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) override;
  void DeleteKey(std::u16string_view path) override;
  void SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) override;
  void DeleteValue(std::u16string_view name) override;

  /** 0, or the Windows error of the change that failed. */
  platform::LSTATUS Status() const { return status_; }

 private:
  bool Keep(RegistryChange change);

  Machine& machine_;
  std::u16string path_;
  platform::LSTATUS status_ = 0;
};

}  // namespace simulated
