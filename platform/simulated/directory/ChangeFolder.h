/**
 * The registration files of a machine directory, and the changes that programs made.
 *
 * Each operation of a program is one file, "~change-NNNNNNNN.reg", which appears whole or not at all. Changes
 * are merged after all other files, in the order of their numbers. The file of an operation that also changes
 * files of drives is "~change-NNNNNNNN.pending" until they are changed. A process that dies in between leaves
 * it, and the next one finishes the operation.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "simulated/base/Folder.h"
#include "simulated/machine/KeptChanges.h"

namespace simulated {

class ChangeFolder {
 public:
  /**
   * Lists the files. The folder need not exist; the first change makes it.
   * @param root  the machine directory; the caller owns it
   * @throws MachineError for a folder that cannot be read, for a change whose number is out of range, and for
   * two changes of one number
   */
  explicit ChangeFolder(const Folder& root);

  /** Files below the root in the order in which they are merged: by name, byte by byte, then the changes. */
  const std::vector<std::filesystem::path>& Files() const { return files_; }
  /** Whether a file is a change of a program, by its name. */
  static bool IsChange(const std::filesystem::path& file);

  /** Finishes pending operations. @return the failure that stopped it; the rest is still pending then */
  HostFailure FinishPending(const Drives& drives);
  /** Makes the file changes of operations that are still pending in memory. */
  void ApplyPending(Drives& drives) const;
  /**
   * Makes one file of many changes, and removes temporary files of ended processes. A crash on the way leaves
   * files that say the same. Does nothing if the folder cannot be written.
   */
  void FoldChanges();

  /**
   * Writes a change to disk.
   * @param problem  receives one line on failure: what could not be written, where, and what to do
   * @return 0, or the Windows error; nothing is kept then
   */
  platform::LSTATUS Keep(const ProgramChanges& changes, const Drives& drives, std::string& problem);

 private:
  void AddFile(const std::string& name);
  std::uint64_t NextNumber() const;
  int MakeFolder() const;
  HostFailure Write(const ProgramChanges& changes, const std::vector<std::uint8_t>& file,
                    const Drives& drives);

  const Folder& root_;
  std::vector<std::filesystem::path> files_;
  std::vector<std::uint64_t> changes_;
  std::vector<std::uint64_t> pending_;
};

}  // namespace simulated
