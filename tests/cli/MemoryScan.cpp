// Preloaded into the command line: reports how much of a text its memory still has when the process ends.
//
// SCAN_FOR is the text with each byte XOR 0x55, so that this program and its environment do not contain the
// text itself. For each run of at least 8 of its bytes, the address and length go to standard error.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char kMask = 0x55;
constexpr std::size_t kLeastBytes = 8;
/** Sanitizers reserve larger blocks, which are not memory of the program. */
constexpr std::size_t kMostBlockBytes = std::size_t{256} << 20;

const char* sought = nullptr;
std::size_t soughtBytes = 0;
/** Whether the text has these two bytes next to each other. */
bool isPair[1 << 16];

std::size_t PairAt(const char* bytes) {
  return static_cast<std::size_t>(static_cast<unsigned char>(bytes[0]) << 8 |
                                  static_cast<unsigned char>(bytes[1]));
}

std::size_t Match(const char* memory, std::size_t room, std::size_t at) {
  std::size_t length = 0;
  while (length < room && at + length < soughtBytes && memory[length] == (sought[at + length] ^ kMask))
    ++length;
  return length;
}

void ScanBlock(const char* begin, const char* end, const char* name) {
  for (const char* memory = begin; memory + kLeastBytes <= end; ++memory) {
    if (!isPair[PairAt(memory)]) continue;
    for (std::size_t at = 0; at + kLeastBytes <= soughtBytes; ++at) {
      const std::size_t length = Match(memory, static_cast<std::size_t>(end - memory), at);
      if (length < kLeastBytes) continue;
      std::fprintf(stderr, "found %zu bytes at %p in %s\n", length, static_cast<const void*>(memory), name);
      memory += length - 1;
      break;
    }
  }
}

}  // namespace

// The command line ends by _Exit, after all its objects that hold a secret are gone.
extern "C" [[gnu::noreturn]] void _Exit(int status) {
  sought = std::getenv("SCAN_FOR");
  soughtBytes = sought ? std::strlen(sought) : 0;
  for (std::size_t at = 0; at + 1 < soughtBytes; ++at) {
    const char pair[2] = {static_cast<char>(sought[at] ^ kMask), static_cast<char>(sought[at + 1] ^ kMask)};
    isPair[PairAt(pair)] = true;
  }
  static char maps[1 << 18];
  std::FILE* const file = std::fopen("/proc/self/maps", "r");
  const std::size_t bytes = file ? std::fread(maps, 1, sizeof maps - 1, file) : 0;
  std::size_t blocks = 0;
  for (char* line = maps; line < maps + bytes;) {
    char* const next = std::strchr(line, '\n');
    if (!next) break;
    *next = '\0';
    std::uintptr_t begin = 0, end = 0;
    char mode[5] = "";
    int nameAt = 0;
    const int read = std::sscanf(line, "%lx-%lx %4s %*s %*s %*s %n", &begin, &end, mode, &nameAt);
    const bool isScanned = read == 3 && mode[0] == 'r' && mode[1] == 'w' && end - begin <= kMostBlockBytes;
    if (isScanned) ScanBlock(reinterpret_cast<char*>(begin), reinterpret_cast<char*>(end), line + nameAt);
    blocks += isScanned;
    line = next + 1;
  }
  std::fprintf(stderr, "scanned %zu blocks for %zu bytes\n", blocks, soughtBytes);
  _exit(status);
}
