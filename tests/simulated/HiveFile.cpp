#include "HiveFile.h"

#include <hivex.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace simulated {
namespace {

constexpr std::size_t kPageBytes = 4096;
constexpr std::uint32_t kNone = 0xFFFFFFFF;

/** The bytes of a hive; they are zero until they are written. */
class Image {
 public:
  Image() : bytes_(2 * kPageBytes, '\0') {}
  explicit Image(std::string bytes) : bytes_(std::move(bytes)) {}
  /** Adds a cell of that many bytes at the end. @return the offset of its contents */
  std::size_t AddCell(std::size_t bytes) {
    const std::size_t at = bytes_.size(), size = (bytes + 4 + 7) / 8 * 8;
    bytes_.resize(at + size);
    Put(at, 0U - static_cast<std::uint32_t>(size));
    return at + 4;
  }
  /** Writes the offset of the cell whose contents begin at `cell`. */
  void PutCell(std::size_t at, std::size_t cell) {
    Put(at, static_cast<std::uint32_t>(cell - 4 - kPageBytes));
  }
  void Resize(std::size_t bytes) { bytes_.resize(bytes); }
  void Put(std::size_t at, std::string_view text) { bytes_.replace(at, text.size(), text); }
  void Put(std::size_t at, std::uint32_t word) {
    for (int shift = 0; shift < 32; shift += 8) bytes_[at++] = static_cast<char>(word >> shift);
  }
  std::uint32_t Sum() const {
    std::uint32_t sum = 0;
    for (std::size_t at = 0; at < 508; at += 4) {
      std::uint32_t word = 0;
      std::memcpy(&word, &bytes_[at], sizeof word);
      sum ^= word;
    }
    return sum;
  }
  const std::string& Bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

std::string Numbered(char letter, std::size_t number) {
  std::string name(9, '0');
  name[0] = letter;
  for (std::size_t i = name.size(); --i > 0; number /= 10) name[i] = static_cast<char>('0' + number % 10);
  return name;
}

/** Adds a key without values. @return its contents */
std::size_t AddKey(Image& image, const std::string& name, std::size_t parent) {
  const std::size_t key = image.AddCell(76 + name.size());
  image.Put(key, "nk\x20");
  image.PutCell(key + 16, parent);
  for (const std::size_t none : {28U, 32U, 40U, 44U, 48U}) image.Put(key + none, kNone);
  image.Put(key + 72, static_cast<std::uint32_t>(name.size()));
  image.Put(key + 76, name);
  return key;
}

/** Adds a list that `add` fills with the cells of `count` items. @return its contents */
template <typename Add>
std::size_t AddList(Image& image, std::size_t count, std::size_t headBytes, const Add& add) {
  std::vector<std::size_t> cells;
  for (std::size_t i = 0; i < count; ++i) cells.push_back(add(i));
  const std::size_t list = image.AddCell(headBytes + 4 * count);
  for (std::size_t i = 0; i < count; ++i) image.PutCell(list + headBytes + 4 * i, cells[i]);
  return list;
}

/** Ends the bin that begins at `bin` and goes to the end, and the hive. */
void EndBin(Image& image, std::size_t bin) {
  const std::size_t used = image.Bytes().size(), end = (used + kPageBytes) / kPageBytes * kPageBytes;
  image.Resize(end);
  image.Put(used, static_cast<std::uint32_t>(end - used));
  image.Put(bin, "hbin");
  image.Put(bin + 4, static_cast<std::uint32_t>(bin - kPageBytes));
  image.Put(bin + 8, static_cast<std::uint32_t>(end - bin));
  image.Put(40, static_cast<std::uint32_t>(end - kPageBytes));
  image.Put(508, 0U);
  image.Put(508, image.Sum());
}

/** A hive of one page after the header: an empty root key and its security descriptor. */
std::string EmptyHive() {
  constexpr std::size_t kBin = kPageBytes, kRoot = kBin + 0x20, kSecurity = kRoot + 0x58,
                        kFree = kSecurity + 0x30;
  Image hive;
  hive.Put(0, "regf");
  for (const auto& [at, word] : {std::pair{4U, 1U},
                                 {8U, 1U},
                                 {20U, 1U},
                                 {24U, 3U},
                                 {32U, 1U},
                                 {36U, 0x20U},
                                 {40U, static_cast<unsigned>(kPageBytes)},
                                 {44U, 1U}})
    hive.Put(at, word);
  hive.Put(508, hive.Sum());
  hive.Put(kBin, "hbin");
  hive.Put(kBin + 8, static_cast<std::uint32_t>(kPageBytes));
  hive.Put(kRoot, 0U - 0x58U);
  hive.Put(kRoot + 4, "nk\x2c");
  for (const std::size_t none : {28U, 32U, 40U, 48U}) hive.Put(kRoot + 4 + none, kNone);
  hive.Put(kRoot + 4 + 44, static_cast<std::uint32_t>(kSecurity - kBin));
  hive.Put(kRoot + 4 + 72, 4U);
  hive.Put(kRoot + 4 + 76, "ROOT");
  hive.Put(kSecurity, 0U - 0x30U);
  hive.Put(kSecurity + 4, "sk");
  for (const std::size_t neighbour : {4U, 8U})
    hive.Put(kSecurity + 4 + neighbour, static_cast<std::uint32_t>(kSecurity - kBin));
  hive.Put(kSecurity + 4 + 12, 1U);
  hive.Put(kSecurity + 4 + 16, 20U);
  hive.Put(kSecurity + 4 + 20, 0x80000001U);
  hive.Put(kFree, static_cast<std::uint32_t>(2 * kPageBytes - kFree));
  return hive.Bytes();
}

hive_h* Create(const std::filesystem::path& file) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << EmptyHive();
  hive_h* const handle = hivex_open(file.c_str(), HIVEX_OPEN_WRITE);
  if (!handle) throw std::runtime_error("the empty hive is none");
  return handle;
}

}  // namespace

