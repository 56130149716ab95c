/** The forms, other than its usual text, in which the identity of a machine is stored. */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace capture {

/** A GUID's forms, of which the texts are folded. */
struct GuidForms {
  std::u16string dashed;
  std::u16string plain;
  /** As the installer writes it in names of keys. */
  std::u16string packed;
  /** In the order of its text, and in that of its numbers in memory. */
  std::string bytes;
  std::string bytesInMemory;
};

/** @param text  with or without dashes and braces; @return empty forms where it is no GUID */
GuidForms FormsOfGuid(std::u16string_view text);

/** The numbers of a SID, with dashes between, as its bytes have them. */
std::string BytesOfNumbers(std::u16string_view numbers);

/** The numbers of the machine, the domain or the directory's user, of each SID that stands in the bytes. */
std::vector<std::u16string> NumbersOfRawSids(std::span<const std::uint8_t> bytes);

}  // namespace capture
