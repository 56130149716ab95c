#include "simulated/machine/Drives.h"

#include <fstream>
#include <vector>

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

void Drives::Mount(char16_t letter, fs::path folder) {
  const std::lock_guard guard(lock_);
  mounts_.insert_or_assign(UpperCase(letter), std::move(folder));
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
  std::error_code error;
  const auto space = mount == mounts_.end() ? fs::space_info() : fs::space(mount->second, error);
  if (mount == mounts_.end() || error) return std::nullopt;
  return DriveSpace{space.available, space.capacity};
}

bool Drives::Exists(std::u16string_view path) const {
  const std::u16string normal = Normal(path);
  {
    const std::lock_guard guard(lock_);
    if (files_.contains(normal)) return true;
  }
  return IsFolder(path) || OnHost(path).has_value();
}

bool Drives::IsFolder(std::u16string_view path) const {
  const std::u16string normal = Normal(path);
  {
    const std::lock_guard guard(lock_);
    if (folders_.contains(normal)) return true;
  }
  const auto onHost = OnHost(path);
  std::error_code error;
  return onHost && fs::is_directory(*onHost, error);
}

std::optional<fs::path> Drives::PlaceOnHost(std::u16string_view path) const {
  const std::vector<std::u16string_view> names = NamesOf(path);
  if (names.empty() || names[0].size() != 2 || names[0][1] != u':') return std::nullopt;
  const std::lock_guard guard(lock_);
  const auto mount = mounts_.find(UpperCase(names[0][0]));
  if (mount == mounts_.end()) return std::nullopt;
  fs::path place = mount->second;
  for (std::size_t i = 1; i < names.size(); ++i)
    place = FindEntry(place, names[i]).value_or(place / ToUtf8(names[i]));
  return place;
}

std::optional<fs::path> Drives::OnHost(std::u16string_view path) const {
  {
    const std::lock_guard guard(lock_);
    if (!deleted_.empty() && deleted_.contains(Normal(path))) return std::nullopt;
  }
  auto place = PlaceOnHost(path);
  std::error_code error;
  return place && fs::exists(*place, error) ? place : std::nullopt;
}

void Drives::KeepChanges() {
  const std::lock_guard guard(lock_);
  keepsChanges_ = true;
}

bool Drives::Create(std::u16string_view path) {
  const auto place = keepsChanges_ ? PlaceOnHost(path) : std::nullopt;
  if (!place) {
    AddFile(path);
    return true;
  }
  std::error_code error;
  fs::create_directories(place->parent_path(), error);
  return std::ofstream(*place, std::ios::app).good();
}

bool Drives::Delete(std::u16string_view path) {
  const auto place = keepsChanges_ ? OnHost(path) : std::nullopt;
  std::error_code error;
  if (place) fs::remove(*place, error);
  std::u16string normal = Normal(path);
  const std::lock_guard guard(lock_);
  files_.erase(normal);
  folders_.erase(normal);
  if (!keepsChanges_) deleted_.insert(std::move(normal));
  return !error;
}

}  // namespace simulated
