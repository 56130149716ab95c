#include "platform/Text.h"

#include <algorithm>
#include <cstring>

#include "platform/Constants.h"
#include "simulated/base/WideText.h"
#include "simulated/port/Call.h"

namespace simulated {
namespace {

using platform::DWORD;

/** A failed conversion: 0, with the reason in the last error. */
int Fail(DWORD lastError) {
  SetLastError(lastError);
  return 0;
}

/** Checks the arguments of both conversions. @return 0 or a Windows error number */
DWORD CheckRequest(platform::UINT codePage, DWORD flags, const void* text, int length, const void* room,
                   int size) {
  const bool sound = text && length != 0 && length >= -1 && size >= 0 && (room || size == 0) && text != room;
  if (!sound || codePage != platform::CP_UTF8) return kInvalidParameter;
  return flags == 0 ? 0 : kInvalidFlags;
}

/** How many units of a text fit. UTF-8 is never cut inside a character. */
std::size_t Fitting(std::u16string_view text, std::size_t room) { return std::min(text.size(), room); }
std::size_t Fitting(std::string_view text, std::size_t room) {
  if (room >= text.size()) return text.size();
  while (room > 0 && (static_cast<std::uint8_t>(text[room]) & 0xC0) == 0x80) --room;
  return room;
}

/** Copies a converted text, as far as it fits. A size of 0 only asks for its length. */
template <typename Unit>
int Deliver(std::basic_string_view<Unit> converted, Unit* room, int size) {
  if (size == 0) return static_cast<int>(converted.size());
  const std::size_t fitting = Fitting(converted, static_cast<std::size_t>(size));
  std::copy_n(converted.data(), fitting, room);
  return fitting == converted.size() ? static_cast<int>(fitting) : Fail(kInsufficientBuffer);
}

/** A length of -1 means a null-terminated text, and includes the terminator. */
template <typename Unit>
std::basic_string_view<Unit> Whole(const Unit* text, int length) {
  if (length == -1) return {text, std::char_traits<Unit>::length(text) + 1};
  return {text, static_cast<std::size_t>(length)};
}

std::u16string Expand(const Environment& environment, std::u16string_view source) {
  std::u16string expanded;
  while (!source.empty()) {
    const auto end = source[0] == u'%' ? source.find(u'%', 1) : source.npos;
    if (end == source.npos) {
      expanded += source[0];
      source.remove_prefix(1);
    } else if (const auto value = environment.Find(source.substr(1, end - 1))) {
      expanded += *value;
      source.remove_prefix(end + 1);
    } else {
      // An unknown variable stays as written. Its second % may begin the next name.
      expanded += source.substr(0, end);
      source.remove_prefix(end);
    }
  }
  return expanded;
}

DWORD ExpandInto(const Environment& environment, const char16_t* source, char16_t* expanded,
                 DWORD expandedChars) {
  const std::u16string text = Expand(environment, source);
  if (expanded && expandedChars > 0) {
    const std::size_t fitting = std::min<std::size_t>(text.size(), expandedChars - 1);
    std::copy_n(text.data(), fitting, expanded);
    expanded[fitting] = 0;
  }
  if (text.size() >= expandedChars) SetLastError(kInsufficientBuffer);
  return static_cast<DWORD>(text.size() + 1);
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::CurrentMachineOrNull;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int textBytes, char16_t* wide,
                        int wideChars) {
  const auto describe = [&](Arguments& arguments) {
    arguments.Number(codePage).Hex(flags).Number(textBytes).Number(wideChars);
  };
  const auto convert = [&] {
    const DWORD problem = simulated::CheckRequest(codePage, flags, text, textBytes, wide, wideChars);
    if (problem != 0) return simulated::Fail(problem);
    const std::u16string converted = simulated::FromUtf8(simulated::Whole(text, textBytes));
    return simulated::Deliver(std::u16string_view(converted), wide, wideChars);
  };
  return Perform(CurrentMachineOrNull(), "MultiByteToWideChar", Failure<int>{0, simulated::kNotEnoughMemory},
                 describe, convert);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const char16_t* wide, int wideChars, char* text,
                        int textBytes, const char* defaultChar, BOOL* usedDefaultChar) {
  const auto describe = [&](Arguments& arguments) {
    arguments.Number(codePage).Hex(flags).Number(wideChars).Number(textBytes);
  };
  const auto convert = [&] {
    const DWORD problem = simulated::CheckRequest(codePage, flags, wide, wideChars, text, textBytes);
    if (problem != 0) return simulated::Fail(problem);
    // UTF-8 can encode all text, so Windows refuses a default character.
    if (defaultChar || usedDefaultChar) return simulated::Fail(simulated::kInvalidParameter);
    const std::string converted = simulated::ToUtf8(simulated::Whole(wide, wideChars));
    return simulated::Deliver(std::string_view(converted), text, textBytes);
  };
  return Perform(CurrentMachineOrNull(), "WideCharToMultiByte", Failure<int>{0, simulated::kNotEnoughMemory},
                 describe, convert);
}

DWORD ExpandEnvironmentStringsW(const char16_t* source, char16_t* expanded, DWORD expandedChars) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "ExpandEnvironmentStringsW", Failure<DWORD>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) { arguments.Text(source).Number(expandedChars); },
      [&] { return simulated::ExpandInto(machine.environment, source, expanded, expandedChars); });
}

}  // namespace platform
