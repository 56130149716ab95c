/** Messages on standard error. Each function writes one line. Thread-safe. */
#pragma once

#include <cstdint>
#include <string_view>

#include "console/System.h"

namespace cli {

/** Whether the stream is a terminal with colours and NO_COLOR is not set. */
bool UsesColour(Stream stream);

/** Write the line after the name of the program. */
void ReportError(std::string_view line);
void ReportWarning(std::string_view line);

/** A warning that a part of the machine is damaged: from now on answers may be incomplete. */
void ReportDamage(std::string_view line);
bool WasDamageReported();

/** Writes a record of the library's log. A LogCallback. */
void ReportLog(const char* file, std::int32_t level, const char* text);

}  // namespace cli
