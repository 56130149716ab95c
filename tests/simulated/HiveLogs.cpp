#include "HiveLogs.h"

#include <array>

namespace simulated {
namespace {

constexpr std::size_t kSector = 512;

void Put(std::string& bytes, std::size_t at, std::uint64_t number, int count) {
  for (int i = 0; i < count; ++i)
    bytes[at + static_cast<std::size_t>(i)] = static_cast<char>(number >> 8 * i);
}

std::uint32_t Word(std::string_view bytes, std::size_t at) {
  std::uint32_t word = 0;
  for (std::size_t i = 4; i > 0; --i) word = word << 8 | static_cast<unsigned char>(bytes[at + i - 1]);
  return word;
}

std::uint32_t Turned(std::uint32_t word, int bits) { return word << bits | word >> (32 - bits); }

/** Marvin32 by its description: the message is padded to whole words with byte 0x80 and zeros. */
std::uint64_t Marvin(std::string text) {
  // The two halves of the seed.
  std::array<std::uint32_t, 2> state = {0x7A4E55C5, 0x82EF4D88};
  text += '\x80';
  text.resize((text.size() + 3) / 4 * 4 + 4);
  for (std::size_t at = 0; at < text.size(); at += 4) {
    state[0] += Word(text, at);
    state[1] ^= state[0];
    for (const auto& [turnedLow, turnedHigh] : {std::pair{20, 9}, {27, 19}}) {
      state[0] = Turned(state[0], turnedLow) + state[1];
      state[1] = Turned(state[1], turnedHigh);
      if (turnedHigh == 9) state[1] ^= state[0];
    }
  }
  return std::uint64_t{state[1]} << 32 | state[0];
}

}  // namespace

std::string MakeHeader(const HeaderFields& fields) {
  std::string header(kSector, '\0');
  header.replace(0, 4, "regf");
  Put(header, 4, fields.first, 4);
  Put(header, 8, fields.second, 4);
  Put(header, 12, fields.time, 8);
  Put(header, 20, 1, 4);
  Put(header, 24, 5, 4);
  Put(header, 28, fields.type, 4);
  Put(header, 32, 1, 4);
  Put(header, 36, 0x20, 4);
  Put(header, 40, fields.binsBytes, 4);
  Put(header, 44, 1, 4);
  for (std::size_t i = 0; i < fields.name.size(); ++i) header[48 + 2 * i] = fields.name[i];
  for (std::size_t i = 112; i < 144; ++i) header[i] = static_cast<char>(fields.identifier);
  std::uint32_t sum = 0;
  for (std::size_t at = 0; at < 508; at += 4) sum ^= Word(header, at);
  Put(header, 508, sum, 4);
  return header;
}

std::string MakeEntry(std::uint32_t sequence, std::uint32_t binsBytes, const Pages& pages) {
  std::string entry(40, '\0');
  std::string data;
  for (const auto& [offset, bytes] : pages) {
    std::string reference(8, '\0');
    Put(reference, 0, offset, 4);
    Put(reference, 4, bytes.size(), 4);
    entry += reference;
    data += bytes;
  }
  entry += data;
  entry.resize((entry.size() + kSector - 1) / kSector * kSector);
  entry.replace(0, 4, "HvLE");
  Put(entry, 4, entry.size(), 4);
  Put(entry, 12, sequence, 4);
  Put(entry, 16, binsBytes, 4);
  Put(entry, 20, pages.size(), 4);
  Put(entry, 24, Marvin(entry.substr(40)), 8);
  Put(entry, 32, Marvin(entry.substr(0, 32)), 8);
  return entry;
}

std::string MakeSectorLog(const HeaderFields& fields, std::string_view bins,
                          const std::vector<std::size_t>& sectors) {
  std::string log = MakeHeader(fields) + "DIRT", data;
  std::string bitmap((bins.size() / kSector + 7) / 8, '\0');
  for (const std::size_t sector : sectors) {
    bitmap[sector / 8] = static_cast<char>(bitmap[sector / 8] | 1 << sector % 8);
    data += bins.substr(sector * kSector, kSector);
  }
  log += bitmap;
  log.resize((log.size() + kSector - 1) / kSector * kSector);
  return log + data;
}

}  // namespace simulated