HiveFile::HiveFile(std::filesystem::path file) : file_(std::move(file)), handle_(Create(file_)) {}

HiveFile::~HiveFile() {
  hivex_commit(handle_, nullptr, 0);
  hivex_close(handle_);
}

std::size_t HiveFile::NodeAt(const std::string& path) {
  hive_node_h node = hivex_root(handle_);
  for (std::size_t at = 0; at < path.size();) {
    const std::string name = path.substr(at, path.find('\\', at) - at);
    const hive_node_h child = hivex_node_get_child(handle_, node, name.c_str());
    node = child != 0 ? child : hivex_node_add_child(handle_, node, name.c_str());
    if (node == 0) throw std::runtime_error("no key can be made");
    at += name.size() + 1;
  }
  return node;
}

void HiveFile::Add(const std::string& path) { NodeAt(path); }

void HiveFile::SetBytes(const std::string& path, const std::string& name, std::string_view bytes, int type) {
  std::string key = name, data(bytes);
  hive_set_value value = {key.data(), static_cast<hive_type>(type), data.size(), data.data()};
  if (hivex_node_set_value(handle_, NodeAt(path), &value, 0) != 0)
    throw std::runtime_error("no value can be set");
}

void SetSegmentedData(const std::filesystem::path& hive, std::string_view name, std::string_view data) {
  constexpr std::size_t kSegmentBytes = 16344;
  std::ifstream in(hive, std::ios::binary);
  Image image({std::istreambuf_iterator<char>(in), {}});
  const std::size_t value = image.Bytes().find(name) - 20, bin = image.Bytes().size();
  const std::size_t segments = (data.size() + kSegmentBytes - 1) / kSegmentBytes;
  image.Resize(bin + 0x20);
  const std::size_t head = image.AddCell(8), list = image.AddCell(4 * segments);
  for (std::size_t i = 0; i < segments; ++i) {
    const std::string_view segment = data.substr(i * kSegmentBytes, kSegmentBytes);
    // Four unused bytes at the end, as Windows writes them.
    const std::size_t cell = image.AddCell(kSegmentBytes + 4);
    image.Put(cell, segment);
    image.PutCell(list + 4 * i, cell);
  }
  image.Put(head, "db");
  image.Put(head + 2, static_cast<std::uint32_t>(segments));
  image.PutCell(head + 4, list);
  image.Put(value + 4, static_cast<std::uint32_t>(data.size()));
  image.PutCell(value + 8, head);
  EndBin(image, bin);
  std::ofstream(hive, std::ios::binary) << image.Bytes();
}

void WriteWideHive(const std::filesystem::path& hive, std::size_t keys, std::size_t values) {
  constexpr std::size_t kMostInAList = 1000, kRoot = kPageBytes + 0x20 + 4;
  Image image(EmptyHive());
  const std::size_t bin = image.Bytes().size();
  image.Resize(bin + 0x20);
  const std::size_t subKeys = AddList(image, keys / kMostInAList, 4, [&](std::size_t part) {
    const std::size_t list = AddList(image, kMostInAList, 4, [&](std::size_t i) {
      return AddKey(image, Numbered('K', part * kMostInAList + i), kRoot);
    });
    image.Put(list, "li");
    image.Put(list + 2, std::string{static_cast<char>(kMostInAList), static_cast<char>(kMostInAList >> 8)});
    return list;
  });
  const std::size_t lists = keys / kMostInAList;
  image.Put(subKeys, "ri" + std::string{static_cast<char>(lists), static_cast<char>(lists >> 8)});
  const std::size_t valueList = AddList(image, values, 0, [&](std::size_t i) {
    const std::string name = Numbered('V', i);
    const std::size_t value = image.AddCell(20 + name.size());
    image.Put(value, "vk");
    image.Put(value + 2, std::string{static_cast<char>(name.size())});
    image.Put(value + 4, 0x80000004U);
    image.Put(value + 12, 4U);
    image.Put(value + 16, "\1");
    image.Put(value + 20, name);
    return value;
  });
  image.Put(kRoot + 20, static_cast<std::uint32_t>(keys));
  image.PutCell(kRoot + 28, subKeys);
  image.Put(kRoot + 36, static_cast<std::uint32_t>(values));
  image.PutCell(kRoot + 40, valueList);
  EndBin(image, bin);
  std::ofstream(hive, std::ios::binary) << image.Bytes();
}

void HiveFile::SetText(const std::string& path, const std::string& name, std::string_view text) {
  std::string bytes;
  for (const char character : text) bytes += {character, '\0'};
  SetBytes(path, name, bytes + std::string(2, '\0'), 1);
}

}  // namespace simulated
