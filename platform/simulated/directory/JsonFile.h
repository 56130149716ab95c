/** A JSON file in memory, with the line of each member for error messages. */
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

namespace simulated {

/** The lines of a JSON file's members, by paths such as "user.sid" or "programs[2].name". */
class JsonLines {
 public:
  /** Of a path. The paths of a deep file can be much longer than the file, so they are not stored. */
  using Hash = std::uint64_t;
  static constexpr Hash kRoot = 0xCBF29CE484222325;
  /** Returns the hash of a path that begins with the path of the first hash. */
  static Hash Extend(Hash path, std::string_view further);

  void Set(Hash member, std::size_t line) { lines_[member] = line; }
  /** "file:line" of a member. For a missing member, that of the member that should have it. */
  std::string Place(const std::string& fileName, std::string_view member) const;

 private:
  std::unordered_map<Hash, std::size_t> lines_;
};

struct JsonFile {
  nlohmann::json root;
  JsonLines lines;
};

/**
 * Reads a JSON text.
 * @param fileName  begins each error
 * @throws MachineError "file:line: ..." for a text that is not JSON or is nested deeper than any member is
 */
JsonFile ParseJsonFile(std::span<const std::uint8_t> bytes, const std::string& fileName);

}  // namespace simulated
