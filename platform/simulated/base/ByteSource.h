/** Bytes that are read in places, such as a large file of which a small part is needed. */
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "simulated/base/FileDescriptor.h"

namespace simulated {

class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /** Fills all of `bytes` from `offset` on. @return false if the source ends before */
  virtual bool Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const = 0;
};

/** Bytes in memory. The caller owns them. */
class MemorySource : public ByteSource {
 public:
  explicit MemorySource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;

 private:
  std::span<const std::uint8_t> bytes_;
};

/** A regular file of the host; empty without a descriptor, or if the path is not a regular file. */
class FileSource : public ByteSource {
 public:
  explicit FileSource(FileDescriptor file) : descriptor_(std::move(file)) {}
  explicit FileSource(const std::filesystem::path& file);
  bool Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;

 private:
  FileDescriptor descriptor_;
};

}  // namespace simulated
