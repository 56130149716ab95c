#include "simulated/directory/JsonShape.h"

#include <algorithm>

#include "simulated/base/WideText.h"

namespace simulated {

using nlohmann::json;

std::string OnOneLine(std::string name) {
  std::ranges::replace_if(
      name, [](char byte) { return static_cast<unsigned char>(byte) < 0x20; }, '?');
  return name;
}

std::string Element(const std::string& array, std::size_t index) {
  return array + "[" + std::to_string(index) + "]";
}

void JsonShape::Fail(const std::string& member, const std::string& what) const {
  const std::string name = member.empty() ? "" : OnOneLine(member) + ": ";
  throw MachineError(lines_.Place(fileName_, member) + ": " + name + what);
}

std::u16string JsonShape::Text(const json& value, const std::string& member) const {
  if (!value.is_string() || value.get_ref<const std::string&>().empty())
    Fail(member, "must be a text that is not empty; correct it");
  return FromUtf8(value.get_ref<const std::string&>());
}

const json& JsonShape::Object(const json& value, const std::string& member) const {
  if (!value.is_object()) Fail(member, "must be an object; write {\"name\": ...}");
  return value;
}

const json& JsonShape::Array(const json& value, const std::string& member) const {
  if (!value.is_array()) Fail(member, "must be a list; write [...]");
  return value;
}

bool JsonShape::Flag(const json& value, const std::string& member) const {
  if (!value.is_boolean()) Fail(member, "must be true or false; correct it");
  return value.get<bool>();
}

std::uint32_t JsonShape::Number(const json& value, const std::string& member) const {
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > UINT32_MAX)
    Fail(member, "must be a whole number from 0 to 4294967295; correct it");
  return value.get<std::uint32_t>();
}

}  // namespace simulated
