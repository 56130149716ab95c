#include "simulated/directory/RegistryFolder.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <string>

#include "simulated/base/MachineError.h"
#include "simulated/base/WholeFile.h"
#include "simulated/base/WindowsNumbers.h"
#include "simulated/regfile/FoldedChanges.h"
#include "simulated/regfile/RegFile.h"
#include "simulated/regfile/RegFileWriter.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostChangeFiles = 64;
constexpr std::string_view kChangePrefix = "~change-";

bool IsRegFile(const fs::path& file) {
  const std::string extension = file.extension().string();
  return std::ranges::equal(extension, std::string_view(".reg"), {}, [](char c) { return std::tolower(c); });
}

/** The number in a change file's name; nothing for any other file. */
std::optional<std::uint64_t> ChangeNumber(const fs::path& file) {
  const std::string name = file.stem().string();
  if (!name.starts_with(kChangePrefix) || file.extension() != ".reg") return {};
  std::uint64_t number = 0;
  const char* const end = name.data() + name.size();
  const auto result = std::from_chars(name.data() + kChangePrefix.size(), end, number);
  return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

platform::LSTATUS StatusOf(int error) {
  if (error == 0) return 0;
  if (error == EACCES || error == EPERM || error == EROFS) return Status(kAccessDenied);
  return Status(error == ENOSPC || error == EDQUOT ? kDiskFull : kWriteFault);
}

std::optional<std::uint64_t> Time(const RegistryChange& change) {
  return change.time == 0 ? std::nullopt : std::optional(change.time);
}

// A key's coming and going is also a change of the key above it.
void WriteKeyAbove(const RegistryChange& change, RegFileSink& sink) {
  const std::size_t separator = change.path.rfind(u'\\');
  if (change.time != 0 && separator != change.path.npos)
    sink.OpenKey(change.path.substr(0, separator), change.time);
}

void WriteChange(const RegistryChange& change, RegFileSink& sink) {
  switch (change.kind) {
    case RegistryChange::Kind::CreateKey:
      WriteKeyAbove(change, sink);
      return sink.OpenKey(change.path, Time(change));
    case RegistryChange::Kind::DeleteKey:
      sink.DeleteKey(change.path);
      return WriteKeyAbove(change, sink);
    case RegistryChange::Kind::SetValue:
      sink.OpenKey(change.path, Time(change));
      return sink.SetValue(change.valueName, change.type, change.bytes);
    case RegistryChange::Kind::DeleteValue:
      sink.OpenKey(change.path, Time(change));
      return sink.DeleteValue(change.valueName);
  }
}

}  // namespace

RegistryFolder::RegistryFolder(fs::path folder) : folder_(std::move(folder)) {
  if (!fs::exists(folder_)) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_)) {
    if (const auto number = ChangeNumber(entry.path()))
      changes_.push_back(*number);
    else if (IsRegFile(entry.path()))
      files_.push_back(entry.path());
  }
  std::ranges::sort(files_);
  std::ranges::sort(changes_);
  for (const std::uint64_t number : changes_) files_.push_back(ChangeFile(number));
}

bool RegistryFolder::IsChange(const fs::path& file) { return ChangeNumber(file).has_value(); }

fs::path RegistryFolder::ChangeFile(std::uint64_t number) const {
  std::string digits = std::to_string(number);
  digits.insert(0, 8 - std::min<std::size_t>(8, digits.size()), '0');
  return folder_ / (std::string(kChangePrefix) + digits + ".reg");
}

// The last change's file becomes the one of all before any other goes: whatever is left of the others is
// merged before it and overruled by it.
void RegistryFolder::FoldChanges() {
  if (changes_.size() <= kMostChangeFiles) return;
  FoldedChanges folded;
  for (const std::uint64_t number : changes_) {
    const fs::path file = ChangeFile(number);
    ParseRegFile(ReadWholeFile(file).Span(), file.string(), folded);
  }
  RegFileWriter writer;
  folded.WriteTo(writer);
  if (WriteWholeFile(ChangeFile(changes_.back()), folder_ / "~change.tmp", writer.Bytes()) != 0) return;
  for (const std::uint64_t number : changes_)
    if (number != changes_.back()) unlink(ChangeFile(number).c_str());
  changes_ = {changes_.back()};
}

platform::LSTATUS RegistryFolder::Keep(const RegistryChange& change) {
  RegFileWriter writer;
  try {
    WriteChange(change, writer);
  } catch (const std::length_error&) {
    return Status(kWriteFault);
  }
  std::error_code made;
  if (fs::create_directory(folder_, made)) SyncFolder(folder_.parent_path());
  if (made) return StatusOf(made.value());
  const std::uint64_t number = changes_.empty() ? 1 : changes_.back() + 1;
  const fs::path file = ChangeFile(number);
  const int error = WriteWholeFile(file, folder_ / "~change.tmp", writer.Bytes());
  if (error == 0)
    changes_.push_back(number);
  else
    unlink(file.c_str());
  return StatusOf(error);
}

}  // namespace simulated
