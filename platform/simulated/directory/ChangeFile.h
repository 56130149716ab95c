/**
 * The text of a kept change: one operation of a program, registry and files.
 *
 * It is a registration file. The files are comments below its heading, ";Adds=PATH" and ";Removes=PATH", so
 * that one file holds the whole operation.
 */
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "simulated/machine/KeptChanges.h"

namespace simulated {

/** @throws std::length_error if a name or path holds a line end, which no registration file can express */
std::vector<std::uint8_t> WriteChangeFile(const ProgramChanges& changes);

/** Reads the files of a change; none from a text that WriteChangeFile did not write. */
FileChanges ReadFileChanges(std::span<const std::uint8_t> changeFile);

}  // namespace simulated
