#include "PlainRegistry.h"

#include <algorithm>

#include "platform/Constants.h"
#include "platform/Text.h"

namespace kestrelbay {
namespace {

using Text = std::u16string;

Text UpperAscii(std::u16string_view text) {
  Text upper(text);
  for (char16_t& unit : upper) {
    if (unit >= u'a' && unit <= u'z') unit = static_cast<char16_t>(unit - u'a' + u'A');
  }
  return upper;
}

bool SameAscii(std::u16string_view left, std::u16string_view right) {
  return UpperAscii(left) == UpperAscii(right);
}

std::u16string_view CutName(std::u16string_view& path) {
  const std::size_t end = std::min(path.find(u'\\'), path.size());
  const std::u16string_view name = path.substr(0, end);
  path.remove_prefix(std::min(end + 1, path.size()));
  return name;
}

Text Number(const std::vector<std::uint8_t>& bytes) {
  std::uint32_t number = 0;
  for (std::size_t at = 0; at < 4 && at < bytes.size(); ++at) number |= std::uint32_t{bytes[at]} << (8 * at);
  const std::string digits = std::to_string(static_cast<std::int32_t>(number));
  return Text(digits.begin(), digits.end());
}

Text UpToNul(const std::vector<std::uint8_t>& bytes) {
  Text text;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    const auto unit = static_cast<char16_t>(bytes[at] | bytes[at + 1] << 8);
    if (unit == 0) break;
    text += unit;
  }
  return text;
}

void DescribeKey(const PlainKey& key, const std::string& path, std::string& text) {
  text += "[" + path + "]" + (key.denied ? " denied" : "") + " " + std::to_string(key.lastWriteTime) + "\n";
  for (const PlainValue& value : key.values) {
    text += "  " + Utf8(value.name) + " = " + std::to_string(value.type) + ": ";
    text += value.type == 4 ? Utf8(Number(value.bytes)) : Utf8(UpToNul(value.bytes));
    text += " (" + std::to_string(value.bytes.size()) + " bytes)\n";
  }
  for (const PlainKey& subKey : key.subKeys) DescribeKey(subKey, path + "\\" + Utf8(subKey.name), text);
}

}  // namespace

PlainKey& PlainKey::At(std::u16string_view path) {
  if (path.empty()) return *this;
  const std::u16string_view first = CutName(path);
  for (PlainKey& subKey : subKeys) {
    if (SameAscii(subKey.name, first)) return subKey.At(path);
  }
  subKeys.push_back({Text(first), {}, {}, false, 0});
  return subKeys.back().At(path);
}

const PlainKey* PlainKey::Find(std::u16string_view path) const {
  if (path.empty()) return this;
  const std::u16string_view first = CutName(path);
  for (const PlainKey& subKey : subKeys) {
    if (SameAscii(subKey.name, first)) return subKey.Find(path);
  }
  return nullptr;
}

void PlainKey::Set(std::u16string_view value, std::uint32_t type, std::vector<std::uint8_t> bytes) {
  values.push_back({Text(value), type, std::move(bytes)});
}

std::vector<Text> SortedNames(const PlainKey& key) {
  std::vector<Text> names;
  for (const PlainKey& subKey : key.subKeys) names.push_back(subKey.name);
  std::sort(names.begin(), names.end(),
            [](const Text& left, const Text& right) { return UpperAscii(left) < UpperAscii(right); });
  return names;
}

Text ReadNaively(const PlainKey& key, std::u16string_view name) {
  for (const PlainValue& value : key.values) {
    if (!SameAscii(value.name, name)) continue;
    if (value.bytes.size() > 520) return {};
    if (value.type == 4) return Number(value.bytes);
    if (value.type == 1) return UpToNul(value.bytes);
    if (value.type == 2) {
      Text text = UpToNul(value.bytes);
      const std::size_t at = text.find(u"%SystemRoot%");
      return at == Text::npos ? text : text.replace(at, 12, u"C:\\Windows");
    }
    return {};
  }
  return {};
}

Text LastWriteTimeNaively(const PlainKey& key) {
  const std::string digits =
      std::to_string((static_cast<std::int64_t>(key.lastWriteTime) - 116444736000000000) / 10000);
  return Text(digits.begin(), digits.end());
}

std::vector<std::uint8_t> BytesOf(std::u16string_view text) {
  std::vector<std::uint8_t> bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

std::string Utf8(std::u16string_view wide) {
  std::string text(wide.size() * 3, '\0');
  const int bytes =
      platform::WideCharToMultiByte(platform::CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                    text.data(), static_cast<int>(text.size()), nullptr, nullptr);
  text.resize(static_cast<std::size_t>(bytes));
  return text;
}

std::string Describe(const PlainRegistry& registry) {
  std::string text;
  DescribeKey(registry.machine, "machine", text);
  DescribeKey(registry.machine32, "machine32", text);
  DescribeKey(registry.users, "users", text);
  return text;
}

}  // namespace kestrelbay
