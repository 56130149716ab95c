/** Writes hives for tests, key by key. */
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

struct hive_h;

namespace simulated {

/** A hive for a test. The destructor writes it to its file. */
class HiveFile {
 public:
  /** Makes an empty hive and the folders above it. */
  explicit HiveFile(std::filesystem::path file);
  ~HiveFile();
  HiveFile(const HiveFile&) = delete;
  HiveFile& operator=(const HiveFile&) = delete;

  /** Creates a key and the keys above it, unless they exist. Names are ASCII. */
  void Add(const std::string& path);
  /** Sets a value. Creates the key if it is missing. */
  void SetBytes(const std::string& path, const std::string& name, std::string_view bytes, int type = 3);
  /** Sets a value to UTF-16 with a NUL. The text is ASCII. */
  void SetText(const std::string& path, const std::string& name, std::string_view text);

 private:
  std::size_t NodeAt(const std::string& path);

  const std::filesystem::path file_;
  hive_h* const handle_;
};

/**
 * Sets the data of the only value of that name in the hive. The data may have any size: it is stored in
 * segments, as Windows does. libhivex reads segments, but does not write them.
 */
void SetSegmentedData(const std::filesystem::path& hive, std::string_view name, std::string_view data);

/** Replaces the hive by one with many empty keys, K00000000 and so on, and many values, in its root. */
void WriteWideHive(const std::filesystem::path& hive, std::size_t keys, std::size_t values);

/** Path of the volume's hive for HKEY_LOCAL_MACHINE\SOFTWARE. */
inline constexpr const char* kSoftware = "Windows/System32/config/SOFTWARE";

}  // namespace simulated
