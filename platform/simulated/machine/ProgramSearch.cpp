#include "simulated/machine/ProgramSearch.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <vector>

#include "simulated/base/WideText.h"
#include "simulated/base/WindowsNumbers.h"
#include "simulated/machine/FilePath.h"

namespace simulated {
namespace {

constexpr std::u16string_view kProgramExtensions[] = {u".exe", u".com", u".bat", u".cmd"};
constexpr char16_t kAppPaths[] = u"\\Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\";

/** Whether Windows runs files of that name; it hands batch files to their interpreter. */
bool EndsLikeAProgram(std::u16string_view path) {
  return std::ranges::any_of(kProgramExtensions, [path](std::u16string_view extension) {
    return path.size() > extension.size() && SameName(path.substr(path.size() - extension.size()), extension);
  });
}

bool IsBareName(std::u16string_view name) { return name.find_first_of(u"\\/:") == name.npos; }

bool HasExtension(std::u16string_view path) {
  const auto lastName = path.find_last_of(u"\\/") + 1;
  return path.find(u'.', lastName) != path.npos;
}

/** A program of the machine replaces a built-in one, and a built-in one needs no file on the drive. */
std::optional<FoundProgram> FindAt(Machine& machine, const std::u16string& path) {
  const bool isThere = machine.drives.Exists(path);
  const auto program = machine.programs.Find(path);
  if (program && (isThere || !program->needsFile)) return FoundProgram{path, *program};
  if (const BuiltIn builtIn = FindBuiltIn(machine, path)) return FoundProgram{path, {}, builtIn};
  if (!isThere) return std::nullopt;
  if (machine.drives.IsFolder(path)) return FoundProgram{path, {}, nullptr, kAccessDenied};
  return FoundProgram{path, {}, nullptr, EndsLikeAProgram(path) ? 0 : kBadExeFormat};
}

/** The folders in which Windows searches for a bare name, in its order. */
std::vector<std::u16string> SearchFolders(const Machine& machine, Seeker seeker) {
  const std::u16string windows = WindowsFolder(machine);
  std::vector<std::u16string> folders = {machine.currentDirectory, windows, windows + u"\\System32"};
  if (seeker == Seeker::Creation) {
    std::swap(folders[1], folders[2]);
    folders.insert(folders.begin(), machine.hostPath.substr(0, machine.hostPath.rfind(u'\\')));
  }
  std::u16string path = machine.environment.Find(u"Path").value_or(u"") + u';';
  for (std::size_t end; (end = path.find(u';')) != path.npos; path.erase(0, end + 1)) {
    if (end != 0) folders.push_back(WithoutQuotes(path.substr(0, end)));
  }
  return folders;
}

/** The path that is registered for a program's name, for the user or for the machine; empty without one. */
std::u16string AppPath(Machine& machine, const std::u16string& name) {
  const std::lock_guard guard(machine.registry.Lock());
  for (const char16_t* root : {u"HKEY_CURRENT_USER", u"HKEY_LOCAL_MACHINE"}) {
    Key* const key = machine.registry.Find(std::u16string(root) + kAppPaths + name);
    ValueView value;
    if (!key || !key->FindValue(u"", value)) continue;
    std::u16string path(value.bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(path.data(), value.bytes.data(), path.size() * sizeof(char16_t));
    return path.substr(0, path.find(u'\0'));
  }
  return {};
}

std::u16string WithoutLeadingBlanks(std::u16string_view text) {
  const auto begin = text.find_first_not_of(u" \t");
  return begin == text.npos ? std::u16string() : std::u16string(text.substr(begin));
}

}  // namespace

std::u16string WithoutQuotes(std::u16string_view file) {
  while (file.size() >= 2 && file.front() == u'"' && file.back() == u'"')
    file = file.substr(1, file.size() - 2);
  return std::u16string(file);
}

std::optional<FoundProgram> FindNamed(Machine& machine, const std::u16string& name, Seeker seeker) {
  if (name.empty()) return std::nullopt;
  if (!IsBareName(name)) return FindAt(machine, WholePath(machine, name));
  if (auto program = machine.programs.Find(name)) return FoundProgram{name, *program};
  for (const std::u16string& folder : SearchFolders(machine, seeker)) {
    if (auto found = FindAt(machine, folder + u'\\' + name)) return found;
  }
  const std::u16string appPath = seeker == Seeker::Shell ? AppPath(machine, name) : std::u16string();
  return appPath.empty() ? std::nullopt : FindAt(machine, appPath);
}

std::optional<FoundProgram> FindProgram(Machine& machine, std::u16string_view name, Seeker seeker) {
  const std::u16string given(name);
  if (HasExtension(given)) return FindNamed(machine, given, seeker);
  if (auto found = FindNamed(machine, given + u".exe", seeker)) return found;
  return FindNamed(machine, given, seeker);
}

std::optional<FoundProgram> FindByCommandLine(Machine& machine, std::u16string_view line,
                                              std::u16string& parameters) {
  if (line.starts_with(u'"')) {
    const auto end = std::min(line.find(u'"', 1), line.size());
    parameters = WithoutLeadingBlanks(line.substr(std::min(end + 1, line.size())));
    return FindProgram(machine, line.substr(1, end - 1), Seeker::Creation);
  }
  for (std::size_t end = 0; end < line.size();) {
    end = std::min(line.find_first_of(u" \t", end + 1), line.size());
    parameters = WithoutLeadingBlanks(line.substr(end));
    auto found = FindProgram(machine, line.substr(0, end), Seeker::Creation);
    // Windows skips a folder of that name.
    if (found && found->problem != kAccessDenied) return found;
  }
  return std::nullopt;
}

}  // namespace simulated
