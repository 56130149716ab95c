#include "simulated/base/Folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "simulated/base/MachineError.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

constexpr int kAlways = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr unsigned kFileMode = 0666;
constexpr unsigned kFolderMode = 0777;
constexpr int kMostAttempts = 1000;

/** Returns whether the host would take only a part of the path, which may be another entry. */
bool HasNul(const fs::path& below) { return below.native().find('\0') != std::string::npos; }

const char* Name(const fs::path& below) { return below.empty() ? "." : below.c_str(); }

int OpenBeneath(int folder, const fs::path& below, int flags, unsigned mode) {
  if (HasNul(below)) return errno = EINVAL, -1;
  open_how how{};
  // The kernel refuses other flags beside O_PATH, and a mode for a file that is not made.
  how.flags = static_cast<__u64>(flags & O_PATH ? flags | O_CLOEXEC : flags | kAlways);
  how.mode = flags & O_CREAT ? mode : 0;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  for (int attempt = 1;; ++attempt) {
    const long descriptor = syscall(SYS_openat2, folder, Name(below), &how, sizeof how);
    if (descriptor >= 0) return static_cast<int>(descriptor);
    // EAGAIN: something was renamed meanwhile, and the kernel cannot tell whether the path leaves. A process
    // that renames all the time must not hold this one for ever.
    if (errno == EINTR || (errno == EAGAIN && attempt < kMostAttempts)) continue;
    // Old kernels do not have the call. Containers of that time refuse it with EPERM.
    if (errno == ENOSYS || errno == EPERM) return OpenStepByStep(folder, below, flags, mode);
    return -1;
  }
}

FileDescriptor OpenNamed(const fs::path& path) {
  FileDescriptor descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor) return descriptor;
  const std::string place = path.string();
  if (errno == ENOENT) throw MachineError(place + ": no such directory; name one that holds a machine");
  if (errno == ENOTDIR) throw MachineError(place + ": not a directory; name one that holds a machine");
  throw MachineError(place + ": cannot be read (" + std::strerror(errno) + "); make it readable");
}

FileDescriptor OpenBelow(const Folder& parent, const fs::path& below) {
  FileDescriptor descriptor = parent.Open(below, O_RDONLY | O_DIRECTORY);
  if (descriptor) return descriptor;
  const std::string place = parent.PathOf(below).string();
  if (errno == EXDEV)
    throw MachineError(place + ": leads out of " + parent.Path().string() + "; remove the link");
  throw MachineError(place + ": cannot be read (" + std::strerror(errno) + "); make it readable");
}

/** @return 0 or an errno */
int WriteAll(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return fsync(descriptor) == 0 ? 0 : errno;
}

/** A name that nobody can guess and put a link at. */
std::string TemporaryName() {
  std::uint64_t number = 0;
  if (getentropy(&number, sizeof number) != 0) return {};
  return std::string(Folder::kTemporaryPrefix) + std::to_string(number) + ".tmp";
}

int Sync(int folder) { return fsync(folder) == 0 ? 0 : errno; }

}  // namespace

