#include "platform/RuntimeText.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>

#include "simulated/port/Call.h"
#include "simulated/port/Format.h"
#include "simulated/port/InvalidParameter.h"

namespace simulated {
namespace {

constexpr int kInvalidArgument = 22;
constexpr int kOutOfRange = 34;

std::atomic<InvalidParameterHandler> invalidParameterHandler = nullptr;

/** Formats into `buffer`. On failure it contains an empty text. */
int FormatInto(char* buffer, std::size_t bufferBytes, const char* format, va_list arguments) {
  if (!buffer || bufferBytes == 0 || !format) {
    RaiseInvalidParameter("vsprintf_s");
    return -1;
  }
  buffer[0] = 0;
  const auto text = Format(format, arguments);
  if (!text) return -1;
  if (text->size() >= bufferBytes) {
    RaiseInvalidParameter("vsprintf_s");
    return -1;
  }
  std::memcpy(buffer, text->c_str(), text->size() + 1);
  return static_cast<int>(text->size());
}

int Copy(char* buffer, std::size_t bufferBytes, const char* text) {
  const bool sound = buffer && bufferBytes > 0 && text;
  const std::size_t length = sound ? std::strlen(text) : 0;
  if (sound && length < bufferBytes) {
    std::memmove(buffer, text, length + 1);
    return 0;
  }
  if (buffer && bufferBytes > 0) buffer[0] = 0;
  RaiseInvalidParameter("strcpy_s");
  return sound ? kOutOfRange : kInvalidArgument;
}

bool IsWhiteSpace(char16_t unit) {
  constexpr std::u16string_view kOthers = u"\u0020\u00A0\u1680\u2028\u2029\u202F\u205F\u3000";
  return (unit >= 9 && unit <= 13) || (unit >= 0x2000 && unit <= 0x200A) ||
         kOthers.find(unit) != kOthers.npos;
}

/** Returns the value of a decimal digit, or -1. Windows' runtime accepts digits of these scripts. */
int DigitValue(char16_t unit) {
  constexpr char16_t kZeros[] = {0x30,  0x660, 0x6F0, 0x966, 0x9E6, 0xA66,  0xAE6,  0xB66,  0xC66,
                                 0xCE6, 0xD66, 0xE50, 0xED0, 0xF20, 0x1040, 0x17E0, 0x1810, 0xFF10};
  for (const char16_t zero : kZeros) {
    if (unit >= zero && unit <= zero + 9) return unit - zero;
  }
  return -1;
}

struct NumberRead {
  /** The number, limited to 32 bits. */
  long long value = 0;
  bool isOutOfRange = false;
  /** Behind the last digit, or the beginning of the text if it has no number. */
  const char16_t* end;
};

NumberRead ReadNumber(const char16_t* text) {
  NumberRead number{.end = text};
  while (IsWhiteSpace(*text)) ++text;
  const bool negative = *text == u'-';
  if (*text == u'-' || *text == u'+') ++text;
  // A long of Windows has 32 bits, also on x64.
  const long long limit = negative ? -static_cast<long long>(INT_MIN) : INT_MAX;
  for (int digit; (digit = DigitValue(*text)) >= 0; number.end = ++text) {
    const long long value = number.value * 10 + digit;
    number.isOutOfRange |= value > limit;
    number.value = std::min(value, limit);
  }
  if (negative) number.value = -number.value;
  return number;
}

int AsciiLower(char16_t unit) { return unit >= u'A' && unit <= u'Z' ? unit + (u'a' - u'A') : unit; }

}  // namespace

InvalidParameterHandler SetInvalidParameterHandler(InvalidParameterHandler handler) {
  return invalidParameterHandler.exchange(handler);
}

void RaiseInvalidParameter(const char* operation) {
  if (const InvalidParameterHandler handler = invalidParameterHandler) handler(operation);
}

}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachineOrNull;
using simulated::Failure;
using simulated::Perform;

int _vscprintf(const char* format, va_list arguments) {
  return Perform(
      CurrentMachineOrNull(), "_vscprintf", Failure<int>{-1},
      [&](Arguments& described) { described.Text(format); },
      [&] {
        if (!format) simulated::RaiseInvalidParameter("_vscprintf");
        const auto text = format ? simulated::Format(format, arguments) : std::nullopt;
        return text ? static_cast<int>(text->size()) : -1;
      });
}

int vsprintf_s(char* buffer, std::size_t bufferBytes, const char* format, va_list arguments) {
  return Perform(
      CurrentMachineOrNull(), "vsprintf_s", Failure<int>{-1},
      [&](Arguments& described) { described.Number(static_cast<long long>(bufferBytes)).Text(format); },
      [&] { return simulated::FormatInto(buffer, bufferBytes, format, arguments); });
}

int strcpy_s(char* buffer, std::size_t bufferBytes, const char* text) {
  return simulated::Copy(buffer, bufferBytes, text);
}

int _wtoi(const char16_t* text) { return static_cast<int>(simulated::ReadNumber(text).value); }

LONG wcstol(const char16_t* text, char16_t** end, int) {
  const simulated::NumberRead number = simulated::ReadNumber(text);
  if (number.isOutOfRange) errno = ERANGE;
  // C declares the end as writable.
  if (end) *end = const_cast<char16_t*>(number.end);
  return static_cast<LONG>(number.value);
}

int _wcsicmp(const char16_t* left, const char16_t* right) {
  while (*left != 0 && simulated::AsciiLower(*left) == simulated::AsciiLower(*right)) ++left, ++right;
  return simulated::AsciiLower(*left) - simulated::AsciiLower(*right);
}

}  // namespace platform
