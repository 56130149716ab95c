/** A JSON file in memory, and where in it its members stand. */
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

namespace simulated {

/** The lines in which members of a JSON file stand, by paths like "user.sid" or "programs[2].name". */
class JsonLines {
 public:
  void Set(std::string member, std::size_t line) { lines_[std::move(member)] = line; }
  /** "file:line" of a member, or, of one that is not there, of what it should stand in. */
  std::string Place(const std::string& fileName, std::string_view member) const;

 private:
  std::map<std::string, std::size_t, std::less<>> lines_;
};

struct JsonFile {
  nlohmann::json root;
  JsonLines lines;
};

/**
 * @param fileName  stands before what an error says
 * @throws MachineError "file:line: ..." for what is no JSON, and for what is nested deeper than any member
 */
JsonFile ParseJsonFile(std::span<const std::uint8_t> bytes, const std::string& fileName);

}  // namespace simulated
