/**
 * The answers of the library about this machine, which a capture may keep: `list --json` and `explain
 * --json`. On another computer they are compared with the answers about the capture.
 */
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "capture/CapturedMachine.h"

namespace cli {

class Answers {
 public:
  /** Scans the machine twice. */
  Answers();

  /** Adds all texts of the answers to the capture, so that they are redacted together with it. */
  void AddTo(capture::CapturedMachine& machine) const;
  /** Takes the texts from the capture again. REQUIRES: AddTo(machine) */
  void TakeFrom(const capture::CapturedMachine& machine);
  /** Writes list.json and explain.json into the folder `answers` of the capture. @throws Failure */
  void Write(const std::string& directory) const;

 private:
  nlohmann::ordered_json list_;
  nlohmann::ordered_json explanation_;
};

}  // namespace cli
