#include "simulated/base/ByteSource.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace simulated {
namespace {

/** Does not wait for a pipe or a device. @return no descriptor unless it is a regular file */
FileDescriptor OpenRegularFile(const std::filesystem::path& file) {
  FileDescriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  const bool isFile = descriptor && fstat(descriptor.Get(), &status) == 0 && S_ISREG(status.st_mode);
  return isFile ? std::move(descriptor) : FileDescriptor(-1);
}

}  // namespace

bool MemorySource::Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  if (offset > bytes_.size() || bytes.size() > bytes_.size() - offset) return false;
  if (!bytes.empty()) std::memcpy(bytes.data(), bytes_.data() + offset, bytes.size());
  return true;
}

FileSource::FileSource(const std::filesystem::path& file) : descriptor_(OpenRegularFile(file)) {}

bool FileSource::Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = pread(descriptor_.Get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
  return true;
}

}  // namespace simulated
