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

/** Larger files are refused: no real one is larger, and a sparse one costs its sender nothing. */
inline constexpr std::uint64_t kLargestFileBytes = std::uint64_t{1} << 30;

/**
 * Reads a regular file below a folder.
 * @throws MachineError with one line that names the file, also for a file that does not fit into memory
 */
FileBytes ReadWholeFile(const Folder& folder, const std::filesystem::path& below);

/** A file mapped into memory. REQUIRES: nobody shortens the file meanwhile. */
class MappedFile {
 public:
  /** @throws MachineError as ReadWholeFile does */
  explicit MappedFile(const std::filesystem::path& file);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  std::span<const std::uint8_t> Span() const { return {static_cast<const std::uint8_t*>(begin_), size_}; }

 private:
  void* begin_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace simulated
