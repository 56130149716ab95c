#include "Redaction.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "CodePages.h"
#include "FactsCapture.h"
#include "FixedNames.h"
#include "MachineCalls.h"
#include "Passwords.h"
#include "PersonalAddresses.h"
#include "RawIdentity.h"
#include "Text.h"

namespace capture {
namespace {

/**
 * Behind a zero, which completes the first character of a text with the high byte first at odd offsets, such
 * as the sign that begins a variable. The first view is that of a text.
 */
constexpr std::array<View, 4> kWideViews{{{1, 2, false}, {2, 2, false}, {1, 2, true}, {0, 2, true}}};
constexpr View kNarrowView{1, 1, false};
/** A text alone. */
constexpr View kWholeText{0, 2, false};

std::u16string Widened(std::string_view bytes) {
  std::u16string text;
  for (const char byte : bytes) text += static_cast<unsigned char>(byte);
  return text;
}

/** Returns the bytes with which the character begins in the code page, Folded(). */
std::u16string FirstBytes(const CodePage& page, char16_t character) {
  std::u16string bytes;
  for (std::size_t code = 0; code < page.size(); ++code) {
    if (page[code] == character) bytes += Folded(static_cast<char16_t>(code > 0xFF ? code >> 8 : code));
  }
  return bytes;
}

void Mask(const PersonalParts& parts, std::u16string& text) {
  for (const PersonalPart& part : parts) text.replace(part.at, part.size, part.size, kMasked);
}

/** Whether a user name from a path is hidden everywhere. Short numbers are not: web addresses have them after
 * "users", and versions have them too. */
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
  for (const PersonalPart& part : Find(text, {wideIndex_, Search::Data})) {
    const std::u16string name = Folded(text.substr(part.at, part.size));
    standIns_.Avoid(name);
    const bool isSought =
        part.kind == PersonalKind::Sid || (part.kind == PersonalKind::User && IsTelling(name));
    if (isSought) names_.emplace(name, part.kind);
  }
}

void Redactor::Learn(const CapturedValue& value) {
  Learn(ReadText(value.bytes, kWholeText));
  if (!IsText(value)) Learn(ReadText(value.bytes, {0, 1, false}));
  for (const std::u16string& numbers : NumbersOfRawSids(value.bytes)) {
    standIns_.Avoid(numbers);
    names_.emplace(numbers, PersonalKind::Sid);
  }
}

void Redactor::EndLearning() {
  for (const auto& [name, kind] : std::map(names_)) {
    if (kind != PersonalKind::User) continue;
    for (std::u16string& part : PartsOfName(name)) names_.emplace(std::move(part), PersonalKind::NamePart);
  }
  // A name of signs only, such as "-", is in every text and identifies nobody.
  std::erase_if(names_, [](const auto& name) {
    return IsWindowsOwnName(name.first) || std::ranges::none_of(name.first, IsWord);
  });
  for (const auto& [name, kind] : names_) standIns_.Avoid(name);
  for (const auto& [name, kind] : names_) {
    AddName(name, kind);
    if (kind == PersonalKind::Sid)
      AddBytes(BytesOfNumbers(name), BytesOfNumbers(StandIn(name, kind, wideIndex_)));
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
  wideIndex_ = NameIndex(wide_);
  narrowIndex_ = NameIndex(narrow_);
  folders_.Rename([this](std::u16string name) {
    HideVariable(name);
    return AsciiUpper(name);
  });
}

void Redactor::AddName(const std::u16string& text, PersonalKind kind) {
  const bool inWords = kind != PersonalKind::NamePart && IsSoughtInWords(text);
  wide_.push_back({text, kind, inWords, text.substr(0, 1)});
  narrow_.push_back(wide_.back());
  if (std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80; })) return;
  // Characters of four bytes are compared by their bytes.
  const std::u16string utf8 = Folded(Widened(ToUtf8(text)));
  narrow_.push_back({utf8, kind, inWords, utf8.substr(0, 1)});
  for (const CodePage& page : CodePages()) {
    const auto hasUnit = [&](char16_t unit) { return std::ranges::find(page, unit) != page.end(); };
    if (std::ranges::all_of(text, hasUnit))
      narrow_.push_back({text, kind, inWords, FirstBytes(page, text[0]), &page});
  }
}

void Redactor::AddBytes(const std::string& bytes, const std::string& standIn) {
  const bool isBlank = std::ranges::all_of(bytes, [](char byte) { return byte == 0; });
  if (!isBlank) raw_.emplace_back(bytes, standIn);
}

