#include "views/Messages.h"

#include <atomic>
#include <cstdlib>
#include <string>

#include "console/DisplayText.h"

namespace cli {
namespace {

std::atomic<bool> isDamaged = false;

constexpr std::string_view kRed = "\x1b[31m";
constexpr std::string_view kYellow = "\x1b[33m";
constexpr std::string_view kDim = "\x1b[2m";
constexpr std::string_view kPlain = "\x1b[0m";

std::string Coloured(std::string_view text, std::string_view colour) {
  if (!UsesColour(Stream::Error)) return std::string(text);
  return std::string(colour).append(text).append(kPlain);
}

void WriteLine(std::string line) {
  line += '\n';
  // Ignored: a failure to write standard error cannot be reported anywhere.
  std::string reason;
  Write(Stream::Error, line, reason);
}

std::string_view LevelName(std::int32_t level) {
  switch (level) {
    case 2:
      return "debug";
    case 3:
      return "info";
    case 4:
      return "warning";
    case 5:
      return "error";
    default:
      return "other";
  }
}

}  // namespace

bool UsesColour(Stream stream) {
  const char* refused = std::getenv("NO_COLOR");
  return (refused == nullptr || *refused == '\0') && IsTerminal(stream) && CanColour(stream);
}

void ReportError(std::string_view line) { WriteLine(Coloured("kestrelbay:", kRed) + " " + Printable(line)); }

void ReportWarning(std::string_view line) {
  WriteLine(Coloured("kestrelbay:", kYellow) + " " + Printable(line));
}

void ReportDamage(std::string_view line) {
  isDamaged = true;
  ReportWarning(line);
}

bool WasDamageReported() { return isDamaged; }

void ReportLog(const char* file, std::int32_t level, const char* text) {
  const std::string line = std::string(LevelName(level)) + ' ' + Printable(file) + ' ' + Printable(text);
  WriteLine(Coloured(line, level == 5 ? kRed : kDim));
}

}  // namespace cli
