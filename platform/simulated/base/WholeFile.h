/** Files of the host that are read as a whole. */
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

#include "simulated/base/Folder.h"

namespace simulated {

/** A file's bytes, aligned for any text. */
struct FileBytes {
  std::unique_ptr<std::uint8_t[]> data;
  std::size_t size = 0;
  std::span<const std::uint8_t> Span() const { return {data.get(), size}; }
};

/**
 * Larger files are refused. No real registration file is larger, and a sparse file of any size is easy to
 * send.
 */
inline constexpr std::uint64_t kLargestFileBytes = std::uint64_t{1} << 30;

/**
 * Reads a regular file below a folder.
 * @throws MachineError with one line that names the file, also for a file that does not fit into memory
 */
FileBytes ReadWholeFile(const Folder& folder, const std::filesystem::path& below);

/**
 * A file of any size in memory. The holes of a sparse file take no memory and read as zeros. A file that has
 * less than a sixteenth of its size on the disk is cut off at 16 times that: no real file is so empty.
 * The file is not mapped, because an error of the disk would then end the process.
 */
class SparseFile {
 public:
  /** @throws MachineError as ReadWholeFile does, but not for a large file */
  explicit SparseFile(const std::filesystem::path& file);
  ~SparseFile();
  SparseFile(const SparseFile&) = delete;
  SparseFile& operator=(const SparseFile&) = delete;
  std::span<const std::uint8_t> Span() const { return {begin_, size_}; }
  /** The bytes outside the holes. */
  std::size_t StoredBytes() const { return storedBytes_; }

 private:
  std::uint8_t* begin_ = nullptr;
  std::size_t size_ = 0;
  std::size_t storedBytes_ = 0;
};

}  // namespace simulated
