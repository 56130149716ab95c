#include "Redaction.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "Surroundings.h"
#include "Text.h"

namespace capture {
namespace {

/** How one character of the text stands in the bytes. */
struct View {
  std::size_t offset;
  std::size_t step;
  bool highFirst;
};
constexpr std::array<View, 3> kWideViews{{{0, 2, false}, {1, 2, false}, {0, 2, true}}};
constexpr View kNarrowView{0, 1, false};

std::u16string Read(std::span<const std::uint8_t> bytes, View view) {
  std::u16string text;
  text.reserve(bytes.size() / view.step);
  for (std::size_t i = view.offset; i + view.step <= bytes.size(); i += view.step) {
    const unsigned first = bytes[i];
    const unsigned second = view.step == 2 ? bytes[i + 1] : 0;
    text += static_cast<char16_t>(view.highFirst ? first << 8 | second : second << 8 | first);
  }
  return text;
}

void Write(const std::u16string& text, std::span<std::uint8_t> bytes, View view) {
  for (std::size_t i = view.offset, unit = 0; unit < text.size(); i += view.step, ++unit) {
    bytes[i + (view.highFirst ? 1 : 0)] = static_cast<std::uint8_t>(text[unit]);
    if (view.step == 2) bytes[i + (view.highFirst ? 0 : 1)] = static_cast<std::uint8_t>(text[unit] >> 8);
  }
}

/** REG_SZ and its like; all others may be anything. */
bool IsText(const CapturedValue& value) { return value.type == 1 || value.type == 2 || value.type == 7; }

std::u16string Widened(std::string_view bytes) {
  std::u16string text;
  for (const char byte : bytes) text += static_cast<unsigned char>(byte);
  return text;
}

/** Numbers as a SID's bytes have them. */
std::string BytesOfNumbers(std::u16string_view numbers) {
  std::string bytes;
  for (std::size_t at = 0; at < numbers.size(); ++at) {
    std::uint64_t number = 0;
    for (; at < numbers.size() && numbers[at] != u'-'; ++at) number = number * 10 + (numbers[at] - u'0');
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift);
  }
  return bytes;
}

}  // namespace

Redactor::Redactor(const Identity& identity)
    : folders_(identity.folders, identity.folderVariables), variables_(identity.variables) {
  for (const std::u16string& name : identity.users) names_.emplace(Folded(name), PersonalKind::User);
  for (const std::u16string& name : identity.computers) names_.emplace(Folded(name), PersonalKind::Computer);
  for (const std::u16string& guid : identity.guids) names_.emplace(Folded(guid), PersonalKind::Guid);
}

void Redactor::Learn(std::u16string_view text) {
  PersonalParts parts;
  folders_.Find(text, parts);
  FindSids(text, parts);
  for (const PersonalPart& part : parts) {
    const std::u16string name = Folded(text.substr(part.at, part.size));
    standIns_.Avoid(name);
    if (part.kind != PersonalKind::Word) names_.emplace(name, part.kind);
  }
}

void Redactor::Learn(const CapturedValue& value) {
  Learn(Read(value.bytes, kWideViews[0]));
  if (!IsText(value)) Learn(Read(value.bytes, kNarrowView));
}

void Redactor::EndLearning() {
  std::erase_if(names_, [](const auto& name) { return IsWindowsOwnName(name.first) || name.first.empty(); });
  for (const auto& [name, kind] : names_) standIns_.Avoid(name);
  for (const auto& [name, kind] : names_) {
    AddName(name, kind);
    if (kind == PersonalKind::Sid) AddNumbers(name);
  }
  // The longest first: a name may begin with another.
  const auto isLonger = [](const PersonalName& left, const PersonalName& right) {
    return left.text.size() > right.text.size();
  };
  std::ranges::stable_sort(wide_, isLonger);
  std::ranges::stable_sort(narrow_, isLonger);
}

