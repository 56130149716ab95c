#include "simulated/machine/Drives.h"

#include <sys/statvfs.h>

#include <cerrno>

#include "simulated/base/FolderEntry.h"
#include "simulated/base/UpperCase.h"
#include "simulated/base/WideText.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

bool IsSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

/** The names of a path, the drive's first; "." and ".." are resolved and trailing dots and blanks ignored. */
std::vector<std::u16string_view> NamesOf(std::u16string_view path) {
  std::vector<std::u16string_view> names;
  while (!path.empty()) {
    std::size_t length = 0;
    while (length < path.size() && !IsSeparator(path[length])) ++length;
    std::u16string_view name = path.substr(0, length);
    path.remove_prefix(std::min(length + 1, path.size()));
    if (name == u"..") {
      if (names.size() > 1) names.pop_back();
      continue;
    }
    while (!name.empty() && (name.back() == u'.' || name.back() == u' ')) name.remove_suffix(1);
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

}  // namespace

std::u16string Drives::Normal(std::u16string_view path) {
  std::u16string normal;
  for (const auto name : NamesOf(path)) {
    if (!normal.empty()) normal += u'\\';
    for (const char16_t unit : name) normal += UpperCase(unit);
  }
  return normal;
}

void Drives::Mount(char16_t letter, Folder folder) {
  const std::lock_guard guard(lock_);
  mounts_.insert_or_assign(UpperCase(letter), std::make_shared<const Folder>(std::move(folder)));
}

void Drives::SetWarning(Warning warning) {
  const std::lock_guard guard(lock_);
  warning_ = std::move(warning);
}

void Drives::AddFile(std::u16string_view path) {
  const std::u16string normal = Normal(path);
  if (const auto last = normal.rfind(u'\\'); last != normal.npos) AddFolder(normal.substr(0, last));
  const std::lock_guard guard(lock_);
  deleted_.erase(normal);
  files_.insert(normal);
}

void Drives::AddFolder(std::u16string_view path) {
  std::u16string normal = Normal(path);
  const std::lock_guard guard(lock_);
  while (true) {
    folders_.insert(normal);
    const auto last = normal.rfind(u'\\');
    if (last == normal.npos) return;
    normal.resize(last);
  }
}

void Drives::SetSpace(char16_t letter, DriveSpace space) {
  const std::lock_guard guard(lock_);
  spaces_.insert_or_assign(UpperCase(letter), space);
}

void Drives::HideHostSpace(char16_t letter) {
  const std::lock_guard guard(lock_);
  spacesUnknown_.insert(UpperCase(letter));
}

std::optional<DriveSpace> Drives::FindSpace(char16_t letter) const {
  const std::lock_guard guard(lock_);
  if (const auto set = spaces_.find(UpperCase(letter)); set != spaces_.end()) return set->second;
  if (spacesUnknown_.contains(UpperCase(letter))) return std::nullopt;
  const auto mount = mounts_.find(UpperCase(letter));
  struct statvfs space {};
  if (mount == mounts_.end() || fstatvfs(mount->second->Descriptor(), &space) != 0) return std::nullopt;
  return DriveSpace{space.f_bavail * space.f_frsize, space.f_blocks * space.f_frsize};
}

bool Drives::Exists(std::u16string_view path) const {
  const std::u16string normal = Normal(path);
  {
    const std::lock_guard guard(lock_);
    if (files_.contains(normal)) return true;
  }
  return IsFolder(path) || FindExisting(path).has_value();
}

bool Drives::IsFolder(std::u16string_view path) const {
  const std::u16string normal = Normal(path);
  {
    const std::lock_guard guard(lock_);
    if (folders_.contains(normal)) return true;
  }
  const auto place = FindExisting(path);
  return place && place->root->Look(place->below) == Folder::Entry::Folder;
}

std::optional<Drives::Place> Drives::FindPlace(std::u16string_view path) const {
  const std::vector<std::u16string_view> names = NamesOf(path);
  if (names.empty() || names[0].size() != 2 || names[0][1] != u':') return std::nullopt;
  Place place;
  {
    const std::lock_guard guard(lock_);
    const auto mount = mounts_.find(UpperCase(names[0][0]));
    if (mount == mounts_.end()) return std::nullopt;
    place.root = mount->second;
  }
  std::string missing;
  for (std::size_t i = 1; i < names.size(); ++i) {
    const auto entry = missing.empty() ? FindEntry(*place.root, place.below, names[i]) : std::nullopt;
    if (entry)
      place.below = *entry;
    else
      missing += (missing.empty() ? "" : "/") + ToUtf8(names[i]);
  }
  if (!missing.empty()) place.below /= missing;
  return place;
}

std::optional<Drives::Place> Drives::FindExisting(std::u16string_view path) const {
  {
    const std::lock_guard guard(lock_);
    if (!deleted_.empty() && deleted_.contains(Normal(path))) return std::nullopt;
  }
  auto place = FindPlace(path);
  if (!place) return std::nullopt;
  const Folder::Entry entry = place->root->Look(place->below);
  if (entry == Folder::Entry::Outside) WarnOfLink(*place);
  const bool isThere = entry != Folder::Entry::None && entry != Folder::Entry::Outside;
  return isThere ? std::move(place) : std::nullopt;
}

void Drives::WarnOfLink(const Place& place) const {
  const fs::path file = place.root->PathOf(place.below);
  Warning warning;
  {
    const std::lock_guard guard(lock_);
    if (warnedOf_.insert(file).second) warning = warning_;
  }
  if (warning) warning(file.string() + ": leads out of its drive; it counts as missing");
}

std::optional<fs::path> Drives::OnHost(std::u16string_view path) const {
  const auto place = FindExisting(path);
  return place ? std::optional(place->root->PathOf(place->below)) : std::nullopt;
}

FileDescriptor Drives::OpenFile(std::u16string_view path) const {
  const auto place = FindExisting(path);
  return place ? place->root->OpenFile(place->below) : FileDescriptor(-1);
}

void Drives::KeepChanges() {
  const std::lock_guard guard(lock_);
  keepsChanges_ = true;
}

HostFailure Drives::ChangeOnHost(const FileChanges& changes) const {
  // A removed file cannot be restored, so everything that would prevent a removal is checked first.
  for (const std::u16string& path : changes.removes) {
    const auto place = FindPlace(path);
    const int error = place ? place->root->MayRemove(place->below) : 0;
    if (error != 0) return {error, place->root->PathOf(place->below)};
  }
  std::vector<Place> made;
  HostFailure failure = AddOnHost(changes.adds, made);
  if (failure.error == 0) failure = RemoveOnHost(changes.removes);
  if (failure.error != 0)
    for (auto place = made.rbegin(); place != made.rend(); ++place) place->root->Remove(place->below);
  return failure;
}

HostFailure Drives::AddOnHost(const std::vector<std::u16string>& paths, std::vector<Place>& made) const {
  for (const std::u16string& path : paths) {
    const auto place = FindPlace(path);
    if (!place) continue;
    std::vector<fs::path> entries;
    const int error = place->root->Create(place->below, entries);
    for (fs::path& entry : entries) made.push_back({place->root, std::move(entry)});
    if (error != 0) return {error, place->root->PathOf(place->below)};
  }
  return {};
}

HostFailure Drives::RemoveOnHost(const std::vector<std::u16string>& paths) const {
  for (const std::u16string& path : paths) {
    const auto place = FindPlace(path);
    const int error = place ? place->root->Remove(place->below) : 0;
    if (error != 0) return {error, place->root->PathOf(place->below)};
  }
  return {};
}

void Drives::ChangeInMemory(const FileChanges& changes) {
  const auto isOnHost = [this](std::u16string_view path) { return keepsChanges_ && FindPlace(path); };
  for (const std::u16string& path : changes.adds) {
    if (!isOnHost(path)) {
      AddFile(path);
    } else {
      const std::lock_guard guard(lock_);
      deleted_.erase(Normal(path));
    }
  }
  for (const std::u16string& path : changes.removes) {
    std::u16string normal = Normal(path);
    const bool isDeletedHere = !isOnHost(path);
    const std::lock_guard guard(lock_);
    files_.erase(normal);
    folders_.erase(normal);
    if (isDeletedHere) deleted_.insert(std::move(normal));
  }
}

}  // namespace simulated
