/**
 * The drives of a simulated machine: folders of the host under a letter each, and files made in code.
 *
 * Windows paths are whole, such as u"C:\\Program Files\\App\\app.exe", with backslashes or slashes and in any
 * case. Safe for any number of threads.
 */
#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace simulated {

class Drives {
 public:
  /** Puts a folder of the host in place as a drive. @param letter in either case */
  void Mount(char16_t letter, std::filesystem::path folder);
  /** An empty file, and the folders above it, that exist in this machine alone. */
  void AddFile(std::u16string_view path);
  void AddFolder(std::u16string_view path);
  /** Takes away a file made in code, or what else of that path was made so. */
  void Remove(std::u16string_view path);

  bool Exists(std::u16string_view path) const;
  bool IsFolder(std::u16string_view path) const;
  /** Where a file or folder of a mounted drive stands on the host; nothing for what is not there. */
  std::optional<std::filesystem::path> OnHost(std::u16string_view path) const;

  /** The path in the form that paths are compared in: upper case, single backslashes, "." and ".." resolved.
   */
  static std::u16string Normal(std::u16string_view path);

 private:
  mutable std::mutex lock_;
  std::map<char16_t, std::filesystem::path> mounts_;
  std::set<std::u16string> files_;
  std::set<std::u16string> folders_;
};

}  // namespace simulated
