/**
 * The drives of a simulated machine: folders of the host under a letter each, and files made in code.
 *
 * Windows paths are whole, such as u"C:\\Program Files\\App\\app.exe", with backslashes or slashes and in any
 * case. Safe for any number of threads.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace simulated {

/** Sizes of a drive, in bytes. */
struct DriveSpace {
  std::uint64_t freeBytes = 0;
  std::uint64_t sizeBytes = 0;
};

class Drives {
 public:
  /** Puts a folder of the host in place as a drive. @param letter in either case */
  void Mount(char16_t letter, std::filesystem::path folder);
  /** An empty file, and the folders above it, that exist in this machine alone. */
  void AddFile(std::u16string_view path);
  /** From now on Create and Delete act on the host's files, where a drive stands for a folder of the host. */
  void KeepChanges();
  /** What a program does: an empty file comes, with the folders above it. @return false where it cannot */
  bool Create(std::u16string_view path);
  /** What a program does: a file goes. @return false where it cannot; a file that is not there is gone */
  bool Delete(std::u16string_view path);

  /** Has a drive this size; one that holds no files is there all the same. */
  void SetSpace(char16_t letter, DriveSpace space);

  /** The folder is a copy: the space on its file system is not that of the drive. */
  void HideHostSpace(char16_t letter);

  bool Exists(std::u16string_view path) const;
  bool IsFolder(std::u16string_view path) const;
  /** What was set for a drive, else what its folder's file system on the host has; nothing without. */
  std::optional<DriveSpace> FindSpace(char16_t letter) const;
  /** Where a file or folder of a mounted drive stands on the host; nothing for what is not there. */
  std::optional<std::filesystem::path> OnHost(std::u16string_view path) const;

  /** The path as paths are compared: upper case, single backslashes, "." and ".." resolved. */
  static std::u16string Normal(std::u16string_view path);

 private:
  /** A folder that exists in this machine alone, and those above it. */
  void AddFolder(std::u16string_view path);
  /** Where a path of a mounted drive stands on the host, or would stand. */
  std::optional<std::filesystem::path> PlaceOnHost(std::u16string_view path) const;

  mutable std::mutex lock_;
  std::map<char16_t, std::filesystem::path> mounts_;
  std::map<char16_t, DriveSpace> spaces_;
  std::set<char16_t> spacesUnknown_;
  std::set<std::u16string> files_;
  std::set<std::u16string> folders_;
  /** Files of the host that are gone from this machine alone. */
  std::set<std::u16string> deleted_;
  bool keepsChanges_ = false;
};

}  // namespace simulated
