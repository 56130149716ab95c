/**
 * What a captured machine says of its capture: the member "capture" of machine.json.
 * docs/machine-directory.md has it all.
 *
 * A capture is evidence: it is used as it was written, whole, or not at all. What a machine directory is
 * changed by when it is used (RegistryFolder.h) stands in files of its own and is no part of it.
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
  /** Empty where the size is all that is known. */
  std::string checksum;
};

struct CaptureRecord {
  /** What could not be captured as it is, each a line for a person. */
  std::vector<std::string> notes;
  /** By their path in the machine directory, with slashes. */
  std::map<std::string, CapturedFile> files;
};

/**
 * Reads the record of a machine.json, whose other members may be of a form that is not known.
 * @throws MachineError for a newer format, and where machine.json is not as it was written
 */
CaptureRecord ReadCapture(const JsonShape& shape, const nlohmann::json& root);

/** Whether a registration file was made by a capture, by its name: without machine.json it is but a part. */
bool IsCapturesFile(const std::filesystem::path& file);

/**
 * Looks whether the directory holds what was captured.
 * @throws MachineError where a file is missing, is another, or is none of the capture's
 */
void CheckFiles(const CaptureRecord& record, const std::filesystem::path& directory,
                const RegistryFolder& registry);

}  // namespace simulated
