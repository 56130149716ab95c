#include "console/Output.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "console/DisplayText.h"
#include "console/Failure.h"
#include "console/System.h"

namespace cli {
namespace {

constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

/** The escape of JSON for a character that acts on a terminal. Line feeds and tabs are between values. */
std::string JsonEscape(char32_t code) {
  if (!ActsOnTerminal(code) || code == '\n' || code == '\t') return {};
  // All these characters have at most 16 bits.
  std::array<char, sizeof "\\u0000"> text{};
  std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(code) & 0xFFFF);
  return text.data();
}

}  // namespace

void Output::Write(std::string_view bytes) {
  buffer_ += bytes;
  if (buffer_.size() >= kPieceBytes) Flush();
}

void Output::WriteJson(const nlohmann::ordered_json& value) {
  const std::string text = value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  Write(IsTerminal(Stream::Out) ? ReplaceCharacters(text, 1, JsonEscape) : text);
}

void Output::WriteJsonLine(const nlohmann::ordered_json& value) {
  WriteJson(value);
  Write("\n");
}

void Output::WriteSecret(std::string_view bytes) {
  Flush();
  WriteThrough(bytes);
}

void Output::Flush() { WriteThrough(std::exchange(buffer_, {})); }

void Output::WriteThrough(std::string_view bytes) {
  if (isClosed_ || bytes.empty()) return;
  std::string reason;
  const WriteResult result = cli::Write(Stream::Out, bytes, reason);
  isClosed_ = result != WriteResult::Done;
  if (result == WriteResult::Failed) {
    throw Failure("cannot write to standard output: " + reason + "; redirect it to another file or program");
  }
}

}  // namespace cli
