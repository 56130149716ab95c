#include "simulated/directory/ChangeFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <stdexcept>

#include "simulated/base/MachineError.h"
#include "simulated/base/WholeFile.h"
#include "simulated/base/WindowsNumbers.h"
#include "simulated/directory/ChangeFile.h"
#include "simulated/regfile/RegFile.h"
#include "simulated/regfile/RegFileWriter.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolder = "registry";
constexpr std::size_t kMostChangeFiles = 64;
constexpr std::string_view kChangePrefix = "~change-";
constexpr std::string_view kDone = ".reg";
constexpr std::string_view kPending = ".pending";
/** More changes than any machine has, and far below the overflow of a number. */
constexpr std::uint64_t kGreatestNumber = 999'999'999'999;

bool IsRegFile(const fs::path& file) {
  const std::string extension = file.extension().string();
  return std::ranges::equal(extension, kDone, {}, [](char c) { return std::tolower(c); });
}

std::string NameOf(std::uint64_t number, std::string_view ending) {
  std::string digits = std::to_string(number);
  digits.insert(0, 8 - std::min<std::size_t>(8, digits.size()), '0');
  return std::string(kChangePrefix) + digits + std::string(ending);
}

fs::path FileOf(std::uint64_t number, std::string_view ending) {
  return fs::path(kFolder) / NameOf(number, ending);
}

/** The number in a change's name; none for any other file. One that is out of range counts as the greatest
 * + 1. */
std::optional<std::uint64_t> ChangeNumber(const fs::path& file, std::string_view ending) {
  const std::string name = file.filename().string();
  if (!name.starts_with(kChangePrefix) || !name.ends_with(ending)) return std::nullopt;
  const std::string_view digits =
      std::string_view(name).substr(kChangePrefix.size(), name.size() - kChangePrefix.size() - ending.size());
  if (digits.empty() || digits.find_first_not_of("0123456789") != digits.npos) return std::nullopt;
  std::uint64_t number = 0;
  for (const char digit : digits)
    number = std::min(number * 10 + static_cast<std::uint64_t>(digit - '0'), kGreatestNumber + 1);
  return number;
}

platform::LSTATUS StatusOf(int error) {
  if (error == 0) return 0;
  if (error == EACCES || error == EPERM || error == EROFS || error == EXDEV) return Status(kAccessDenied);
  return Status(error == ENOSPC || error == EDQUOT ? kDiskFull : kWriteFault);
}

std::string Explanation(const HostFailure& failure) {
  const std::string place = failure.place.string();
  if (failure.error == EXDEV) return place + ": leads out of the machine's directory; remove the link";
  const bool isFull = failure.error == ENOSPC || failure.error == EDQUOT;
  return place + ": cannot be written (" + std::strerror(failure.error) + "); " +
         (isFull ? "make room on the disk" : "make it writable, or use a copy of the machine");
}

}  // namespace

ChangeFolder::ChangeFolder(const Folder& root) : root_(root) {
  if (!root_.Has(kFolder)) return;
  const Folder folder(root_, kFolder);
  const std::vector<std::string> names = folder.Names("");
  if (errno != 0) throw MachineError(folder.Path().string() + ": cannot be read; make it readable");
  for (const std::string& name : names) AddFile(name);
  std::ranges::sort(files_);
  std::ranges::sort(changes_);
  std::ranges::sort(pending_);
  std::vector<std::pair<std::uint64_t, std::string_view>> inOrder;
  for (const std::uint64_t number : changes_) inOrder.emplace_back(number, kDone);
  for (const std::uint64_t number : pending_) inOrder.emplace_back(number, kPending);
  std::ranges::sort(inOrder);
  // A finished operation would replace the other change.
  const auto twin = std::ranges::adjacent_find(inOrder, {}, [](const auto& change) { return change.first; });
  if (twin != inOrder.end())
    throw MachineError(root_.PathOf(FileOf(twin->first, kPending)).string() +
                       ": another change has this number; rename or remove one of the files");
  for (const auto& [number, ending] : inOrder) files_.push_back(FileOf(number, ending));
}

void ChangeFolder::AddFile(const std::string& name) {
  const auto done = ChangeNumber(name, kDone);
  const auto pending = ChangeNumber(name, kPending);
  const auto number = done ? done : pending;
  if (!number) {
    if (IsRegFile(name)) files_.push_back(fs::path(kFolder) / name);
    return;
  }
  // ~change-1.reg and ~change-00000001.reg have the same number: one of them would be lost.
  if (*number > kGreatestNumber || name != NameOf(*number, done ? kDone : kPending))
    throw MachineError(root_.PathOf(kFolder).string() + "/" + name +
                       ": its number is out of range or not padded to 8 digits; rename or remove the file");
  (done ? changes_ : pending_).push_back(*number);
}

