/** Standard error: what a person is told beside the result. Each function writes one line; any thread. */
#pragma once

#include <cstdint>
#include <string_view>

#include "console/System.h"

namespace cli {

/** Whether colour may be used there: a terminal, and no wish against it in NO_COLOR. */
bool UsesColour(Stream stream);

/** Something went wrong, or is left out: the line with the program's name before it. */
void ReportError(std::string_view line);
void ReportWarning(std::string_view line);

/** A part of the machine is damaged: a warning after which no answer is certain to be whole. */
void ReportDamage(std::string_view line);
bool WasDamageReported();

/** A record of the library's log, as its LogCallback receives it. */
void ReportLog(const char* file, std::int32_t level, const char* text);

}  // namespace cli
