/**
 * Programs that machine.json describes: installers, uninstallers and others that a machine can start.
 */
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "simulated/base/Folder.h"
#include "simulated/base/MachineError.h"
#include "simulated/machine/Drives.h"

namespace simulated {

class JsonShape;
class Machine;

/**
 * One operation of a program: it waits, and then it merges a file and adds and removes files. The changes of
 * a step are made all at once or not at all.
 */
struct ProgramStep {
  std::uint32_t waitMs = 0;
  /** Path of a key: the step waits until the key is watched. Empty for none. */
  std::u16string waitsForWatch;
  /** The step waits until this file exists. Empty for none. */
  std::u16string waitsForFile;
  /** A registration file below the machine's directory; empty for none. */
  std::string merges;
  FileChanges files;
};

struct ProgramDescription {
  std::vector<ProgramStep> steps;
  std::uint32_t exitCode = 0;
  bool refusesElevation = false;
  bool givesHandle = true;
};

/** By the absolute path of an executable, or by a bare name. */
using ProgramDescriptions = std::map<std::u16string, ProgramDescription>;

/** Reads the member "programs" of machine.json. @throws MachineError */
ProgramDescriptions ReadPrograms(const JsonShape& shape, const nlohmann::json& value);

/**
 * Sets the programs of the machine. A program at an absolute path exists while a file of that path exists.
 * @param directory  the machine directory; registration files below it are read at once
 * @param shape      of the file that describes the programs
 * @param warning    reports what of those files is left out; may be empty
 * @throws MachineError for a registration file that is missing or malformed
 */
void SetPrograms(const ProgramDescriptions& programs, const Folder& directory, const JsonShape& shape,
                 Machine& machine, const Warning& warning);

}  // namespace simulated
