/** Writes a captured machine as a machine directory. docs/machine-directory.md tells its form. */
#pragma once

#include <string>

#include "CapturedMachine.h"

namespace capture {

/** What is said of the capture itself. */
struct CaptureInfo {
  /** The program and its version. */
  std::string program;
  /** UTC, as ISO 8601 has it. */
  std::string time;
  bool isRedacted = false;
};

/** What was written. */
struct CaptureSummary {
  std::size_t keys = 0;
  std::size_t files = 0;
  std::uint64_t bytes = 0;
  /** All that the capture holds. */
  std::vector<std::u16string> notes;
};

/**
 * Looks whether a capture may be written to that folder, which must be empty or not there yet.
 * @param directory  UTF-8
 * @throws CaptureError
 */
void CheckTarget(const std::string& directory);

/**
 * Writes the machine: `directory` is there whole afterwards, or is as it was before.
 * @throws CaptureError
 */
CaptureSummary WriteCapture(CapturedMachine machine, const CaptureInfo& info, const std::string& directory);

}  // namespace capture