// Each step masks what it finds, so that the next one does not find it again.
PersonalParts Redactor::Find(std::u16string_view text, const Manner& manner) const {
  PersonalParts parts;
  std::u16string rest(text);
  // In other data, bytes form such units by chance.
  if (manner.search == Search::Text) std::ranges::transform(rest, rest.begin(), WithoutWidth);
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
  if (manner.search != Search::File) FindAddressCredentials(rest, manner.holdsProxies, parts);
  Mask(parts, rest);
  // After a password comes a host. Without the sign it is not taken for a mail address.
  for (const PersonalPart& part : parts) {
    const std::size_t end = part.at + part.size;
    if (end < rest.size() && rest[end] == u'@') rest[end] = kMasked;
  }
  if (manner.search != Search::File) {
    // Not masked between: `password:a@b` may be a user and a password, or a setting whose value has a sign.
    if (!manner.holdsProxies) FindPlainCredentials(rest, parts);
    FindSecretSettings(rest, parts);
    Mask(parts, rest);
  }
  FindNames(rest, manner.names, manner.search == Search::Text, parts);
  Mask(parts, rest);
  if (manner.search != Search::File) FindMailAddresses(rest, manner.search == Search::Text, parts);
  Mask(parts, rest);
  if (manner.search == Search::Text) FindAccounts(rest, parts);
  if (!manner.holdsOwner) return parts;
  Mask(parts, rest);
  AddWords(rest, 0, rest.size(), parts);
  return parts;
}

void Redactor::HideKey(std::u16string& path) {
  std::u16string hidden;
  for (std::u16string& name : SplitPath(path)) {
    if (!IsFixedKeyName(name)) Hide(name);
    hidden += (hidden.empty() ? u"" : u"\\") + name;
  }
  path = std::move(hidden);
}

void Redactor::HideVariable(std::u16string& name) {
  name = StandIn(name, PersonalKind::Variable, wideIndex_);
}

std::u16string Redactor::StandIn(std::u16string_view text, PersonalKind kind, const NameIndex& names) {
  constexpr std::array<StandIns::Alphabet, 8> kAlphabets{
      StandIns::Alphabet::Letters,     StandIns::Alphabet::Letters, StandIns::Alphabet::Letters,
      StandIns::Alphabet::Hexadecimal, StandIns::Alphabet::Decimal, StandIns::Alphabet::Letters,
      StandIns::Alphabet::Letters,     StandIns::Alphabet::Letters};
  constexpr std::array<std::u16string_view, 8> kPrefixes{u"user", u"host", u"org", u"",
                                                         u"",     u"w",    u"",    u"name"};
  const std::u16string name = Folded(text);
  std::u16string standIn(text);
  // Bytes are read in several ways, so a stand-in may be found again.
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

/** @param mayOverlap  whether a part is also hidden if another one has some of its bytes */
void Redactor::HideParts(std::u16string_view text, View view, const Manner& manner, bool mayOverlap,
                         HiddenBytes& hidden) {
  for (const PersonalPart& part : Find(text, manner)) {
    const std::size_t begin = view.offset + part.at * view.step, count = part.size * view.step;
    if (mayOverlap ? hidden.HasAll(begin, count) : hidden.HasAny(begin, count)) continue;
    hidden.Write(begin, StandIn(text.substr(part.at, part.size), part.kind, manner.names), view);
  }
}

void Redactor::Hide(std::u16string& text) {
  const std::u16string original = text;
  HiddenBytes hidden({reinterpret_cast<std::uint8_t*>(text.data()), text.size() * sizeof(char16_t)});
  HideParts(original, kWholeText, {wideIndex_, Search::Text}, true, hidden);
}

void Redactor::Hide(CapturedValue& value) {
  const auto bytes = std::span(value.bytes).subspan(DecidingBytes(value));
  HideIn(bytes, IsText(value) ? Search::Text : Search::Data, &value);
}

void Redactor::Hide(std::span<std::uint8_t> bytes, Search search) { HideIn(bytes, search, nullptr); }

/**
 * Each way of reading finds its parts in the original bytes. A wrong way may find a piece of a name. If the
 * bytes of this piece were changed first, the right way would not find the name.
 * @param value  the value with these bytes; null for a file
 */
void Redactor::HideIn(std::span<std::uint8_t> bytes, Search search, const CapturedValue* value) {
  HideRaw(bytes);
  std::vector<std::uint8_t> original(1);
  for (const std::uint8_t byte : bytes) original.push_back(byte);
  std::vector<std::uint8_t> result = original;
  HiddenBytes hidden(result);
  Manner manner{wideIndex_, search, value && HoldsProxies(value->name),
                value && IsText(*value) && HoldsOwner(value->name)};
  bool mayOverlap = true;
  for (const View& view : kWideViews) {
    HideParts(ReadText(original, view), view, manner, mayOverlap, hidden);
    // Only the first way of reading gives the text. In the others all bytes would count as words of an owner,
    // and pieces of what the text hides would be hidden in another way.
    manner.holdsOwner = false;
    if (search != Search::Text) continue;
    manner.search = Search::Data;
    mayOverlap = false;
  }
  HideParts(ReadText(original, kNarrowView), kNarrowView, {narrowIndex_, manner.search, manner.holdsProxies},
            mayOverlap, hidden);
  std::copy(result.begin() + 1, result.end(), bytes.begin());
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
