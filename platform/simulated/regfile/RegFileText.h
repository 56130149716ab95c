/** Decodes registration files of any supported encoding. */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace simulated {

/** The text of a file without its byte order mark. `view` points into `decoded` or into the file's bytes. */
struct RegFileText {
  RegFileText() = default;
  RegFileText(const RegFileText&) = delete;
  RegFileText& operator=(const RegFileText&) = delete;

  std::u16string decoded;
  std::u16string_view view;
  /** Bytes of the file per character of the view, to report progress. */
  double bytesPerChar = 1;
};

/** @throws MachineError "file:line: ..." if the bytes are not valid in their encoding */
void DecodeRegFile(std::span<const std::uint8_t> bytes, const std::string& fileName, RegFileText& text);

}  // namespace simulated
