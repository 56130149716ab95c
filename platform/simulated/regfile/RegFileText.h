/** The characters of a registration file, whatever its encoding. */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace simulated {

/** A file's text, its byte order mark left out. `view` points into `decoded` or into the file's bytes. */
struct RegFileText {
  RegFileText() = default;
  RegFileText(const RegFileText&) = delete;
  RegFileText& operator=(const RegFileText&) = delete;

  std::u16string decoded;
  std::u16string_view view;
  /** Bytes of the file for each character of the view, for telling progress. */
  double bytesPerChar = 1;
};

/** @throws MachineError "file:line: ..." where the bytes are no text */
void DecodeRegFile(std::span<const std::uint8_t> bytes, const std::string& fileName, RegFileText& text);

}  // namespace simulated
