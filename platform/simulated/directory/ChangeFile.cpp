#include "simulated/directory/ChangeFile.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "simulated/regfile/RegFileWriter.h"

namespace simulated {
namespace {

constexpr std::u16string_view kLineEnd = u"\r\n";
constexpr std::u16string_view kAdds = u";Adds=";
constexpr std::u16string_view kRemoves = u";Removes=";

std::u16string Lines(std::u16string_view start, const std::vector<std::u16string>& paths) {
  std::u16string lines;
  for (const std::u16string& path : paths) {
    if (path.find_first_of(kLineEnd) != path.npos)
      throw std::length_error("a file's path holds a line end, which no registration file can express");
    lines.append(start).append(path).append(kLineEnd);
  }
  return lines;
}

std::u16string TextOf(std::span<const std::uint8_t> bytes) {
  std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
  return text;
}

}  // namespace

std::vector<std::uint8_t> WriteChangeFile(const ProgramChanges& changes) {
  RegFileWriter writer;
  changes.registry.WriteTo(writer);
  std::u16string text = TextOf(writer.Bytes());
  text.insert(text.find(kLineEnd) + kLineEnd.size(),
              Lines(kAdds, changes.files.adds) + Lines(kRemoves, changes.files.removes));
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(text.data());
  return {begin, begin + text.size() * sizeof(char16_t)};
}

FileChanges ReadFileChanges(std::span<const std::uint8_t> changeFile) {
  const std::u16string text = TextOf(changeFile);
  FileChanges files;
  for (std::size_t end = text.find(kLineEnd); end != text.npos;) {
    const std::size_t begin = end + kLineEnd.size();
    end = text.find(kLineEnd, begin);
    const std::u16string_view line = std::u16string_view(text).substr(begin, end - begin);
    if (line.starts_with(kAdds))
      files.adds.emplace_back(line.substr(kAdds.size()));
    else if (line.starts_with(kRemoves))
      files.removes.emplace_back(line.substr(kRemoves.size()));
    else
      break;
  }
  return files;
}

}  // namespace simulated
