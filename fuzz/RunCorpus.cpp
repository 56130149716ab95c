/**
 * OUTCOMES FOLDER...: runs the harness once with each file of the folders, for builds without a fuzzer.
 *
 * The file OUTCOMES is optional. It has lines "FILE: outcome" of files that must be in one of the folders.
 */
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "Expect.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Outcomes = std::map<std::string, std::string>;

Outcomes ReadOutcomes(const std::filesystem::path& path) {
  Outcomes outcomes;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    const std::size_t colon = line.find(": ");
    outcomes[line.substr(0, colon)] = line.substr(colon + 2);
  }
  return outcomes;
}

/** @param expected  the outcome of the file is removed from it @return whether the outcome is as expected */
bool RunFile(const std::filesystem::path& path, Outcomes& expected) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  // A block of exactly the file's size, so that a sanitizer detects a read behind its end.
  const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
  fuzz::Outcome().clear();
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
  std::fprintf(stderr, "%s: %s\n", path.filename().c_str(), fuzz::Outcome().c_str());
  const auto outcome = expected.extract(path.filename().string());
  if (outcome.empty() || outcome.mapped() == fuzz::Outcome()) return true;
  std::fprintf(stderr, "  should be: %s\n", outcome.mapped().c_str());
  return false;
}

}  // namespace

int main(int count, char** values) {
  const std::span arguments(values, static_cast<std::size_t>(count));
  if (arguments.size() < 3) return 2;
  Outcomes expected = ReadOutcomes(arguments[1]);
  std::size_t files = 0, wrong = 0;
  for (const char* folder : arguments.subspan(2)) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (!RunFile(entry.path(), expected)) ++wrong;
      ++files;
    }
  }
  for (const auto& [name, outcome] : expected) std::fprintf(stderr, "%s is not there\n", name.c_str());
  std::fprintf(stderr, "%zu inputs, %zu wrong\n", files, wrong);
  return files > 0 && wrong == 0 && expected.empty() ? 0 : 1;
}
