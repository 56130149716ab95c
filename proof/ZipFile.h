/** Writes a zip archive without compression, because a bare Windows has no library for it. */
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace proof {

/** Failures are thrown as std::runtime_error. */
class ZipFile {
 public:
  /** Replaces a file that exists. */
  explicit ZipFile(const std::filesystem::path& path);

  /** @param name  UTF-8, with slashes. REQUIRES: less than 4 GiB in all. */
  void Add(const std::string& name, const std::string& bytes);
  /** Adds each file of a folder and of the folders below it, with its name below `name`. */
  void AddFolder(const std::string& name, const std::filesystem::path& folder);
  /** Writes the directory of the archive. Without it the archive is damaged. */
  void Close();

 private:
  struct Entry {
    std::string name;
    std::uint32_t checksum;
    std::uint32_t size;
    std::uint32_t offset;
  };

  std::ofstream file_;
  std::vector<Entry> entries_;
};

}  // namespace proof
