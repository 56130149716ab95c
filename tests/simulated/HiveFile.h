/** Writes hives for tests, key by key. */
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

struct hive_h;

namespace simulated {

/** What stands in the file lasts when this goes. */
class HiveFile {
 public:
  /** An empty hive; folders above are made. */
  explicit HiveFile(std::filesystem::path file);
  ~HiveFile();
  HiveFile(const HiveFile&) = delete;
  HiveFile& operator=(const HiveFile&) = delete;

  /** A key and those above it, names in ASCII; one that is there already is not made again. */
  void Add(const std::string& path);
  /** Replaces all values of a key, which is made if need be. */
  void SetBytes(const std::string& path, const std::string& name, std::string_view bytes, int type = 3);
  /** As UTF-16 with its NUL; characters in ASCII. */
  void SetText(const std::string& path, const std::string& name, std::string_view text);

 private:
  std::size_t NodeAt(const std::string& path);

  const std::filesystem::path file_;
  hive_h* const handle_;
};

/**
 * Gives the value of that name, the only one in the hive, data of any size as Windows stores it: cut into
 * segments, which libhivex reads and does not write.
 */
void SetSegmentedData(const std::filesystem::path& hive, std::string_view name, std::string_view data);

/** The volume's hive at HKEY_LOCAL_MACHINE\\SOFTWARE. */
inline constexpr const char* kSoftware = "Windows/System32/config/SOFTWARE";

}  // namespace simulated
