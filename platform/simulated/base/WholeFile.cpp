#include "simulated/base/WholeFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "simulated/base/FileDescriptor.h"
#include "simulated/base/MachineError.h"

namespace simulated {
namespace {

[[noreturn]] void FailRead(const std::filesystem::path& file, int error) {
  throw MachineError(file.string() + ": cannot be read (" + std::strerror(error) + "); make it readable");
}

FileDescriptor OpenToRead(const std::filesystem::path& file, struct stat& status) {
  // Of a pipe it is not waited for that somebody writes to it.
  FileDescriptor in(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!in || fstat(in.Get(), &status) != 0) FailRead(file, errno);
  if (!S_ISREG(status.st_mode)) throw MachineError(file.string() + ": no file; put one in its place");
  return in;
}

/** @return 0 or an errno */
int WriteAll(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return 0;
}

int WriteLastingly(const std::filesystem::path& file, std::span<const std::uint8_t> bytes) {
  const FileDescriptor out(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (!out) return errno;
  const int error = WriteAll(out.Get(), bytes);
  return error == 0 && fsync(out.Get()) != 0 ? errno : error;
}

}  // namespace

FileBytes ReadWholeFile(const std::filesystem::path& file) {
  struct stat status = {};
  const FileDescriptor in = OpenToRead(file, status);
  FileBytes bytes;
  const auto capacity = static_cast<std::size_t>(status.st_size);
  bytes.data = std::make_unique_for_overwrite<std::uint8_t[]>(capacity);
  while (bytes.size < capacity) {
    const ssize_t count = read(in.Get(), bytes.data.get() + bytes.size, capacity - bytes.size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) FailRead(file, errno);
    if (count == 0) break;
    bytes.size += static_cast<std::size_t>(count);
  }
  return bytes;
}

MappedFile::MappedFile(const std::filesystem::path& file) {
  struct stat status = {};
  const FileDescriptor in = OpenToRead(file, status);
  size_ = static_cast<std::size_t>(status.st_size);
  if (size_ == 0) return;
  void* const begin = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, in.Get(), 0);
  if (begin == MAP_FAILED) FailRead(file, errno);
  begin_ = begin;
}

void MappedFile::FetchAll() const {
  // Where the host knows no such advice, each page is fetched when it is looked at.
  if (begin_) madvise(begin_, size_, MADV_POPULATE_READ);
}

MappedFile::~MappedFile() {
  if (begin_) munmap(begin_, size_);
}

int WriteWholeFile(const std::filesystem::path& file, const std::filesystem::path& scratch,
                   std::span<const std::uint8_t> bytes) {
  int error = WriteLastingly(scratch, bytes);
  if (error == 0 && rename(scratch.c_str(), file.c_str()) != 0) error = errno;
  if (error != 0) {
    unlink(scratch.c_str());
    return error;
  }
  return SyncFolder(file.parent_path());
}

int SyncFolder(const std::filesystem::path& folder) {
  const FileDescriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return descriptor && fsync(descriptor.Get()) == 0 ? 0 : errno;
}

}  // namespace simulated
