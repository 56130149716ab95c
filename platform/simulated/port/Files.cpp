#include "platform/Files.h"

#include <algorithm>

#include "simulated/base/AnsiText.h"
#include "simulated/machine/FilePath.h"
#include "simulated/port/Call.h"

namespace simulated {

std::u16string WholePath(const Machine& machine, std::u16string_view path) {
  const bool hasDrive = path.size() >= 2 && path[1] == u':';
  if (hasDrive) return std::u16string(path);
  const std::u16string& current = machine.currentDirectory;
  const bool fromDriveRoot = !path.empty() && (path[0] == u'\\' || path[0] == u'/');
  return (fromDriveRoot ? current.substr(0, 2) : current + u'\\') + std::u16string(path);
}

namespace {

/** Finds the free space of a folder's drive. @return 0 or a Windows error number */
platform::DWORD FindSpace(const Machine& machine, std::u16string_view folder, DriveSpace& space) {
  if (folder.empty()) return kPathNotFound;
  const std::u16string path = Drives::Normal(WholePath(machine, folder));
  const auto found = machine.drives.FindSpace(path.empty() ? u'\0' : path[0]);
  if (!found) return kPathNotFound;
  // Windows reports the space for an existing folder only, but for the root of any drive.
  const bool isRoot = path.size() == 2;
  if (!isRoot && !machine.drives.Exists(path)) return kPathNotFound;
  if (!isRoot && !machine.drives.IsFolder(path)) return kDirectory;
  space = *found;
  return 0;
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;

int _waccess(const char16_t* path, int mode) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "_waccess", Failure<int>{-1},
      [&](Arguments& arguments) { arguments.Text(path).Number(mode); },
      [&] { return *path != 0 && machine.drives.Exists(simulated::WholePath(machine, path)) ? 0 : -1; });
}

DWORD GetCurrentDirectoryA(DWORD bufferBytes, char* buffer) {
  Machine& machine = CurrentMachine();
  const auto answer = [&] {
    const std::string directory = simulated::ToAnsi(machine.currentDirectory);
    if (directory.size() >= bufferBytes) return static_cast<DWORD>(directory.size() + 1);
    std::copy_n(directory.c_str(), directory.size() + 1, buffer);
    return static_cast<DWORD>(directory.size());
  };
  return Perform(
      &machine, "GetCurrentDirectoryA", Failure<DWORD>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) { arguments.Number(bufferBytes); }, answer);
}

DWORD GetModuleFileNameA(HANDLE module, char* buffer, DWORD bufferBytes) {
  Machine& machine = CurrentMachine();
  const auto answer = [&] {
    if (bufferBytes == 0) return DWORD{0};
    const std::string path = simulated::ToAnsi(machine.hostPath);
    const std::size_t fitting = std::min<std::size_t>(path.size(), bufferBytes - 1);
    std::copy_n(path.data(), fitting, buffer);
    buffer[fitting] = 0;
    if (fitting == path.size()) return static_cast<DWORD>(fitting);
    simulated::SetLastError(simulated::kInsufficientBuffer);
    return bufferBytes;
  };
  return Perform(
      &machine, "GetModuleFileNameA", Failure<DWORD>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) { arguments.Handle(module).Number(bufferBytes); }, answer);
}

BOOL GetDiskFreeSpaceExW(const char16_t* directory, std::uint64_t* freeToCaller, std::uint64_t* total,
                         std::uint64_t* totalFree) {
  Machine& machine = CurrentMachine();
  const auto answer = [&] {
    simulated::DriveSpace space;
    const DWORD problem = simulated::FindSpace(machine, directory, space);
    if (problem != 0) return simulated::SetLastError(problem), BOOL{0};
    *freeToCaller = *totalFree = space.freeBytes;
    *total = space.sizeBytes;
    return BOOL{1};
  };
  return Perform(
      &machine, "GetDiskFreeSpaceExW", Failure<BOOL>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) { arguments.Text(directory); }, answer);
}

}  // namespace platform
