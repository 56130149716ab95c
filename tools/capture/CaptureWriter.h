/** Writes a captured machine as a machine directory, in the form of docs/machine-directory.md. */
#pragma once

#include <string>

#include "CapturedMachine.h"

namespace capture {

/** Facts about the capture itself. */
struct CaptureInfo {
  /** The program and its version. */
  std::string program;
  /** UTC, in the form of ISO 8601. */
  std::string time;
  bool isRedacted = false;
};

/** What was written. */
struct CaptureSummary {
  std::size_t keys = 0;
  std::size_t files = 0;
  std::uint64_t bytes = 0;
  /** All notes of the capture. */
  std::vector<std::u16string> notes;
};

/**
 * Checks that a capture may be written to a folder: it is empty or does not exist.
 * @param directory  UTF-8
 * @throws CaptureError
 */
void CheckTarget(const std::string& directory);

/**
 * Writes the machine. On failure `directory` is as it was before. A directory that exists keeps its mode.
 * @throws CaptureError
 */
CaptureSummary WriteCapture(CapturedMachine machine, const CaptureInfo& info, const std::string& directory);

}  // namespace capture
