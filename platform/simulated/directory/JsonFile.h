/** A JSON file in memory, with the line of each member for error messages. */
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

namespace simulated {

/** The lines of a JSON file's members, by paths such as "user.sid" or "programs[2].name". */
class JsonLines {
 public:
  void Set(std::string member, std::size_t line) { lines_[std::move(member)] = line; }
  /** "file:line" of a member. For a missing member, that of the member that should have it. */
  std::string Place(const std::string& fileName, std::string_view member) const;

 private:
  std::map<std::string, std::size_t, std::less<>> lines_;
};

struct JsonFile {
  nlohmann::json root;
  JsonLines lines;
};

/**
 * Reads a JSON text.
 * @param fileName  begins each error
 * @throws MachineError "file:line: ..." for a text that is no JSON or is nested deeper than any member is
 */
JsonFile ParseJsonFile(std::span<const std::uint8_t> bytes, const std::string& fileName);

}  // namespace simulated
