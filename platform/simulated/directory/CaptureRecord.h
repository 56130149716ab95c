/**
 * The record of a captured machine: the member "capture" of machine.json, see docs/machine-directory.md.
 *
 * A capture is evidence: it is used whole, as it was written, or not at all. Changes that programs make to it
 * later (RegistryFolder.h) are in files of their own and are no part of it.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "simulated/directory/JsonShape.h"
#include "simulated/directory/RegistryFolder.h"

namespace simulated {

struct CapturedFile {
  std::uint64_t bytes = 0;
  /** Empty if only the size is known. */
  std::string checksum;
};

struct CaptureRecord {
  /** What could not be captured as it was, each in one line for a person. */
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

/** Whether a capture wrote a registration file, by its name. Such a file needs the machine.json beside it. */
bool IsCapturesFile(const std::filesystem::path& file);

/**
 * Checks that the directory holds what was captured.
 * @throws MachineError for a file that is missing, that was changed, or that the capture does not have
 */
void CheckFiles(const CaptureRecord& record, const Folder& directory, const RegistryFolder& registry);

}  // namespace simulated
