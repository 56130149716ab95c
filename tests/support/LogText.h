/** A log as text: one line for each record, without the source lines, because every edit moves these. */
#pragma once

#include <string>
#include <vector>

#include "HostCallbacks.h"

namespace kestrelbay {

/** @return each record as "file level function: message" */
inline std::vector<std::string> TextOf(const LogCapture& log) {
  std::vector<std::string> texts;
  for (const LogLine& line : log.Lines()) {
    const std::size_t functionEnd = line.text.find(':');
    const std::size_t numberEnd = line.text.find(' ', functionEnd);
    texts.push_back(line.file + " " + std::to_string(line.level) + " " + line.text.substr(0, functionEnd) +
                    ":" + line.text.substr(numberEnd));
  }
  return texts;
}

}  // namespace kestrelbay
