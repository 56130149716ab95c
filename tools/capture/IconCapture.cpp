#include "IconCapture.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>

#include "MachineCalls.h"
#include "Text.h"

namespace capture {
namespace {

namespace fs = std::filesystem;

/** Returns the path that the library reads from a display icon: up to the first comma, without quotes and
 * blanks. */
std::u16string IconPath(std::u16string_view displayIcon) {
  std::u16string path;
  for (const char16_t unit : displayIcon.substr(0, displayIcon.find(u','))) {
    const bool isDoubled = unit == u'\\' && path.ends_with(u'\\');
    if (unit != u'"' && !isDoubled) path += unit;
  }
  const std::size_t start = std::min(path.find_first_not_of(u' '), path.size());
  path.erase(0, start);
  path.erase(path.find_last_not_of(u' ') + 1);
  return path;
}

/** Returns the path with single backslashes and without "." and ".."; empty if a drive's folder cannot have
 * it. */
std::u16string PlaceOnDrive(std::u16string_view path) {
  const auto isLetter = [](char16_t unit) { return (unit | 0x20) >= u'a' && (unit | 0x20) <= u'z'; };
  if (path.size() < 4 || !isLetter(path[0]) || path[1] != u':' || (path[2] != u'\\' && path[2] != u'/'))
    return {};
  std::vector<std::u16string_view> names;
  for (std::size_t at = 3, end = 3; end != path.npos; at = end + 1) {
    end = path.find_first_of(u"\\/", at);
    const std::u16string_view name = path.substr(at, end - at);
    if (name.find_first_of(u"<>:\"|?*") != name.npos) return {};
    if (name == u".." && !names.empty()) names.pop_back();
    if (!name.empty() && name != u"." && name != u"..") names.push_back(name);
  }
  std::u16string place{path[0], u':'};
  for (const std::u16string_view name : names) place.append(u"\\").append(name);
  return names.empty() ? std::u16string() : place;
}

std::optional<std::string> ReadFile(const fs::path& place) {
  std::ifstream stream(place, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  return stream ? std::optional(std::move(bytes)) : std::nullopt;
}

void CaptureFile(const std::u16string& path, const fs::path& place, std::uint64_t& room,
                 CapturedMachine& machine) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(place, error);
  if (!error && size > room) {
    machine.notes.push_back({path, u"icon file not captured: it has " + ToWide(size) + u" bytes, and only " +
                                       ToWide(room) + u" are left"});
  } else if (auto bytes = ReadFile(place)) {
    room -= std::min<std::uint64_t>(room, bytes->size());
    machine.files.push_back({path, std::move(*bytes)});
  } else {
    machine.notes.push_back({path, u"icon file not captured: it cannot be read"});
  }
}

}  // namespace

void CaptureIconFiles(std::span<const std::u16string> displayIcons, std::uint64_t mostBytes,
                      CapturedMachine& machine, const std::function<void()>& poll) {
  std::set<std::u16string> done;
  for (const std::u16string& displayIcon : displayIcons) {
    poll();
    const std::u16string named = IconPath(displayIcon);
    const auto found = named.empty() ? std::nullopt : FindMachineFile(named);
    if (!found) continue;
    const std::u16string path = PlaceOnDrive(named);
    if (path.empty()) {
      machine.notes.push_back({named, u"icon file not captured: its path is not complete"});
    } else if (done.insert(AsciiUpper(path)).second) {
      CaptureFile(path, *found, mostBytes, machine);
    }
  }
}

}  // namespace capture
