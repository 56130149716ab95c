/**
 * Programs that machine.json describes: installers, uninstallers and whatever else a machine can start.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "simulated/base/MachineError.h"

namespace simulated {

class JsonShape;
class Machine;

/** What a program does after a while: it waits, then merges a file, then adds and removes files. */
struct ProgramStep {
  std::uint32_t waitMs = 0;
  /** A key's path: goes on when somebody watches the key. Empty for none. */
  std::u16string waitsForWatch;
  /** Goes on when this file is there, whoever makes it. Empty for none. */
  std::u16string waitsForFile;
  /** A registration file below the machine's directory; empty for none. */
  std::string merges;
  std::vector<std::u16string> adds;
  std::vector<std::u16string> removes;
};

struct ProgramDescription {
  std::vector<ProgramStep> steps;
  std::uint32_t exitCode = 0;
  bool refusesElevation = false;
  bool givesHandle = true;
};

/** By the whole path of an executable, or a bare name. */
using ProgramDescriptions = std::map<std::u16string, ProgramDescription>;

/** Reads the member "programs" of machine.json. @throws MachineError */
ProgramDescriptions ReadPrograms(const JsonShape& shape, const nlohmann::json& value);

/**
 * Puts the programs on the machine. A program at a whole path is there while a file of that path is.
 * @param directory  the machine's, where registration files are found; they are read at once
 * @param shape      of the file that describes them
 * @param warning    told what of those files is left out; may be empty
 * @throws MachineError where a registration file is missing or malformed
 */
void SetPrograms(const ProgramDescriptions& programs, const std::filesystem::path& directory,
                 const JsonShape& shape, Machine& machine, const Warning& warning);

}  // namespace simulated
