/** Standard output, buffered. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace cli {

/**
 * Collects output and writes it in large pieces. If the reader of a pipe has closed it, later output is
 * dropped silently, because that reader has what it wanted. Any other failure is thrown as a Failure, once.
 */
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::string_view bytes);
  /**
   * Writes a JSON value without a line end. Invalid UTF-8 becomes U+FFFD. On a terminal, control characters
   * and characters that change the direction of the text are written as escapes, which does not change the
   * value.
   */
  void WriteJson(const nlohmann::ordered_json& value);
  void WriteJsonLine(const nlohmann::ordered_json& value);
  /** Writes a secret at once, without a copy in the buffer. */
  void WriteSecret(std::string_view bytes);
  /** Writes what is buffered. Call it before the process ends: there is no flush at the end. */
  void Flush();

 private:
  void WriteThrough(std::string_view bytes);

  std::string buffer_;
  bool isClosed_ = false;
};

}  // namespace cli
