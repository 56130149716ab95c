/** Writes hives' headers and transaction logs for tests, from the public description of their format. */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace simulated {

/** The fields that recovery reads. */
struct HeaderFields {
  std::uint32_t first = 1;
  std::uint32_t second = 1;
  std::uint32_t binsBytes = 0;
  /** 0 for a primary file, 1 for a log of dirty sectors, 6 for a log of entries. */
  std::uint32_t type = 0;
  std::uint64_t time = 7;
  std::string name = "C:\\Users\\anna\\ntuser.dat";
  std::uint8_t identifier = 1;
};

/** Returns the first sector, with its checksum. */
std::string MakeHeader(const HeaderFields& fields);

/** Bytes by their offsets in the bins. */
using Pages = std::map<std::uint32_t, std::string>;

/** Returns a log entry with its two hashes. */
std::string MakeEntry(std::uint32_t sequence, std::uint32_t binsBytes, const Pages& pages);

/** Returns a log of dirty sectors: the sectors of `bins` with these numbers. */
std::string MakeSectorLog(const HeaderFields& fields, std::string_view bins,
                          const std::vector<std::size_t>& sectors);

}  // namespace simulated
