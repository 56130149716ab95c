/** FOLDER...: gives a harness each file of the folders once; for builds without a fuzzer. */
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::size_t RunFolder(const std::filesystem::path& folder) {
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::fprintf(stderr, "%s\n", entry.path().c_str());
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    // A block of exactly the file's size, so that a sanitizer sees a byte too many.
    const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
    ++files;
  }
  return files;
}

}  // namespace

int main(int count, char** values) {
  const std::span folders(values, static_cast<std::size_t>(count));
  std::size_t files = 0;
  for (const char* folder : folders.subspan(1)) files += RunFolder(folder);
  std::fprintf(stderr, "%zu inputs\n", files);
  return files > 0 ? 0 : 1;
}
