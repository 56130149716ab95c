/**
 * Reads registration files: "Windows Registry Editor Version 5.00" as Windows exports them, and "REGEDIT4".
 *
 * A file is UTF-16LE or UTF-8. A REGEDIT4 file without a byte order mark is Windows-1252. Lines end in CRLF
 * or LF. The bytes of a value are kept as written, also a text without its null terminator or with half a
 * character: a registry editor would repair these, but real registries have them. In a REGEDIT4 file the
 * bytes of hex(1), hex(2) and hex(7) are narrow text and are widened.
 *
 * A key or value that Windows cannot store, because of its depth or the length of its name, is left out with
 * a warning.
 *
 * A comment ";LastWriteTime=<decimal FILETIME>" in the line below a [key] is the last write time of that key.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "simulated/regfile/RegFileSink.h"

namespace simulated {

/**
 * Reads a whole file from memory.
 * @param fileName  for error messages
 * @throws MachineError "file:line: what is wrong; what to do". The sink has then received all statements
 * before
 */
void ParseRegFile(std::span<const std::uint8_t> bytes, const std::string& fileName, RegFileSink& sink);

}  // namespace simulated
