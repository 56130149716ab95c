#include <sodium.h>
#include <unistd.h>

#include <fstream>

#include "ExtractionTest.h"
#include "icons/IconPicture.h"
#include "simulated/pictures/PngFile.h"

namespace kestrelbay {
namespace {

namespace fs = std::filesystem;

fs::path NewFolder() {
  auto name = (fs::temp_directory_path() / "kestrelbay-icons-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
  return name;
}

}  // namespace

const std::u16string Extraction::kPath = u"C:\\app.exe";

Extraction::Extraction() : drive(NewFolder()) { machine.drives.Mount(u'C', drive); }

Extraction::~Extraction() {
  std::error_code ignored;
  fs::remove_all(drive, ignored);
}

void Extraction::MakeFile(const std::string& contents, const std::string& name) {
  std::ofstream file(drive / name, std::ios::binary);
  file << contents;
  ASSERT_TRUE(file.flush());
}

void Extraction::MakeProgram(const std::vector<samples::IconBytes>& images) {
  MakeFile(samples::MakeExecutable({{u"", 1, images}}));
}

simulated::Picture Extraction::Draw() {
  std::string base64;
  if (!IconToPngBase64(kPath, base64)) return {};
  const auto picture = simulated::DecodePng(FromBase64(base64), 256);
  EXPECT_TRUE(picture) << "no PNG file: " << base64;
  return picture.value_or(simulated::Picture());
}

void Extraction::ExpectClosed(std::size_t streams) {
  EXPECT_EQ(machine.pictures.icons.OpenCount(), 0U);
  EXPECT_EQ(machine.pictures.bitmaps.OpenCount(), 0U);
  EXPECT_EQ(machine.pictures.images.OpenCount(), 0U);
  EXPECT_EQ(machine.pictures.allocations, 0);
  EXPECT_EQ(machine.pictures.gdiPlusStarts, 0);
  EXPECT_EQ(machine.pictures.streams.OpenCount(), streams);
  EXPECT_EQ(machine.pictures.memory.OpenCount(), streams);
}

std::vector<std::string> NamesOf(const std::vector<std::string>& calls) {
  std::vector<std::string> names;
  for (const std::string& call : calls) {
    std::string name = call.substr(0, call.find('('));
    if (names.empty() || names.back() != name) names.push_back(std::move(name));
  }
  return names;
}

std::vector<std::string> CallsTo(const std::string& name, const std::vector<std::string>& calls) {
  std::vector<std::string> found;
  for (const std::string& call : calls) {
    if (call.starts_with(name + "(")) found.push_back(call);
  }
  return found;
}

std::vector<std::uint8_t> FromBase64(const std::string& text) {
  std::vector<std::uint8_t> bytes(text.size());
  std::size_t count = 0;
  EXPECT_EQ(sodium_base642bin(bytes.data(), bytes.size(), text.c_str(),
                              std::char_traits<char>::length(text.c_str()), nullptr, &count, nullptr,
                              sodium_base64_VARIANT_ORIGINAL),
            0);
  bytes.resize(count);
  return bytes;
}

}  // namespace kestrelbay