bool ChangeFolder::IsChange(const fs::path& file) {
  return ChangeNumber(file, kDone) || ChangeNumber(file, kPending);
}

std::uint64_t ChangeFolder::NextNumber() const {
  const std::uint64_t lastDone = changes_.empty() ? 0 : changes_.back();
  return std::max(lastDone, pending_.empty() ? 0 : pending_.back()) + 1;
}

HostFailure ChangeFolder::FinishPending(const Drives& drives) {
  // In their order: a later operation may undo an earlier one.
  while (!pending_.empty()) {
    const std::uint64_t number = pending_.front();
    const fs::path file = FileOf(number, kPending);
    // The rename of an earlier try may have succeeded, although it may not last.
    const bool isRenamed =
        root_.Look(file) == Folder::Entry::None && root_.Look(FileOf(number, kDone)) == Folder::Entry::File;
    if (!isRenamed) {
      const FileChanges files = ReadFileChanges(ReadWholeFile(root_, file).Span());
      const HostFailure failure = drives.ChangeOnHost(files);
      if (failure.error != 0) return failure;
      const int error = root_.Rename(file, NameOf(number, kDone));
      if (error != 0) return {error, root_.PathOf(file)};
    }
    pending_.erase(pending_.begin());
    changes_.push_back(number);
    std::ranges::sort(changes_);
  }
  return {};
}

void ChangeFolder::ApplyPending(Drives& drives) const {
  for (const std::uint64_t number : pending_)
    drives.ChangeInMemory(ReadFileChanges(ReadWholeFile(root_, FileOf(number, kPending)).Span()));
}

// Writes all changes into the file of the last one, then removes the others. After a crash in between, the
// others are merged first and the last file overrides them.
void ChangeFolder::FoldChanges() {
  for (const std::string& name : root_.Names(kFolder))
    if (name.starts_with(Folder::kTemporaryPrefix)) root_.Remove(fs::path(kFolder) / name);
  if (changes_.size() <= kMostChangeFiles || !pending_.empty()) return;
  FoldedChanges folded;
  for (const std::uint64_t number : changes_) {
    const fs::path file = FileOf(number, kDone);
    ParseRegFile(ReadWholeFile(root_, file).Span(), root_.PathOf(file).string(), folded);
  }
  RegFileWriter writer;
  folded.WriteTo(writer);
  if (root_.Replace(FileOf(changes_.back(), kDone), writer.Bytes()) != 0) return;
  for (const std::uint64_t number : changes_)
    if (number != changes_.back()) root_.Remove(FileOf(number, kDone));
  changes_ = {changes_.back()};
}

int ChangeFolder::MakeFolder() const {
  const int error = root_.MakeFolder(kFolder);
  return error == EEXIST ? 0 : error;
}

platform::LSTATUS ChangeFolder::Keep(const ProgramChanges& changes, const Drives& drives,
                                     std::string& problem) {
  try {
    const HostFailure failure = Write(changes, WriteChangeFile(changes), drives);
    if (failure.error != 0) problem = Explanation(failure);
    return StatusOf(failure.error);
  } catch (const MachineError& error) {
    problem = error.what();
    return Status(kWriteFault);
  } catch (const std::length_error& error) {
    problem = root_.PathOf(kFolder).string() + ": cannot be written: " + error.what() + "; use another name";
    return Status(kWriteFault);
  }
}

HostFailure ChangeFolder::Write(const ProgramChanges& changes, const std::vector<std::uint8_t>& file,
                                const Drives& drives) {
  if (const int error = MakeFolder(); error != 0) return {error, root_.PathOf(kFolder)};
  // Otherwise the next process would make the file changes of an earlier operation after those of this one.
  if (HostFailure failure = FinishPending(drives); failure.error != 0) return failure;
  const std::uint64_t number = NextNumber();
  const bool hasFiles = !changes.files.IsEmpty();
  const fs::path written = FileOf(number, hasFiles ? kPending : kDone);
  if (const int error = root_.Replace(written, file); error != 0) {
    // The file may be complete but not yet synced to disk.
    if (root_.Look(written) == Folder::Entry::File) root_.Remove(written);
    return {error, root_.PathOf(kFolder)};
  }
  if (hasFiles) {
    const HostFailure failure = drives.ChangeOnHost(changes.files);
    if (failure.error != 0) {
      root_.Remove(written);
      return failure;
    }
    // The operation is complete now. If the rename fails, the next operation or process renames the file.
    if (root_.Rename(written, NameOf(number, kDone)) != 0) {
      pending_.push_back(number);
      return {};
    }
  }
  changes_.push_back(number);
  return {};
}

}  // namespace simulated
