/** Reads machine.json: the facts of a machine beside its registry and drives, see docs/machine-directory.md.
 */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulated/base/MachineError.h"
#include "simulated/directory/CaptureRecord.h"
#include "simulated/directory/DescribedProgram.h"
#include "simulated/directory/JsonFile.h"
#include "simulated/machine/Machine.h"

namespace simulated {

/** The contents of a machine.json. Members that it does not have are empty. */
struct MachineDescription {
  std::optional<std::u16string> userSid;
  std::optional<std::u16string> userName;
  /** Replaces the whole default environment. */
  std::optional<std::map<std::u16string, std::u16string>> environment;
  std::optional<std::u16string> hostPath;
  std::optional<std::u16string> currentDirectory;
  std::optional<bool> elevationGranted;
  /** By the drive's letter. */
  std::map<char16_t, DriveSpace> disks;
  std::vector<std::optional<std::u16string>> graphicsAdapters;
  AppsFolder appsFolder;
  ProgramDescriptions programs;
  /** Whether keys are listed in the order of the registration files, and not as Windows sorts them. */
  bool listsAsMade = false;
  /** Only of a captured machine. */
  std::optional<CaptureRecord> capture;
  /** Rights that are refused, by the whole path of the key. */
  std::map<std::u16string, platform::DWORD> deniedRights;
  /** Line of each member, for error messages. */
  JsonLines lines;
};

/**
 * Reads the file from memory.
 * @param fileName  begins each error
 * @throws MachineError "file:line: ..." for a text that is not JSON, "file:line: member: ..." for another
 * shape
 */
MachineDescription ParseMachineJson(std::span<const std::uint8_t> bytes, const std::string& fileName);

/**
 * Applies the description to the machine, except its programs and rights. REQUIRES: the registry is not
 * loaded yet, because the user decides where HKEY_CURRENT_USER is stored.
 */
void ApplyFacts(const MachineDescription& description, Machine& machine);

/** The same, but adds the variables of the environment to those that the machine has. */
void AddFacts(const MachineDescription& description, Machine& machine);

/** Refuses the rights. REQUIRES: the registry is loaded. @throws MachineError for a key that it does not have
 */
void ApplyDeniedRights(const MachineDescription& description, const std::string& fileName, Machine& machine);

}  // namespace simulated
