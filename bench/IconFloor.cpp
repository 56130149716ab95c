/**
 * icon-floor [PROGRAM [ROUNDS]]: compares the time of an icon extraction with that of its bare calls.
 *
 * PROGRAM is the path of an executable with an icon of 256 pixels, by default that of notepad.
 */
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "BareIcon.h"
#include "Turns.h"
#include "icons/IconPicture.h"

namespace {

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
  const auto [extractionMs, bareMs] = bench::TakeTurns(
      std::max<std::size_t>(rounds, 1), [&] { Extract(path); }, [&] { bench::BareIcon(path.c_str()); });
  const double extractionMedian = bench::Median(extractionMs);
  const double bareMedian = bench::Median(bareMs);
  std::printf("%zu rounds: extraction %.3f ms, bare calls %.3f ms, ratio of medians %.3f\n", bareMs.size(),
              extractionMedian, bareMedian, extractionMedian / bareMedian);
  return EXIT_SUCCESS;
}
