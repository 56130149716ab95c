#include "RawIdentity.h"

#include <algorithm>
#include <array>

#include "Text.h"
#include "inventory/UninstallKeyScanner.h"

namespace capture {
namespace {

constexpr std::size_t kGuidFigures = 32;
constexpr std::size_t kNumberBytes = 4;
/** The bytes of a SID before its first number: version, count of numbers, and six of the authority. */
constexpr std::size_t kSidHeadBytes = 8;
constexpr std::uint8_t kMostNumbers = 15;

/** The digits of the groups of a GUID that are numbers, whose bytes are reversed in memory. */
constexpr std::array<std::pair<std::size_t, std::size_t>, 3> kNumberGroups{{{0, 8}, {8, 12}, {12, 16}}};

unsigned FigureOf(char16_t unit) { return unit <= u'9' ? unit - u'0' : unit - u'A' + 10; }

std::string BytesOfFigures(std::u16string_view figures) {
  std::string bytes;
  for (std::size_t i = 0; i < figures.size(); i += 2)
    bytes += static_cast<char>(FigureOf(figures[i]) << 4 | FigureOf(figures[i + 1]));
  return bytes;
}

std::uint64_t NumberAt(std::span<const std::uint8_t> bytes, std::size_t at) {
  std::uint64_t number = 0;
  for (std::size_t i = kNumberBytes; i-- > 0;) number = number << 8 | bytes[at + i];
  return number;
}

/** Returns how many numbers of the SID that begins there identify the machine or user; 0 if none begins
 * there. */
std::size_t PersonalNumbersAt(std::span<const std::uint8_t> bytes, std::size_t at) {
  constexpr std::uint64_t kMachines = 21;
  constexpr std::uint64_t kDirectory = 1;
  constexpr std::uint8_t kNtAuthority = 5;
  constexpr std::uint8_t kDirectoryAuthority = 12;
  const std::span<const std::uint8_t> head = bytes.subspan(at, kSidHeadBytes);
  const bool isSid =
      head[0] == 1 && head[1] >= 4 && head[1] <= kMostNumbers &&
      std::all_of(head.begin() + 2, head.begin() + 7, [](std::uint8_t byte) { return byte == 0; });
  if (!isSid) return 0;
  const std::uint64_t first = NumberAt(bytes, at + kSidHeadBytes);
  if (head[7] == kNtAuthority && first == kMachines) return 3;
  return head[7] == kDirectoryAuthority && first == kDirectory ? 4 : 0;
}

}  // namespace

GuidForms FormsOfGuid(std::u16string_view text) {
  std::u16string figures = Folded(text);
  std::erase_if(figures, [](char16_t unit) { return unit == u'-' || unit == u'{' || unit == u'}'; });
  const auto isFigure = [](char16_t unit) {
    return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'F');
  };
  // A GUID of one repeated digit is in many files and belongs to no machine.
  const bool isGuid = figures.size() == kGuidFigures && std::ranges::all_of(figures, isFigure) &&
                      figures.find_first_not_of(figures[0]) != figures.npos;
  if (!isGuid) return {};
  GuidForms forms{figures, figures, {}, BytesOfFigures(figures), {}};
  for (const std::size_t at : {20U, 16U, 12U, 8U}) forms.dashed.insert(at, u"-");
  forms.packed = kestrelbay::PackProductCode(u'{' + forms.dashed + u'}');
  forms.bytesInMemory = forms.bytes;
  for (const auto& [begin, end] : kNumberGroups)
    std::reverse(forms.bytesInMemory.begin() + static_cast<std::ptrdiff_t>(begin / 2),
                 forms.bytesInMemory.begin() + static_cast<std::ptrdiff_t>(end / 2));
  return forms;
}

std::string BytesOfNumbers(std::u16string_view numbers) {
  std::string bytes;
  for (std::size_t at = 0; at < numbers.size(); ++at) {
    std::uint64_t number = 0;
    for (; at < numbers.size() && numbers[at] != u'-'; ++at) number = number * 10 + (numbers[at] - u'0');
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift);
  }
  return bytes;
}

std::vector<std::u16string> NumbersOfRawSids(std::span<const std::uint8_t> bytes) {
  std::vector<std::u16string> found;
  for (std::size_t at = 0; at + kSidHeadBytes + kNumberBytes <= bytes.size(); ++at) {
    const std::size_t count = PersonalNumbersAt(bytes, at);
    const std::size_t begin = at + kSidHeadBytes + kNumberBytes;
    if (count == 0 || begin + count * kNumberBytes > bytes.size()) continue;
    std::u16string numbers;
    for (std::size_t i = 0; i < count; ++i)
      numbers += (i == 0 ? u"" : u"-") +
                 ToWide(static_cast<unsigned long long>(NumberAt(bytes, begin + i * kNumberBytes)));
    found.push_back(std::move(numbers));
  }
  return found;
}

}  // namespace capture
