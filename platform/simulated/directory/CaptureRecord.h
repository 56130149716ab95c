/**
 * The record of a captured machine: the member "capture" of machine.json, see docs/machine-directory.md.
 *
 * A capture is evidence: it is used complete and as it was written, or not at all. Changes that programs make
 * to it later (ChangeFolder.h) are in other files and are not part of it.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simulated/directory/ChangeFolder.h"
#include "simulated/directory/JsonShape.h"

namespace simulated {

struct CapturedFile {
  std::uint64_t bytes = 0;
  /** Empty if only the size is known. */
  std::string checksum;
};

struct CaptureRecord {
  /** Everything that could not be captured as it was: one line for each, for the user. */
  std::vector<std::string> notes;
  /** By their path in the machine directory, with slashes. */
  std::map<std::string, CapturedFile> files;
};

/**
 * Reads the record of a machine.json. The other members may be of an unknown form.
 * @throws MachineError for a newer format, for a machine.json that was changed, and for a path of a file that
 *                      leaves the machine directory
 */
CaptureRecord ReadCapture(const JsonShape& shape, const nlohmann::json& root);

/** Whether the file has the name of a capture's registration file. Such a file needs a machine.json. */
bool IsCapturesFile(const std::filesystem::path& file);

/**
 * Checks that the directory holds what was captured.
 * @throws MachineError for a file that is missing, that was changed, or that the capture does not have
 */
void CheckFiles(const CaptureRecord& record, const Folder& directory, const ChangeFolder& registry);

}  // namespace simulated
