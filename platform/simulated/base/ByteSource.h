/** Bytes that are read here and there, such as a large file of which a small part is of interest. */
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "simulated/base/FileDescriptor.h"

namespace simulated {

class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /** Fills all of `bytes` from `offset` on. @return false where not so many are there */
  virtual bool Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const = 0;
};

/** Bytes in memory, which stay the caller's. */
class MemorySource : public ByteSource {
 public:
  explicit MemorySource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;

 private:
  std::span<const std::uint8_t> bytes_;
};

/** A regular file of the host. One that cannot be opened, or is none, has no bytes. */
class FileSource : public ByteSource {
 public:
  explicit FileSource(const std::filesystem::path& file);
  bool Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;

 private:
  FileDescriptor descriptor_;
};

}  // namespace simulated
