#include "Redaction.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "FactsCapture.h"
#include "FixedNames.h"
#include "RawIdentity.h"
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

std::u16string Widened(std::string_view bytes) {
  std::u16string text;
  for (const char byte : bytes) text += static_cast<unsigned char>(byte);
  return text;
}

void Mask(const PersonalParts& parts, std::u16string& text) {
  for (const PersonalPart& part : parts) text.replace(part.at, part.size, part.size, kMasked);
}

/** Adds all words that are left. */
void FindAllWords(std::u16string_view text, PersonalParts& parts) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::size_t begin = at;
    while (at < text.size() && IsWord(text[at])) ++at;
    if (at != begin) parts.push_back({begin, at - begin, PersonalKind::Word});
  }
}

/** Short numbers, as addresses of pages have them behind "users", are found in too many versions. */
bool IsTelling(const std::u16string& name) {
  return IsSoughtInWords(name) || !std::ranges::all_of(name, IsFigure);
}

}  // namespace

Redactor::Redactor(const Identity& identity) : folders_(identity.places) {
  for (const std::u16string& name : identity.users) names_.emplace(Folded(name), PersonalKind::User);
  for (const std::u16string& name : identity.computers) names_.emplace(Folded(name), PersonalKind::Computer);
  for (const std::u16string& name : identity.organizations) {
    if (IsSoughtInWords(Folded(name))) names_.emplace(Folded(name), PersonalKind::Organization);
  }
  for (const auto& [name, value] : identity.places.variables) standIns_.Avoid(name);
  for (const std::u16string& guid : identity.guids) AddGuid(guid);
}

void Redactor::AddGuid(const std::u16string& text) {
  const GuidForms forms = FormsOfGuid(text);
  names_.emplace(forms.dashed.empty() ? Folded(text) : forms.dashed, PersonalKind::Guid);
}

void Redactor::Learn(std::u16string_view text) {
  const PersonalNames none;
  for (const PersonalPart& part : Find(text, {none, Search::Data})) {
    const std::u16string name = Folded(text.substr(part.at, part.size));
    standIns_.Avoid(name);
    const bool isSought =
        part.kind == PersonalKind::Sid || (part.kind == PersonalKind::User && IsTelling(name));
    if (isSought) names_.emplace(name, part.kind);
  }
}

void Redactor::Learn(const CapturedValue& value) {
  Learn(Read(value.bytes, kWideViews[0]));
  if (!IsText(value)) Learn(Read(value.bytes, kNarrowView));
  for (const std::u16string& numbers : NumbersOfRawSids(value.bytes)) {
    standIns_.Avoid(numbers);
    names_.emplace(numbers, PersonalKind::Sid);
  }
}

void Redactor::EndLearning() {
  std::erase_if(names_, [](const auto& name) { return IsWindowsOwnName(name.first) || name.first.empty(); });
  for (const auto& [name, kind] : names_) standIns_.Avoid(name);
  for (const auto& [name, kind] : names_) {
    AddName(name, kind);
    if (kind == PersonalKind::Sid) AddBytes(BytesOfNumbers(name), BytesOfNumbers(StandIn(name, kind, wide_)));
    if (kind != PersonalKind::Guid) continue;
    const GuidForms forms = FormsOfGuid(name);
    if (forms.dashed.empty()) continue;
    const GuidForms standIns = FormsOfGuid(standIns_.Of(name, StandIns::Alphabet::Hexadecimal, u""));
    for (const auto& form : {&GuidForms::plain, &GuidForms::packed}) {
      standIns_.Give(forms.*form, standIns.*form);
      AddName(forms.*form, kind);
    }
    for (const auto& form : {&GuidForms::bytes, &GuidForms::bytesInMemory})
      AddBytes(forms.*form, standIns.*form);
  }
  // The longest first: a name may begin with another.
  const auto isLonger = [](const PersonalName& left, const PersonalName& right) {
    return left.text.size() > right.text.size();
  };
  std::ranges::stable_sort(wide_, isLonger);
  std::ranges::stable_sort(narrow_, isLonger);
  folders_.Rename([this](std::u16string name) {
    HideVariable(name);
    return AsciiUpper(name);
  });
}

