#include "simulated/directory/MachineDirectory.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "simulated/base/FileDescriptor.h"
#include "simulated/base/WholeFile.h"
#include "simulated/base/WideText.h"
#include "simulated/base/WindowsNumbers.h"
#include "simulated/directory/MachineJson.h"
#include "simulated/directory/RegistryFolder.h"
#include "simulated/regfile/RegFile.h"
#include "simulated/regfile/RegistryMerger.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const fs::path& place, const std::string& what) {
  throw MachineError(place.string() + ": " + what);
}

/** The directory's own descriptor, which carries its lock: it needs no file and works where none can be
 * written. */
FileDescriptor OpenDirectory(const fs::path& directory) {
  FileDescriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor) return descriptor;
  if (errno == ENOENT) Fail(directory, "no such directory; name one that holds a machine");
  if (errno == ENOTDIR) Fail(directory, "not a directory; name one that holds a machine");
  Fail(directory, std::string("cannot be read (") + std::strerror(errno) + "); make it readable");
}

void Lock(const FileDescriptor& descriptor, const fs::path& directory, bool isExclusive) {
  if (flock(descriptor.Get(), (isExclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0) return;
  if (errno == EWOULDBLOCK) Fail(directory, "in use by another process; try again when that has ended");
  Fail(directory, std::string("cannot be locked (") + std::strerror(errno) + "); use a local copy of it");
}

/** Adds what one file says, and tells how far it is. */
class ObservedMerger : public RegistryMerger {
 public:
  ObservedMerger(RegistryTree& registry, const LoadObserver& observer, std::uint64_t allBytes)
      : RegistryMerger(registry), observer_(observer), allBytes_(allBytes) {}

  void Progress(std::size_t doneBytes) override {
    if (observer_.progress) observer_.progress(before_ + doneBytes, allBytes_);
  }
  void LeaveOut(const std::string& line) override {
    if (observer_.warning) observer_.warning(line);
  }
  void NextFile(std::size_t fileBytes) { before_ += fileBytes; }

 private:
  const LoadObserver& observer_;
  const std::uint64_t allBytes_;
  std::uint64_t before_ = 0;
};

void MergeFiles(const std::vector<fs::path>& files, RegistryTree& registry, const LoadObserver& observer) {
  std::uint64_t allBytes = 0;
  for (const fs::path& file : files) {
    std::error_code ignored;  // What cannot be read fails when it is read.
    const std::uintmax_t bytes = fs::file_size(file, ignored);
    if (!ignored) allBytes += bytes;
  }
  ObservedMerger merger(registry, observer, allBytes);
  for (const fs::path& file : files) {
    const FileBytes bytes = ReadWholeFile(file);
    ParseRegFile(bytes.Span(), file.string(), merger);
    merger.NextFile(bytes.size);
  }
}

void MountDrives(const fs::path& folder, Drives& drives) {
  if (!fs::exists(folder)) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (!entry.is_directory()) continue;
    const std::string name = entry.path().filename().string();
    const char letter = static_cast<char>(name[0] | 0x20);
    if (name.size() != 1 || letter < 'a' || letter > 'z')
      Fail(entry.path(), "no drive; name it by a letter, A to Z");
    drives.Mount(static_cast<char16_t>(letter), entry.path());
  }
}

bool IsMachineDirectory(const fs::path& directory) {
  return fs::exists(directory / "registry") || fs::exists(directory / "drives") ||
         fs::exists(directory / "machine.json");
}

/** What a machine of a directory holds on to as long as it lives. */
struct OpenDirectoryOfMachine {
  FileDescriptor lock;
  std::optional<RegistryFolder> registry;
};

void CheckCapture(const CaptureRecord& capture, const fs::path& directory, const RegistryFolder& registry,
                  const LoadObserver& observer) {
  CheckFiles(capture, directory, registry);
  if (!observer.warning) return;
  for (const std::string& note : capture.notes) observer.warning("captured machine: " + note);
}

void LoadMachine(const fs::path& directory, RegistryFolder& registry, Machine& machine,
                 const LoadObserver& observer) {
  const fs::path descriptionFile = directory / "machine.json";
  MachineDescription description;
  if (!fs::exists(descriptionFile) && std::ranges::any_of(registry.Files(), IsCapturesFile))
    Fail(descriptionFile, "missing from a capture; copy it again, or rename the files in registry/");
  if (fs::exists(descriptionFile))
    description = ParseMachineJson(ReadWholeFile(descriptionFile).Span(), descriptionFile.string());
  if (description.capture) CheckCapture(*description.capture, directory, registry, observer);
  ApplyFacts(description, machine);
  MergeFiles(registry.Files(), machine.registry, observer);
  // There is always a user, also where no file speaks of the hive.
  machine.registry.CreateKey(u"HKEY_CURRENT_USER");
  ApplyDeniedRights(description, descriptionFile.string(), machine);
  MountDrives(directory / "drives", machine.drives);
  const std::string descriptionName = descriptionFile.string();
  SetPrograms(description.programs, directory, {descriptionName, description.lines}, machine,
              observer.warning);
}

/** Adds what a description beside the volume says. The volume has its own registry and its own system drive.
 */
void LoadDescribedVolume(const fs::path& directory, const fs::path& hives, VolumeOptions options,
                         Machine& machine, const LoadObserver& observer) {
  if (fs::exists(directory / "registry"))
    Fail(directory / "registry",
         "a Windows volume has its own registry; remove this folder, or move it to a machine directory");
  const fs::path descriptionFile = directory / "machine.json";
  MachineDescription description;
  if (fs::exists(descriptionFile))
    description = ParseMachineJson(ReadWholeFile(descriptionFile).Span(), descriptionFile.string());
  if (description.capture) Fail(descriptionFile, "a Windows volume is no capture; remove \"capture\"");
  if (!options.user && description.userSid) options.user = ToUtf8(*description.userSid);
  MountDrives(directory / "drives", machine.drives);
  LoadVolume(directory, hives, options, machine, observer);
  description.userSid.reset();
  AddFacts(description, machine);
  ApplyDeniedRights(description, descriptionFile.string(), machine);
  SetPrograms(description.programs, directory, {descriptionFile.string(), description.lines}, machine,
              observer.warning);
}

std::unique_ptr<Machine> OpenAny(const fs::path& directory, Changes changes, const LoadObserver& observer,
                                 const VolumeOptions& options) {
  auto held = std::make_shared<OpenDirectoryOfMachine>(
      OpenDirectoryOfMachine{OpenDirectory(directory), std::nullopt});
  auto machine = std::make_unique<Machine>();
  machine->keepAlive = held;
  if (const auto hives = FindHives(directory)) {
    Lock(held->lock, directory, false);
    LoadDescribedVolume(directory, *hives, options, *machine, observer);
    machine->registry.SetKeeper([](const RegistryChange&) { return Status(kAccessDenied); });
  } else if (IsMachineDirectory(directory)) {
    if (options.user) Fail(directory, "no Windows volume; its user is \"user\" in machine.json");
    Lock(held->lock, directory, changes == Changes::Lasting);
    RegistryFolder& registry = held->registry.emplace(directory / "registry");
    LoadMachine(directory, registry, *machine, observer);
    if (changes == Changes::Discarded) return machine;
    registry.FoldChanges();
    machine->drives.KeepChanges();
    machine->registry.SetKeeper(
        [held](const RegistryChange& change) { return held->registry->Keep(change); });
  } else {
    Fail(directory,
         "no machine; it needs registry/, drives/ or machine.json, or a Windows volume's "
         "Windows/System32/config/SOFTWARE");
  }
  return machine;
}

}  // namespace

std::unique_ptr<Machine> OpenMachine(const fs::path& directory, Changes changes, const LoadObserver& observer,
                                     const VolumeOptions& options) {
  try {
    return OpenAny(directory, changes, observer, options);
  } catch (const fs::filesystem_error& error) {
    Fail(error.path1(), "cannot be read (" + error.code().message() + "); make it readable");
  }
}

}  // namespace simulated
