/**
 * Reads registration files: "Windows Registry Editor Version 5.00" as Windows exports them, and "REGEDIT4".
 *
 * A file is UTF-16LE or UTF-8; a REGEDIT4 file without a byte order mark is Windows-1252. Lines end in CRLF
 * or LF. Bytes are kept as they are written, also where a text has no final NUL or half a character; a
 * registry editor would repair these on import, but a real registry holds them. In a REGEDIT4 file the bytes
 * of hex(1), hex(2) and hex(7) are narrow text and are widened.
 *
 * A key or value that Windows cannot hold, for its name's length or its depth, is left out with a warning.
 *
 * A comment line ";LastWriteTime=<decimal FILETIME>" right under a [key] line is that key's last write time.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "simulated/regfile/RegFileSink.h"

namespace simulated {

/**
 * Reads a whole file from memory.
 * @param fileName  stands before the line number in what an error says
 * @throws MachineError "file:line: what is wrong; what to do"; the sink has then been told what came before
 */
void ParseRegFile(std::span<const std::uint8_t> bytes, const std::string& fileName, RegFileSink& sink);

}  // namespace simulated
