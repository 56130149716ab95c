// Icons of real executables, compared with the pictures on which two other decoders agree.
#include <gtest/gtest.h>
#include <sodium.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "simulated/pictures/IconFiles.h"
#include "simulated/pictures/IconImage.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

std::string Hexadecimal(const unsigned char (&hash)[crypto_hash_sha256_BYTES]) {
  char text[2 * sizeof hash + 1];
  return sodium_bin2hex(text, sizeof text, hash, sizeof hash);
}

/** Hash of the red, green, blue and alpha of each pixel. */
std::string HashOf(const Picture& picture) {
  std::vector<unsigned char> rgba;
  for (const std::uint32_t argb : picture.argb) {
    for (const int shift : {16, 8, 0, 24}) rgba.push_back(static_cast<unsigned char>(argb >> shift & 0xFF));
  }
  unsigned char hash[crypto_hash_sha256_BYTES];
  crypto_hash_sha256(hash, rgba.data(), rgba.size());
  return Hexadecimal(hash);
}

void ExpectImage(const FileSource& file, const IconEntry& entry, const nlohmann::json& image) {
  EXPECT_EQ(entry.width, image.at("width"));
  EXPECT_EQ(entry.height, image.at("height"));
  EXPECT_EQ(entry.bits, image.at("bits"));
  EXPECT_EQ(entry.bytes, image.at("real_bytes"));
  const auto decoded = DecodeIconImage(ReadIconImage(file, entry));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->isMasked, image.at("bits") < 32);
  EXPECT_EQ(HashOf(decoded->picture), image.at("icotool_rgba_sha256"));
}

int ExpectIcons(const fs::path& path, const nlohmann::json& groups) {
  const FileSource file(path);
  int images = 0;
  for (std::size_t group = 0; group < groups.size(); ++group) {
    SCOPED_TRACE("group " + std::to_string(group));
    const IconEntries entries = FindExecutableIcon(file, group);
    EXPECT_EQ(entries.size(), groups[group].at("images").size());
    for (std::size_t at = 0; at < entries.size(); ++at, ++images) {
      SCOPED_TRACE("image " + std::to_string(at));
      ExpectImage(file, entries[at], groups[group].at("images").at(at));
    }
  }
  EXPECT_TRUE(FindExecutableIcon(file, groups.size()).empty());
  return images;
}

TEST(RealExecutables, EachImageEqualsThatOfTwoOtherDecoders) {
  std::ifstream stream(KESTRELBAY_DATA "/truth/pe_icons.json");
  int images = 0;
  for (const auto& told : nlohmann::json::parse(stream)) {
    SCOPED_TRACE(told.at("file"));
    const fs::path file = fs::path(REAL_EXECUTABLES) / std::string(told.at("file"));
    ASSERT_TRUE(fs::exists(file));
    images += ExpectIcons(file, told.at("groups"));
  }
  EXPECT_GT(images, 60);
}

}  // namespace
}  // namespace simulated
