/** Standard output: collected, and written in large pieces. */
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace cli {

/**
 * A reader that has gone away has what it wanted: what is written after that is dropped without a word. Any
 * other failure is thrown as a Failure, once.
 */
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::string_view bytes);
  /** The text of a JSON value, without line end; bytes that are not UTF-8 become U+FFFD. */
  void WriteJson(const nlohmann::ordered_json& value);
  void WriteJsonLine(const nlohmann::ordered_json& value);
  /** Everything written so far leaves the process. Nothing is written without it at the end. */
  void Flush();

 private:
  std::string pending;
  bool ended = false;
};

}  // namespace cli