void Redactor::AddName(const std::u16string& text, PersonalKind kind) {
  const bool inWords = IsSoughtInWords(text);
  wide_.push_back({text, kind, inWords});
  // Spelt as a code page has them, letters but for those of ASCII are found in the two usual cases alone.
  std::u16string lower = text;
  for (char16_t unit = 0xFFFF; unit != 0; --unit) {
    if (Folded(unit) != unit) std::ranges::replace(lower, Folded(unit), unit);
  }
  std::u16string title = lower;
  title[0] = text[0];
  for (const std::u16string& spelling : {text, lower, title}) {
    narrow_.push_back({Folded(Widened(ToAnsi(spelling))), kind, inWords});
    narrow_.push_back({Folded(Widened(ToUtf8(spelling))), kind, inWords});
  }
  narrow_.push_back({text, kind, inWords});
  std::erase_if(narrow_, [](const PersonalName& literal) { return literal.text.empty(); });
}

void Redactor::AddNumbers(const std::u16string& sid) {
  numbers_.emplace_back(BytesOfNumbers(sid),
                        BytesOfNumbers(standIns_.Of(sid, StandIns::Alphabet::Decimal, u"")));
}

void Redactor::Hide(std::u16string& text) { Replace(text, wide_, true); }

/** @return whether anything was replaced */
bool Redactor::Replace(std::u16string& text, const PersonalNames& names, bool withShort) {
  PersonalParts parts;
  folders_.Find(text, parts);
  FindSids(text, parts);
  std::u16string rest = text;
  for (const PersonalPart& part : parts) rest.replace(part.at, part.size, part.size, u'\xFFFF');
  // What Windows expands must still be found by its name.
  for (std::size_t at = rest.find(u'%'), end = 0; at != rest.npos; at = end) {
    end = rest.find(u'%', at + 1);
    if (end != rest.npos && variables_.contains(AsciiUpper(rest.substr(at + 1, end - at - 1))))
      rest.replace(at, end - at, end - at, u'\xFFFF');
  }
  FindNames(rest, names, withShort, parts);
  for (const PersonalPart& part : parts) {
    constexpr std::array<StandIns::Alphabet, 5> kAlphabets{
        StandIns::Alphabet::Letters, StandIns::Alphabet::Letters, StandIns::Alphabet::Hexadecimal,
        StandIns::Alphabet::Decimal, StandIns::Alphabet::Letters};
    constexpr std::array<std::u16string_view, 5> kPrefixes{u"user", u"host", u"", u"", u"w"};
    const auto kind = static_cast<std::size_t>(part.kind);
    const std::u16string name = Folded(text.substr(part.at, part.size));
    // Most texts can be read in more than one way, and what was hidden once is found again.
    if (!standIns_.IsGiven(name))
      text.replace(part.at, part.size, standIns_.Of(name, kAlphabets[kind], kPrefixes[kind]));
  }
  return !parts.empty();
}

void Redactor::Hide(CapturedValue& value) { Hide(value.bytes, IsText(value)); }

void Redactor::Hide(std::span<std::uint8_t> bytes, bool isText) {
  for (const View& view : kWideViews) {
    std::u16string text = Read(bytes, view);
    if (Replace(text, wide_, isText && view.offset == 0 && !view.highFirst)) Write(text, bytes, view);
  }
  HideBehindZero(bytes);
  std::u16string text = Read(bytes, kNarrowView);
  if (Replace(text, narrow_, false)) Write(text, bytes, kNarrowView);
  HideNumbers(bytes);
}

// The fourth view, high bytes first at odd bytes, in which plain text can be read as well. With a zero before
// them none of its characters is missing there, such as the sign that begins a variable's name.
void Redactor::HideBehindZero(std::span<std::uint8_t> bytes) {
  std::vector<std::uint8_t> shifted(1);
  shifted.insert(shifted.end(), bytes.begin(), bytes.end());
  constexpr View kHighFirst{0, 2, true};
  std::u16string text = Read(shifted, kHighFirst);
  if (!Replace(text, wide_, false)) return;
  Write(text, shifted, kHighFirst);
  std::copy(shifted.begin() + 1, shifted.end(), bytes.begin());
}

void Redactor::HideNumbers(std::span<std::uint8_t> bytes) {
  for (const auto& [numbers, standIn] : numbers_) {
    for (auto at = bytes.begin();; at += static_cast<std::ptrdiff_t>(numbers.size())) {
      const auto isSame = [](std::uint8_t byte, char sought) {
        return byte == static_cast<std::uint8_t>(sought);
      };
      at = std::search(at, bytes.end(), numbers.begin(), numbers.end(), isSame);
      if (at == bytes.end()) break;
      std::memcpy(&*at, standIn.data(), standIn.size());
    }
  }
}

}  // namespace capture