int OpenStepByStep(int folder, const fs::path& below, int flags, unsigned mode) {
  if (HasNul(below)) return errno = EINVAL, -1;
  if (below.is_absolute()) return errno = EXDEV, -1;
  FileDescriptor current(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  const fs::path path = below.empty() ? fs::path(".") : below;
  for (auto name = path.begin(); current; ++name) {
    if (*name == "..") return errno = EXDEV, -1;
    const bool isLast = std::next(name) == path.end();
    const char* const text = name->empty() ? "." : name->c_str();
    struct stat status {};
    const bool isLink =
        fstatat(current.Get(), text, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
    if (isLink) return errno = EXDEV, -1;
    const int stepFlags = isLast ? flags : O_PATH | O_DIRECTORY;
    const int next = openat(current.Get(), text, stepFlags | O_NOFOLLOW | kAlways, mode);
    if (isLast || next < 0) return next;
    current = FileDescriptor(next);
  }
  return -1;
}

Folder::Folder(fs::path path) : path_(std::move(path)), descriptor_(OpenNamed(path_)) {}

Folder::Folder(const Folder& parent, const fs::path& below)
    : path_(parent.PathOf(below)), descriptor_(OpenBelow(parent, below)) {}

FileDescriptor Folder::Open(const fs::path& below, int flags) const {
  return FileDescriptor(OpenBeneath(Descriptor(), below, flags, kFileMode));
}

FileDescriptor Folder::OpenFile(const fs::path& below) const {
  FileDescriptor file = Open(below, O_RDONLY);
  struct stat status {};
  const bool isFile = file && fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode);
  return isFile ? std::move(file) : FileDescriptor(-1);
}

Folder::Entry Folder::Look(const fs::path& below) const {
  const FileDescriptor entry = Open(below, O_PATH);
  struct stat status {};
  if (!entry) return errno == EXDEV ? Entry::Outside : Entry::None;
  if (fstat(entry.Get(), &status) != 0) return Entry::None;
  if (S_ISREG(status.st_mode)) return Entry::File;
  return S_ISDIR(status.st_mode) ? Entry::Folder : Entry::Other;
}

bool Folder::Has(const char* name) const {
  struct stat status {};
  return fstatat(Descriptor(), name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

std::vector<std::string> Folder::Names(const fs::path& below) const {
  std::vector<std::string> names;
  const FileDescriptor folder = Open(below, O_RDONLY | O_DIRECTORY);
  if (!folder) return names;
  DIR* const stream = fdopendir(fcntl(folder.Get(), F_DUPFD_CLOEXEC, 0));
  if (!stream) return names;
  errno = 0;
  while (const dirent* const entry = readdir(stream)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  const int error = errno;
  closedir(stream);
  errno = error;
  return names;
}

FileDescriptor Folder::OpenParent(const fs::path& below) const {
  if (HasNul(below)) {
    errno = EINVAL;
    return FileDescriptor(-1);
  }
  return Open(below.parent_path(), O_RDONLY | O_DIRECTORY);
}

int Folder::Replace(const fs::path& below, std::span<const std::uint8_t> bytes) const {
  const FileDescriptor parent = OpenParent(below);
  if (!parent) return errno;
  const std::string temporary = TemporaryName();
  int error = 0;
  {
    const FileDescriptor out(openat(parent.Get(), temporary.c_str(),
                                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | kAlways, kFileMode));
    if (!out) return errno;
    error = WriteAll(out.Get(), bytes);
  }
  const std::string name = below.filename().string();
  if (error == 0 && renameat(parent.Get(), temporary.c_str(), parent.Get(), name.c_str()) != 0) error = errno;
  if (error == 0) return Sync(parent.Get());
  unlinkat(parent.Get(), temporary.c_str(), 0);
  return error;
}

int Folder::Rename(const fs::path& below, const std::string& newName) const {
  const FileDescriptor parent = OpenParent(below);
  if (!parent) return errno;
  const std::string name = below.filename().string();
  if (renameat(parent.Get(), name.c_str(), parent.Get(), newName.c_str()) != 0) return errno;
  return Sync(parent.Get());
}

int Folder::Create(const fs::path& below, std::vector<fs::path>& made) const {
  const fs::path above = below.parent_path();
  fs::path folder;
  for (const fs::path& name : above) {
    folder /= name;
    const int error = Look(folder) == Entry::Folder ? EEXIST : MakeFolder(folder);
    if (error == 0) made.push_back(folder);
    if (error != 0 && error != EEXIST) return error;
  }
  const Entry entry = Look(below);
  if (entry != Entry::None) return entry == Entry::File ? 0 : entry == Entry::Outside ? EXDEV : EEXIST;
  const FileDescriptor file = Open(below, O_WRONLY | O_CREAT | O_EXCL);
  if (!file) return errno;
  made.push_back(below);
  const FileDescriptor parent = OpenParent(below);
  return parent ? Sync(parent.Get()) : errno;
}

int Folder::MakeFolder(const fs::path& below) const {
  const FileDescriptor parent = OpenParent(below);
  if (!parent || mkdirat(parent.Get(), below.filename().c_str(), kFolderMode) != 0) return errno;
  return Sync(parent.Get());
}

int Folder::Remove(const fs::path& below) const {
  const FileDescriptor parent = OpenParent(below);
  if (!parent) return errno == ENOENT ? 0 : errno;
  const std::string name = below.filename().string();
  int result = unlinkat(parent.Get(), name.c_str(), 0);
  if (result != 0 && (errno == EISDIR || errno == EPERM)) {
    result = unlinkat(parent.Get(), name.c_str(), AT_REMOVEDIR);
  }
  if (result != 0) return errno == ENOENT || errno == ENOTEMPTY ? 0 : errno;
  return Sync(parent.Get());
}

int Folder::MayRemove(const fs::path& below) const {
  const FileDescriptor parent = OpenParent(below);
  if (!parent) return errno == ENOENT ? 0 : errno;
  return faccessat(parent.Get(), ".", W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

bool Folder::IsBelow(const fs::path& path) {
  const auto leaves = [](const fs::path& name) { return name == ".."; };
  return path.is_relative() && !path.empty() && !HasNul(path) && std::ranges::none_of(path, leaves);
}

}  // namespace simulated
