#include "simulated/directory/MachineDirectory.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>

#include "simulated/base/Folder.h"
#include "simulated/base/WholeFile.h"
#include "simulated/base/WideText.h"
#include "simulated/base/WindowsNumbers.h"
#include "simulated/directory/ChangeFolder.h"
#include "simulated/directory/MachineJson.h"
#include "simulated/regfile/RegFile.h"
#include "simulated/regfile/RegistryMerger.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDescription = "machine.json";

[[noreturn]] void Fail(const fs::path& place, const std::string& what) {
  throw MachineError(place.string() + ": " + what);
}

/** Locks the directory itself: that needs no file, and works for a directory that cannot be written. */
void Lock(const Folder& directory, bool isExclusive) {
  if (flock(directory.Descriptor(), (isExclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0) return;
  const fs::path& place = directory.Path();
  if (errno == EWOULDBLOCK) Fail(place, "in use by another process; try again when that has ended");
  Fail(place, std::string("cannot be locked (") + std::strerror(errno) + "); use a local copy of it");
}

/** Merges one file after the other and reports the progress. */
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

std::uint64_t SizeOf(const Folder& directory, const fs::path& file) {
  const FileDescriptor entry = directory.OpenFile(file);
  struct stat status {};
  // A file that cannot be read fails when it is read.
  return entry && fstat(entry.Get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

void MergeFiles(const Folder& directory, const std::vector<fs::path>& files, RegistryTree& registry,
                const LoadObserver& observer) {
  std::uint64_t allBytes = 0;
  for (const fs::path& file : files) allBytes += SizeOf(directory, file);
  ObservedMerger merger(registry, observer, allBytes);
  for (const fs::path& file : files) {
    const std::string name = directory.PathOf(file).string();
    try {
      const FileBytes bytes = ReadWholeFile(directory, file);
      ParseRegFile(bytes.Span(), name, merger);
      merger.NextFile(bytes.size);
    } catch (const std::bad_alloc&) {
      Fail(name, "too large for the memory that is free; close other programs");
    }
  }
}

void MountDrives(const Folder& directory, Drives& drives) {
  if (!directory.Has("drives")) return;
  const Folder folder(directory, "drives");
  const std::vector<std::string> names = folder.Names("");
  if (errno != 0) Fail(folder.Path(), "cannot be read; make it readable");
  for (const std::string& name : names) {
    const Folder::Entry entry = folder.Look(name);
    if (entry == Folder::Entry::File || entry == Folder::Entry::Other) continue;
    const char letter = static_cast<char>(name[0] | 0x20);
    if (name.size() != 1 || letter < 'a' || letter > 'z')
      Fail(folder.PathOf(name), "no drive; name it by a letter, A to Z");
    drives.Mount(static_cast<char16_t>(letter), Folder(directory, fs::path("drives") / name));
  }
}

bool IsMachineDirectory(const Folder& directory) {
  return std::ranges::any_of(std::array{"registry", "drives", "machine.json"},
                             [&](const char* name) { return directory.Has(name); });
}

/** Lives as long as the machine of a directory. The descriptor of the directory has its lock. */
struct OpenDirectory {
  Folder directory;
  std::optional<ChangeFolder> registry;
};

void CheckCapture(const CaptureRecord& capture, const Folder& directory, const ChangeFolder& registry,
                  const LoadObserver& observer) {
  CheckFiles(capture, directory, registry);
  if (!observer.warning) return;
  for (const std::string& note : capture.notes) observer.warning("captured machine: " + note);
}

MachineDescription ReadDescription(const Folder& directory, const ChangeFolder& registry,
                                   const std::string& fileName) {
  if (directory.Has(kDescription))
    return ParseMachineJson(ReadWholeFile(directory, kDescription).Span(), fileName);
  if (std::ranges::any_of(registry.Files(), IsCapturesFile))
    Fail(fileName, "missing from a capture; copy it again, or rename the files in registry/");
  return {};
}

void LoadMachine(const Folder& directory, const ChangeFolder& registry, Machine& machine,
                 const LoadObserver& observer) {
  const std::string fileName = directory.PathOf(kDescription).string();
  const MachineDescription description = ReadDescription(directory, registry, fileName);
  if (description.capture) CheckCapture(*description.capture, directory, registry, observer);
  ApplyFacts(description, machine);
  MergeFiles(directory, registry.Files(), machine.registry, observer);
  // There is always a user, also if no file has the hive.
  machine.registry.CreateKey(u"HKEY_CURRENT_USER");
  ApplyDeniedRights(description, fileName, machine);
  machine.drives.SetWarning(observer.warning);
  MountDrives(directory, machine.drives);
  SetPrograms(description.programs, directory, {fileName, description.lines}, machine, observer.warning);
}

/** From now on changes are kept in the directory. */
void KeepChanges(const std::shared_ptr<OpenDirectory>& held, Machine& machine) {
  machine.drives.KeepChanges();
  machine.keeper = [held, &machine](const ProgramChanges& changes) {
    std::string problem;
    const platform::LSTATUS status = held->registry->Keep(changes, machine.drives, problem);
    if (status != 0) machine.SetWriteProblem(std::move(problem));
    return status;
  };
}

void LoadDirectory(const std::shared_ptr<OpenDirectory>& held, Changes changes, Machine& machine,
                   const LoadObserver& observer) {
  Lock(held->directory, changes == Changes::Lasting);
  ChangeFolder& registry = held->registry.emplace(held->directory);
  LoadMachine(held->directory, registry, machine, observer);
  if (changes == Changes::Lasting) {
    // Operations that cannot be finished, for example on a read-only disk, stay pending.
    registry.FinishPending(machine.drives);
    registry.FoldChanges();
  }
  // Before KeepChanges, because afterwards the host has all changes of its files.
  registry.ApplyPending(machine.drives);
  if (changes == Changes::Lasting) KeepChanges(held, machine);
}

/** Adds what a description beside the volume says. The volume has its own registry and its own system drive.
 */
void LoadDescribedVolume(const Folder& directory, const fs::path& hives, VolumeOptions options,
                         Machine& machine, const LoadObserver& observer) {
  if (directory.Has("registry"))
    Fail(directory.PathOf("registry"),
         "a Windows volume has its own registry; remove this folder, or move it to a machine directory");
  const std::string fileName = directory.PathOf(kDescription).string();
  MachineDescription description;
  if (directory.Has(kDescription))
    description = ParseMachineJson(ReadWholeFile(directory, kDescription).Span(), fileName);
  if (description.capture) Fail(fileName, "a Windows volume is not a capture; remove \"capture\"");
  if (!options.user && description.userSid) options.user = ToUtf8(*description.userSid);
  machine.drives.SetWarning(observer.warning);
  MountDrives(directory, machine.drives);
  LoadVolume(directory.Path(), hives, options, machine, observer);
  description.userSid.reset();
  AddFacts(description, machine);
  ApplyDeniedRights(description, fileName, machine);
  SetPrograms(description.programs, directory, {fileName, description.lines}, machine, observer.warning);
  machine.keeper = [&machine, path = directory.Path()](const ProgramChanges&) {
    machine.SetWriteProblem(path.string() +
                            ": a volume is never changed; capture it, and change the capture");
    return Status(kAccessDenied);
  };
}

std::unique_ptr<Machine> OpenAny(const fs::path& path, Changes changes, const LoadObserver& observer,
                                 const VolumeOptions& options) {
  auto held = std::make_shared<OpenDirectory>(OpenDirectory{Folder(path), std::nullopt});
  auto machine = std::make_unique<Machine>();
  machine->keepAlive = held;
  if (const auto hives = FindHives(path)) {
    Lock(held->directory, false);
    LoadDescribedVolume(held->directory, *hives, options, *machine, observer);
  } else if (IsMachineDirectory(held->directory)) {
    if (options.user) Fail(path, "no Windows volume; its user is \"user\" in machine.json");
    LoadDirectory(held, changes, *machine, observer);
  } else {
    Fail(path,
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
  } catch (const std::bad_alloc&) {
    Fail(directory, "needs more memory than is free; close other programs");
  }
}

}  // namespace simulated
