#include "ZipFile.h"

#include <array>
#include <iterator>
#include <stdexcept>

namespace proof {
namespace {

// This flag says that names are UTF-8.
constexpr std::uint16_t kUtf8Names = 0x800;
constexpr std::uint16_t kVersion = 20;
// 1980-01-01, the earliest date of a zip archive.
constexpr std::uint16_t kDate = 0x21;

std::uint32_t Crc32(const std::string& bytes) {
  constexpr std::uint32_t kPolynomial = 0xEDB88320;
  std::uint32_t checksum = ~0U;
  for (const char byte : bytes) {
    checksum ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) checksum = checksum >> 1 ^ (checksum & 1 ? kPolynomial : 0);
  }
  return ~checksum;
}

/** A record of the archive: numbers in little-endian order. */
class Record {
 public:
  Record& Add16(std::size_t number) {
    bytes_.push_back(static_cast<char>(number & 0xFF));
    bytes_.push_back(static_cast<char>(number >> 8 & 0xFF));
    return *this;
  }
  Record& Add32(std::size_t number) { return Add16(number & 0xFFFF).Add16(number >> 16); }
  Record& Add(const std::string& text) {
    bytes_ += text;
    return *this;
  }
  const std::string& Bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

std::string ReadWhole(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.filename().string());
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

ZipFile::ZipFile(const std::filesystem::path& path) : file_(path, std::ios::binary) {
  if (!file_) throw std::runtime_error("the archive cannot be created");
}

void ZipFile::Add(const std::string& name, const std::string& bytes) {
  const Entry entry{name, Crc32(bytes), static_cast<std::uint32_t>(bytes.size()),
                    static_cast<std::uint32_t>(file_.tellp())};
  Record header;
  header.Add32(0x04034B50).Add16(kVersion).Add16(kUtf8Names).Add16(0).Add16(0).Add16(kDate);
  header.Add32(entry.checksum).Add32(entry.size).Add32(entry.size).Add16(name.size()).Add16(0).Add(name);
  file_ << header.Bytes() << bytes;
  entries_.push_back(entry);
}

void ZipFile::AddFolder(const std::string& name, const std::filesystem::path& folder) {
  for (const auto& item : std::filesystem::recursive_directory_iterator(folder)) {
    if (!item.is_regular_file()) continue;
    const std::u8string below = item.path().lexically_relative(folder).generic_u8string();
    Add(name + "/" + std::string(below.begin(), below.end()), ReadWhole(item.path()));
  }
}

void ZipFile::Close() {
  const auto start = static_cast<std::size_t>(file_.tellp());
  for (const Entry& entry : entries_) {
    Record record;
    record.Add32(0x02014B50).Add16(kVersion).Add16(kVersion).Add16(kUtf8Names).Add16(0).Add16(0).Add16(kDate);
    record.Add32(entry.checksum).Add32(entry.size).Add32(entry.size).Add16(entry.name.size());
    record.Add16(0).Add16(0).Add16(0).Add16(0).Add32(0).Add32(entry.offset).Add(entry.name);
    file_ << record.Bytes();
  }
  const std::size_t size = static_cast<std::size_t>(file_.tellp()) - start;
  Record end;
  end.Add32(0x06054B50).Add16(0).Add16(0).Add16(entries_.size()).Add16(entries_.size());
  end.Add32(size).Add32(start).Add16(0);
  file_ << end.Bytes();
  file_.close();
  if (file_.fail()) throw std::runtime_error("the archive cannot be written");
}

}  // namespace proof
