/**
 * icon-floor [PROGRAM [ROUNDS]]: times the extraction of an icon beside the bare calls in it.
 *
 * Both run once a round, in turns, so that what slows the machine down slows both. PROGRAM is the path of an
 * executable with an icon of 256 pixels, by default the system's notepad.
 */
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "BareIcon.h"
#include "inventory/IconPicture.h"

namespace {

double Median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

template <class Work>
double TimeMs(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

std::size_t Extract(const std::u16string& path) {
  std::string base64;
  return kestrelbay::IconToPngBase64(path, base64) ? base64.size() : 0;
}

}  // namespace

int main(int count, char** values) {
  const std::span arguments(values, static_cast<std::size_t>(count));
  std::string program = "C:\\windows\\notepad.exe";
  if (arguments.size() > 1) program = arguments[1];
  const std::u16string path(program.begin(), program.end());
  const std::size_t rounds = arguments.size() > 2 ? std::strtoul(arguments[2], nullptr, 10) : 200;
  const std::size_t extracted = Extract(path);
  const std::size_t bare = bench::BareIcon(path.c_str());
  if (extracted == 0 || extracted < bare || extracted > bare + 1) {
    std::fprintf(stderr, "icon-floor: the extraction gives %zu characters, the bare calls %zu\n", extracted,
                 bare);
    return EXIT_FAILURE;
  }
  std::vector<double> extractionMs;
  std::vector<double> bareMs;
  for (std::size_t round = 0; round < std::max<std::size_t>(rounds, 1); ++round) {
    if (round % 2 == 1) bareMs.push_back(TimeMs([&] { bench::BareIcon(path.c_str()); }));
    extractionMs.push_back(TimeMs([&] { Extract(path); }));
    if (round % 2 == 0) bareMs.push_back(TimeMs([&] { bench::BareIcon(path.c_str()); }));
  }
  std::printf("%zu rounds: extraction %.3f ms, bare calls %.3f ms, ratio of medians %.3f\n", rounds,
              Median(extractionMs), Median(bareMs), Median(extractionMs) / Median(bareMs));
  return EXIT_SUCCESS;
}
