/** Reads the members of a JSON file. An error names the line of the member and says what to do. */
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "simulated/base/MachineError.h"
#include "simulated/directory/JsonFile.h"

namespace simulated {

/** Every operation throws a MachineError "file:line: member: what is wrong; what to do". */
class JsonShape {
 public:
  /** Both must live as long as this. */
  JsonShape(const std::string& fileName, const JsonLines& lines) : fileName_(fileName), lines_(lines) {}

  [[noreturn]] void Fail(const std::string& member, const std::string& what) const;
  /** A text that is not empty. */
  std::u16string Text(const nlohmann::json& value, const std::string& member) const;
  const nlohmann::json& Object(const nlohmann::json& value, const std::string& member) const;
  const nlohmann::json& Array(const nlohmann::json& value, const std::string& member) const;
  bool Flag(const nlohmann::json& value, const std::string& member) const;
  std::uint32_t Number(const nlohmann::json& value, const std::string& member) const;

 private:
  const std::string& fileName_;
  const JsonLines& lines_;
};

/** The name of an array's element. */
std::string Element(const std::string& array, std::size_t index);

/** A member's name as an error line can show it: it may hold line ends. */
std::string OnOneLine(std::string name);

}  // namespace simulated
