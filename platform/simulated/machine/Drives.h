/**
 * The drives of a simulated machine: a folder of the host under each letter, and files made in code.
 *
 * Windows paths are absolute, such as u"C:\\Program Files\\App\\app.exe", with backslashes or slashes and in
 * any case. A link of the host that leaves the drive's folder counts as missing. Thread-safe.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "simulated/base/Folder.h"
#include "simulated/base/MachineError.h"

namespace simulated {

/** Sizes of a drive, in bytes. */
struct DriveSpace {
  std::uint64_t freeBytes = 0;
  std::uint64_t sizeBytes = 0;
};

/** Files that a program adds, which are empty, and then those that it removes. */
struct FileChanges {
  std::vector<std::u16string> adds;
  std::vector<std::u16string> removes;

  bool IsEmpty() const { return adds.empty() && removes.empty(); }
};

/** Why the host's files could not be changed. */
struct HostFailure {
  /** An errno, or 0 for success. */
  int error = 0;
  std::filesystem::path place;
};

class Drives {
 public:
  /** Makes a folder of the host a drive. @param letter in either case */
  void Mount(char16_t letter, Folder folder);
  void Mount(char16_t letter, const std::filesystem::path& folder) { Mount(letter, Folder(folder)); }
  /** Reports each link that is refused, once, in one line. Called on the thread that uses the path. */
  void SetWarning(Warning warning);
  /** Adds an empty file, and the folders above it, to this machine alone. */
  void AddFile(std::u16string_view path);

  /** From now on the host has the changes of files on its folders, and memory those of other drives. */
  void KeepChanges();
  /**
   * Makes changes on the host: all, or none if an add fails. The removals before a failed one stay, for
   * example before that of an immutable file. Paths on drives without a folder are left out.
   */
  HostFailure ChangeOnHost(const FileChanges& changes) const;
  /** Makes changes in this machine alone, except those that the host has. */
  void ChangeInMemory(const FileChanges& changes);

  /** Sets the size of a drive. A drive with a size exists, also without files. */
  void SetSpace(char16_t letter, DriveSpace space);

  /** The folder is a copy: the space on its file system is not that of the drive. */
  void HideHostSpace(char16_t letter);

  bool Exists(std::u16string_view path) const;
  bool IsFolder(std::u16string_view path) const;
  /** The size that was set, or that of the file system of the drive's folder; none without either. */
  std::optional<DriveSpace> FindSpace(char16_t letter) const;
  /** Path on the host of a file or folder of a mounted drive; none for one that is missing. */
  std::optional<std::filesystem::path> OnHost(std::u16string_view path) const;
  /** Opens a regular file of a mounted drive to read it; no descriptor for anything else. */
  FileDescriptor OpenFile(std::u16string_view path) const;

  /** The path as paths are compared: upper case, single backslashes, "." and ".." resolved. */
  static std::u16string Normal(std::u16string_view path);

 private:
  /** An entry of a drive's folder, which need not exist. */
  struct Place {
    std::shared_ptr<const Folder> root;
    std::filesystem::path below;
  };

  /** Adds a folder to this machine alone, and those above it. */
  void AddFolder(std::u16string_view path);
  /** Finds where a path of a mounted drive is on the host, or would be. */
  std::optional<Place> FindPlace(std::u16string_view path) const;
  /** Finds an entry that exists for this machine. */
  std::optional<Place> FindExisting(std::u16string_view path) const;
  void WarnOfLink(const Place& place) const;
  /** @param made  receives each file and folder that was made, in order */
  HostFailure AddOnHost(const std::vector<std::u16string>& paths, std::vector<Place>& made) const;
  HostFailure RemoveOnHost(const std::vector<std::u16string>& paths) const;

  mutable std::mutex lock_;
  std::map<char16_t, std::shared_ptr<const Folder>> mounts_;
  std::map<char16_t, DriveSpace> spaces_;
  std::set<char16_t> spacesUnknown_;
  std::set<std::u16string> files_;
  std::set<std::u16string> folders_;
  /** Files of the host that are deleted on this machine alone. */
  std::set<std::u16string> deleted_;
  Warning warning_;
  mutable std::set<std::filesystem::path> warnedOf_;
  bool keepsChanges_ = false;
};

}  // namespace simulated
