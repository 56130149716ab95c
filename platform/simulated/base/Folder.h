/**
 * A folder of the host and the files below it. No path and no link leads out of it.
 *
 * Machine directories, volumes and captures may come from others, so each path in them is resolved below
 * their root. A link that stays below the root is followed. A path or link that leaves the root fails with
 * EXDEV. Nothing here waits for a pipe. Thread-safe.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "simulated/base/FileDescriptor.h"

namespace simulated {

class Folder {
 public:
  enum class Entry { None, File, Folder, Other, Outside };

  /**
   * Opens a folder that a person named. Links in `path` itself are followed.
   * @throws MachineError
   */
  explicit Folder(std::filesystem::path path);
  /** Opens a folder below `parent`. @throws MachineError */
  Folder(const Folder& parent, const std::filesystem::path& below);

  /** Path of an entry, for messages. */
  std::filesystem::path PathOf(const std::filesystem::path& below) const {
    return below.empty() ? path_ : path_ / below;
  }
  const std::filesystem::path& Path() const { return path_; }
  int Descriptor() const { return descriptor_.Get(); }

  /**
   * Opens an entry.
   * @param flags  as open() takes them; O_CLOEXEC, O_NONBLOCK and O_NOCTTY are added
   * @return no descriptor on failure, with the reason in errno
   */
  FileDescriptor Open(const std::filesystem::path& below, int flags) const;
  /** Opens a regular file to read it. @return no descriptor for anything else */
  FileDescriptor OpenFile(const std::filesystem::path& below) const;
  Entry Look(const std::filesystem::path& below) const;
  /** Whether the folder itself has an entry of this name. A link that leads nowhere is one, too. */
  bool Has(const char* name) const;
  /** Names in a folder in no order; none if it cannot be read, with the reason in errno, otherwise 0. */
  std::vector<std::string> Names(const std::filesystem::path& below) const;

  /**
   * Writes a file completely or not at all, even if the power fails. Replaces a file of that name. On failure
   * the old file stays, or the new one is complete but may not last.
   * @return 0 or an errno
   */
  int Replace(const std::filesystem::path& below, std::span<const std::uint8_t> bytes) const;
  /** Renames an entry within one folder. The change lasts after a power failure. @return 0 or an errno */
  int Rename(const std::filesystem::path& below, const std::string& newName) const;
  /**
   * Makes an empty file and the folders above it. An existing file stays as it is.
   * @param made  receives the paths of new files and folders, in order
   * @return 0 or an errno
   */
  int Create(const std::filesystem::path& below, std::vector<std::filesystem::path>& made) const;
  int MakeFolder(const std::filesystem::path& below) const;
  /**
   * Removes a file, a link or an empty folder. It is not a failure if a folder has entries, and stays, or if
   * the entry is missing.
   * @return 0 or an errno
   */
  int Remove(const std::filesystem::path& below) const;
  /** @return 0 if Remove may succeed, or an errno */
  int MayRemove(const std::filesystem::path& below) const;

  /** Whether a path is relative and has neither ".." nor a NUL. A path in a file from others must be so. */
  static bool IsBelow(const std::filesystem::path& path);
  /** Prefix of the names of temporary files. */
  static constexpr std::string_view kTemporaryPrefix = "~new-";

 private:
  FileDescriptor OpenParent(const std::filesystem::path& below) const;

  std::filesystem::path path_;
  FileDescriptor descriptor_;
};

/**
 * Opens as Folder::Open does on a host without openat2, one folder after the other. It refuses all links.
 * @return a descriptor, or -1 with the reason in errno
 */
int OpenStepByStep(int folder, const std::filesystem::path& below, int flags, unsigned mode);

}  // namespace simulated
