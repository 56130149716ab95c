/**
 * Makes the changes of programs. A changed key gets the machine's time. If the machine keeps its changes,
 * they are on disk before they are in memory.
 */
#pragma once

#include <functional>
#include <mutex>

#include "simulated/machine/Drives.h"
#include "simulated/regfile/FoldedChanges.h"
#include "simulated/registry/RegistryTree.h"

namespace simulated {

class Machine;

/** All changes of one operation of a program. All of them are made, or none. */
struct ProgramChanges {
  FoldedChanges registry;
  FileChanges files;
};

/** Writes changes to disk before they are made in memory. @return a Windows error number, 0 for done */
using Keeper = std::function<platform::LSTATUS(const ProgramChanges&)>;

/**
 * Deletes a key without subkeys. REQUIRES: the caller has locked the registry.
 * @return 0, ERROR_ACCESS_DENIED (5) for a key that has subkeys or must not be deleted, or the keeper's error
 */
platform::LSTATUS DeleteKeptKey(Machine& machine, Key& key);
/** Deletes a key and all keys below it, or nothing if one of them must not be deleted. */
platform::LSTATUS DeleteKeptTree(Machine& machine, Key& key);

/**
 * Collects the statements of a registration file, and makes them all at once or not at all. Locks the
 * registry until it is destroyed, so that no thread reads a half-written entry.
 */
class KeptMerger : public RegFileSink {
 public:
  explicit KeptMerger(Machine& machine);
  void OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) override;
  void DeleteKey(std::u16string_view path) override;
  void SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) override;
  void DeleteValue(std::u16string_view name) override;

  /**
   * Makes the collected changes and the changes of files together.
   * @return 0, or the Windows error of what failed; nothing is changed then
   */
  platform::LSTATUS Commit(FileChanges files = {});

 private:
  bool HasKey(std::u16string_view path) const;
  bool HasValue(std::u16string_view name) const;

  Machine& machine_;
  const std::unique_lock<std::recursive_mutex> lock_;
  const std::uint64_t now_;
  ProgramChanges changes_;
  std::u16string path_;
  platform::LSTATUS status_ = 0;
};

}  // namespace simulated