void Redactor::AddName(const std::u16string& text, PersonalKind kind) {
  const bool inWords = kind != PersonalKind::Organization && IsSoughtInWords(text);
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

void Redactor::AddBytes(const std::string& bytes, const std::string& standIn) {
  const bool isBlank = std::ranges::all_of(bytes, [](char byte) { return byte == 0; });
  if (!isBlank) raw_.emplace_back(bytes, standIn);
}

// What was found is masked, and not taken for a part of something else.
PersonalParts Redactor::Find(std::u16string_view text, const Manner& manner) const {
  PersonalParts parts;
  std::u16string rest(text);
  FindSids(rest, parts);
  folders_.Find(rest, manner.search != Search::File, parts);
  Mask(parts, rest);
  for (std::size_t at = 0; at < rest.size(); ++at) {
    const std::size_t size = folders_.VariableSize(rest, at);
    if (size == 0) continue;
    parts.push_back({at + 1, size - 2, PersonalKind::Variable});
    rest.replace(at + 1, size - 2, size - 2, kMasked);
    at += size - 2;
  }
  if (manner.search != Search::File) FindCredentials(rest, manner.holdsProxies, parts);
  Mask(parts, rest);
  // Behind a password stands a machine's address, and no mail address.
  for (const PersonalPart& part : parts) {
    const std::size_t end = part.at + part.size;
    if (end < rest.size() && rest[end] == u'@') rest[end] = kMasked;
  }
  FindNames(rest, manner.names, manner.search == Search::Text, parts);
  Mask(parts, rest);
  if (manner.search != Search::File) FindMailAddresses(rest, parts);
  if (!manner.holdsOwner) return parts;
  Mask(parts, rest);
  FindAllWords(rest, parts);
  return parts;
}

void Redactor::Hide(std::u16string& text) { Replace(text, {wide_, Search::Text}); }

void Redactor::HideKey(std::u16string& path) {
  std::u16string hidden;
  for (std::u16string& name : SplitPath(path)) {
    if (!IsFixedKeyName(name)) Hide(name);
    hidden += (hidden.empty() ? u"" : u"\\") + name;
  }
  path = std::move(hidden);
}

void Redactor::HideVariable(std::u16string& name) { name = StandIn(name, PersonalKind::Variable, wide_); }

std::u16string Redactor::StandIn(std::u16string_view text, PersonalKind kind, const PersonalNames& names) {
  constexpr std::array<StandIns::Alphabet, 6> kAlphabets{
      StandIns::Alphabet::Letters,     StandIns::Alphabet::Letters, StandIns::Alphabet::Letters,
      StandIns::Alphabet::Hexadecimal, StandIns::Alphabet::Decimal, StandIns::Alphabet::Letters};
  constexpr std::array<std::u16string_view, 6> kPrefixes{u"user", u"host", u"org", u"", u"", u"w"};
  const std::u16string name = Folded(text);
  std::u16string standIn(text);
  // Most texts can be read in more than one way, and what was hidden once is found again.
  if (standIns_.IsGiven(name)) return standIn;
  if (kind != PersonalKind::Variable) {
    const auto found = names_.find(name);
    const auto number = static_cast<std::size_t>(found == names_.end() ? kind : found->second);
    return StandIns::Spelt(standIns_.Of(name, kAlphabets[number], kPrefixes[number]), text);
  }
  if (IsWindowsVariable(AsciiUpper(text))) return standIn;
  PersonalParts parts;
  FindNames(text, names, true, parts);
  for (const PersonalPart& part : parts)
    standIn.replace(part.at, part.size, StandIn(text.substr(part.at, part.size), part.kind, names));
  return standIn;
}

/** @return whether anything was replaced */
bool Redactor::Replace(std::u16string& text, const Manner& manner) {
  const PersonalParts parts = Find(text, manner);
  for (const PersonalPart& part : parts) {
    const std::u16string hidden = text.substr(part.at, part.size);
    text.replace(part.at, part.size, StandIn(hidden, part.kind, manner.names));
  }
  return !parts.empty();
}

void Redactor::Hide(CapturedValue& value) {
  const auto bytes = std::span(value.bytes).subspan(DecidingBytes(value));
  HideIn(bytes, IsText(value) ? Search::Text : Search::Data, &value);
}

void Redactor::Hide(std::span<std::uint8_t> bytes, Search search) { HideIn(bytes, search, nullptr); }

/** @param value  which the bytes are of; null where they are none's */
void Redactor::HideIn(std::span<std::uint8_t> bytes, Search search, const CapturedValue* value) {
  Manner manner{wide_, search, value && HoldsProxies(value->name),
                value && IsText(*value) && HoldsOwner(value->name)};
  const auto hide = [&](View view) {
    std::u16string text = Read(bytes, view);
    if (Replace(text, manner)) Write(text, bytes, view);
  };
  hide(kWideViews[0]);
  // A text holds nothing else; where it is read in other ways, all of it would be words of an owner.
  manner.holdsOwner = false;
  if (search == Search::Text) manner.search = Search::Data;
  hide(kWideViews[1]);
  hide(kWideViews[2]);
  HideBehindZero(bytes, manner);
  Manner narrow{narrow_, manner.search, manner.holdsProxies};
  std::u16string text = Read(bytes, kNarrowView);
  if (Replace(text, narrow)) Write(text, bytes, kNarrowView);
  HideRaw(bytes);
}

// The fourth view, high bytes first at odd bytes, in which plain text can be read as well. With a zero before
// them none of its characters is missing there, such as the sign that begins a variable's name.
void Redactor::HideBehindZero(std::span<std::uint8_t> bytes, const Manner& manner) {
  std::vector<std::uint8_t> shifted(1);
  shifted.insert(shifted.end(), bytes.begin(), bytes.end());
  constexpr View kHighFirst{0, 2, true};
  std::u16string text = Read(shifted, kHighFirst);
  if (!Replace(text, manner)) return;
  Write(text, shifted, kHighFirst);
  std::copy(shifted.begin() + 1, shifted.end(), bytes.begin());
}

void Redactor::HideRaw(std::span<std::uint8_t> bytes) {
  for (const auto& [raw, standIn] : raw_) {
    for (auto at = bytes.begin();; at += static_cast<std::ptrdiff_t>(raw.size())) {
      const auto isSame = [](std::uint8_t byte, char sought) {
        return byte == static_cast<std::uint8_t>(sought);
      };
      at = std::search(at, bytes.end(), raw.begin(), raw.end(), isSame);
      if (at == bytes.end()) break;
      std::memcpy(&*at, standIn.data(), standIn.size());
    }
  }
}

}  // namespace capture
