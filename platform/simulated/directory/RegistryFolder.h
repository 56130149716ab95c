/**
 * The registration files of a machine directory, and the changes kept among them.
 *
 * A change is a file of its own, "~change-NNNNNNNN.reg", which appears whole or not at all; changes are
 * merged after all other files, in their order.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "simulated/registry/RegistryTree.h"

namespace simulated {

class RegistryFolder {
 public:
  /** @param folder need not be there; the first change makes it */
  explicit RegistryFolder(std::filesystem::path folder);

  /** The files in the order in which they are merged: by name, byte by byte, then the changes. */
  const std::vector<std::filesystem::path>& Files() const { return files_; }

  /** Whether it is a kept change, by its name. */
  static bool IsChange(const std::filesystem::path& file);

  /**
   * Makes one file of the changes where there are many. A crash on the way leaves files that say the same.
   * Quietly does nothing where the folder cannot be written.
   */
  void FoldChanges();

  /** Puts a change on disk. @return 0, or the Windows error for what went wrong, and nothing is kept then */
  platform::LSTATUS Keep(const RegistryChange& change);

 private:
  std::filesystem::path ChangeFile(std::uint64_t number) const;

  std::filesystem::path folder_;
  std::vector<std::filesystem::path> files_;
  std::vector<std::uint64_t> changes_;
};

}  // namespace simulated
