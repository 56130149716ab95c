#include "RegLookup.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <regex>

#include "simulated/base/LittleEndian.h"

namespace simulated {
namespace {

constexpr std::uint32_t kNumber = 4;

std::string Hex(const char* format, unsigned number) {
  char text[16];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

bool IsAscii(std::u16string_view name) {
  return std::ranges::all_of(name, [](char16_t unit) { return unit > 0 && unit < 127; });
}

std::string Quoted(std::u16string_view name, std::u16string_view special) {
  std::string quoted;
  for (const char16_t unit : name) {
    const bool isPlain = unit >= u' ' && special.find(unit) == name.npos;
    quoted += isPlain ? std::string(1, static_cast<char>(unit)) : Hex("%%%.2X", unit);
  }
  return quoted;
}

std::string TypeName(std::uint32_t type) {
  constexpr const char* kNames[] = {"NONE", "SZ",       "EXPAND_SZ", "BINARY",    "DWORD",         "DWORD_BE",
                                    "LINK", "MULTI_SZ", "RSRC_LIST", "RSRC_DESC", "RSRC_REQ_LIST", "QWORD"};
  return type < std::size(kNames) ? kNames[type] : Hex("0x%.8X", type);
}

std::string TimeOf(std::uint64_t fileTime) {
  // reglookup has no time before 1970.
  const std::time_t seconds =
      std::max<std::time_t>(0, static_cast<std::time_t>(fileTime / 10'000'000) - 11'644'473'600);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::gmtime(&seconds))};
}

void AddLines(Key& key, const std::string& path, std::multiset<std::string>& lines) {
  lines.insert((path.empty() ? "/" : path) + ",KEY,," + TimeOf(key.lastWriteTime));
  for (std::size_t i = 0; i < key.ValueCount(); ++i) {
    const ValueView value = key.ValueAt(i);
    if (!IsAscii(value.name)) continue;
    std::string line =
        (path.empty() ? "/" : path) + "/" + Quoted(value.name, u"%,\"/") + "," + TypeName(value.type);
    if (value.type == kNumber && value.bytes.size() == 4) line += "," + Hex("0x%.8X", Read32(value.bytes, 0));
    lines.insert(line);
  }
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i)
    if (Key& subKey = key.SubKeyAt(i); IsAscii(subKey.Name()))
      AddLines(subKey, path + "/" + Quoted(subKey.Name(), u"%,\"\\/"), lines);
}

}  // namespace

std::multiset<std::string> LinesOfKey(Key& root) {
  std::multiset<std::string> lines;
  AddLines(root, "", lines);
  return lines;
}

std::multiset<std::string> LinesOfRegLookup(const std::filesystem::path& hive) {
  const std::regex beyondAscii("%(00|7F|[89A-F][0-9A-F])");
  const std::string command = "reglookup '" + hive.string() + "' 2>/dev/null";
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
  std::string text;
  for (int byte = std::fgetc(output.get()); byte != EOF; byte = std::fgetc(output.get()))
    text += static_cast<char>(byte);
  std::multiset<std::string> lines;
  for (std::size_t at = text.find('\n') + 1; at < text.size();) {
    std::string line = text.substr(at, text.find('\n', at) - at);
    at += line.size() + 1;
    const std::size_t type = line.find(','), content = line.find(',', type + 1),
                      time = line.find(',', content + 1);
    if (std::regex_search(line.substr(0, type), beyondAscii)) continue;
    if (line.compare(type, 5, ",KEY,") != 0)
      line.resize(line.compare(type, 7, ",DWORD,") == 0 ? time : content);
    lines.insert(line);
  }
  return lines;
}

}  // namespace simulated
