/** The binary and packed forms of GUIDs and SIDs. */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace capture {

/** The forms of a GUID. Texts are Folded(). */
struct GuidForms {
  std::u16string dashed;
  std::u16string plain;
  /** The form in key names of Windows Installer. */
  std::u16string packed;
  /** In the order of the text, and in the order in memory (three numbers, low byte first). */
  std::string bytes;
  std::string bytesInMemory;
};

/** @param text  with or without dashes and braces @return empty forms if it is not a GUID */
GuidForms FormsOfGuid(std::u16string_view text);

/** Returns the bytes of numbers of a SID. @param numbers  decimal, with dashes between them */
std::string BytesOfNumbers(std::u16string_view numbers);

/** Returns the numbers of the machine, domain or directory user from each binary SID in the bytes. */
std::vector<std::u16string> NumbersOfRawSids(std::span<const std::uint8_t> bytes);

}  // namespace capture
