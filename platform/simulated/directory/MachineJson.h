/** Reads machine.json: what a machine is beside its registry and its drives. docs/machine-directory.md has it
 * all. */
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

/** What a machine.json says; what it does not say is empty. */
struct MachineDescription {
  std::optional<std::u16string> userSid;
  std::optional<std::u16string> userName;
  /** In place of the default environment, all of it. */
  std::optional<std::map<std::u16string, std::u16string>> environment;
  std::optional<std::u16string> hostPath;
  std::optional<std::u16string> currentDirectory;
  std::optional<bool> elevationGranted;
  /** By the drive's letter. */
  std::map<char16_t, DriveSpace> disks;
  std::vector<std::optional<std::u16string>> graphicsAdapters;
  AppsFolder appsFolder;
  ProgramDescriptions programs;
  /** Whether keys are listed as the registration files name them, and not as Windows sorts them. */
  bool listsAsMade = false;
  /** Of a machine that was captured. */
  std::optional<CaptureRecord> capture;
  /** Rights refused, by the whole path of the key. */
  std::map<std::u16string, platform::DWORD> deniedRights;
  /** Where it says so. */
  JsonLines lines;
};

/**
 * Reads the file from memory.
 * @param fileName  stands before what an error says
 * @throws MachineError "file:line: ..." for what is no JSON, "file:line: member: ..." for another shape
 */
MachineDescription ParseMachineJson(std::span<const std::uint8_t> bytes, const std::string& fileName);

/**
 * Makes the machine what the description says, but for programs, and for rights: the user's hive must be
 * known to load it.
 */
void ApplyFacts(const MachineDescription& description, Machine& machine);

/** The same, but adds the variables of the environment to those that the machine has. */
void AddFacts(const MachineDescription& description, Machine& machine);

/** Refuses the rights. @throws MachineError where the registry, loaded by then, has no such key */
void ApplyDeniedRights(const MachineDescription& description, const std::string& fileName, Machine& machine);

}  // namespace simulated
