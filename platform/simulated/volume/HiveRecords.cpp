#include "simulated/volume/HiveRecords.h"

#include "simulated/base/LittleEndian.h"

namespace simulated {

template <typename Record>
std::optional<std::u16string> NameIn(std::span<const std::uint8_t> file, std::size_t cell) {
  constexpr std::size_t kHeaderBytes = kCellHeaderBytes + Record::kName;
  if (file.size() < kHeaderBytes || cell > file.size() - kHeaderBytes) return std::nullopt;
  const auto record = file.subspan(cell + kCellHeaderBytes);
  const std::size_t bytes = Read16(record, Record::kNameBytes);
  if (bytes > record.size() - Record::kName) return std::nullopt;
  const auto stored = record.subspan(Record::kName, bytes);
  if (Read16(record, Record::kFlags) & Record::kHasLatin1Name)
    return std::u16string(stored.begin(), stored.end());
  std::u16string name(bytes / 2, u'\0');
  for (std::size_t i = 0; i < name.size(); ++i) name[i] = static_cast<char16_t>(Read16(stored, i * 2));
  return name;
}

template std::optional<std::u16string> NameIn<KeyRecord>(std::span<const std::uint8_t>, std::size_t);
template std::optional<std::u16string> NameIn<ValueRecord>(std::span<const std::uint8_t>, std::size_t);

}  // namespace simulated
