#include "simulated/base/WholeFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <vector>

#include "simulated/base/MachineError.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const fs::path& file, const std::string& what) {
  throw MachineError(file.string() + ": " + what);
}

[[noreturn]] void FailRead(const fs::path& file, int error) {
  Fail(file, std::string("cannot be read (") + std::strerror(error) + "); make it readable");
}

/** @return the file's size in bytes */
std::uint64_t CheckFile(const FileDescriptor& in, const fs::path& file) {
  struct stat status {};
  if (!in || fstat(in.Get(), &status) != 0) FailRead(file, errno);
  if (!S_ISREG(status.st_mode)) Fail(file, "not a regular file; put one in its place");
  return static_cast<std::uint64_t>(status.st_size);
}

/** A part of a file outside the holes. */
struct Extent {
  std::size_t at, bytes;
};

/** On a file system that knows no holes, the file is one extent. */
std::vector<Extent> ExtentsOf(int file, std::size_t fileBytes) {
  std::vector<Extent> extents;
  for (std::size_t at = 0; at < fileBytes;) {
    const off_t begin = lseek(file, static_cast<off_t>(at), SEEK_DATA);
    if (begin < 0 && errno == ENXIO) break;
    if (begin >= 0) at = static_cast<std::size_t>(begin);
    const off_t hole = begin < 0 ? begin : lseek(file, begin, SEEK_HOLE);
    const std::size_t end = hole < 0 ? fileBytes : std::min(static_cast<std::size_t>(hole), fileBytes);
    if (at >= end) break;
    extents.push_back({at, end - at});
    at = end;
  }
  return extents;
}

/** @return false on failure, with errno set */
bool ReadAll(int file, std::uint8_t* bytes, std::size_t at, std::size_t count) {
  while (count > 0) {
    const ssize_t done = pread(file, bytes, count, static_cast<off_t>(at));
    if (done < 0 && errno == EINTR) continue;
    // The file became shorter while it was read.
    if (done == 0) errno = EIO;
    if (done <= 0) return false;
    bytes += done;
    at += static_cast<std::size_t>(done);
    count -= static_cast<std::size_t>(done);
  }
  return true;
}

FileBytes Allocate(std::size_t size, const fs::path& file) {
  FileBytes bytes;
  try {
    bytes.data = std::make_unique_for_overwrite<std::uint8_t[]>(size);
    return bytes;
  } catch (const std::bad_alloc&) {
    Fail(file, "too large for the memory that is free; close other programs");
  }
}

}  // namespace

FileBytes ReadWholeFile(const Folder& folder, const fs::path& below) {
  const fs::path file = folder.PathOf(below);
  const FileDescriptor in = folder.Open(below, O_RDONLY);
  if (!in && errno == EXDEV)
    Fail(file, "leads out of " + folder.Path().string() + "; put the file itself there");
  const std::uint64_t size = CheckFile(in, file);
  if (size > kLargestFileBytes) Fail(file, "larger than 1 GiB; replace it");
  FileBytes bytes = Allocate(static_cast<std::size_t>(size), file);
  while (bytes.size < size) {
    const ssize_t count = read(in.Get(), bytes.data.get() + bytes.size, size - bytes.size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) FailRead(file, errno);
    if (count == 0) break;
    bytes.size += static_cast<std::size_t>(count);
  }
  return bytes;
}

SparseFile::SparseFile(const fs::path& file) {
  constexpr std::size_t kMostPerStoredByte = 16;
  // O_NONBLOCK: a pipe must not wait for a writer.
  const FileDescriptor in(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  const auto fileBytes = static_cast<std::size_t>(CheckFile(in, file));
  const std::vector<Extent> extents = ExtentsOf(in.Get(), fileBytes);
  for (const Extent& extent : extents) storedBytes_ += extent.bytes;
  size_ = std::min(fileBytes, kMostPerStoredByte * storedBytes_);
  if (size_ == 0) return;
  void* const begin = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (begin == MAP_FAILED) Fail(file, "too large for the memory that is free; close other programs");
  begin_ = static_cast<std::uint8_t*>(begin);
  for (const Extent& extent : extents) {
    const std::size_t end = std::min(extent.at + extent.bytes, size_);
    if (extent.at >= end || ReadAll(in.Get(), begin_ + extent.at, extent.at, end - extent.at)) continue;
    const int error = errno;
    munmap(begin_, size_);
    FailRead(file, error);
  }
}

SparseFile::~SparseFile() {
  if (begin_) munmap(begin_, size_);
}

}  // namespace simulated
