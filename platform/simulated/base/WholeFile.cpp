#include "simulated/base/WholeFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

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
  if (!S_ISREG(status.st_mode)) Fail(file, "no file; put one in its place");
  return static_cast<std::uint64_t>(status.st_size);
}

FileBytes Allocate(std::size_t size, const fs::path& file) {
  try {
    return {std::make_unique_for_overwrite<std::uint8_t[]>(size), 0};
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
  if (size > kLargestFileBytes) Fail(file, "larger than 1 GiB, as no such file is; replace it");
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

MappedFile::MappedFile(const fs::path& file) {
  // O_NONBLOCK: a pipe must not wait for a writer.
  const FileDescriptor in(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  size_ = static_cast<std::size_t>(CheckFile(in, file));
  if (size_ == 0) return;
  void* const begin = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, in.Get(), 0);
  if (begin == MAP_FAILED) FailRead(file, errno);
  begin_ = begin;
}

MappedFile::~MappedFile() {
  if (begin_) munmap(begin_, size_);
}

}  // namespace simulated
