#include "console/Output.h"

#include <nlohmann/json.hpp>

#include "console/Failure.h"
#include "console/System.h"

namespace cli {
namespace {

constexpr std::size_t kPieceBytes = 64 * 1024;

}  // namespace

void Output::Write(std::string_view bytes) {
  pending += bytes;
  if (pending.size() >= kPieceBytes) Flush();
}

void Output::WriteJson(const nlohmann::ordered_json& value) {
  Write(value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void Output::WriteJsonLine(const nlohmann::ordered_json& value) {
  WriteJson(value);
  Write("\n");
}

void Output::Flush() {
  const std::string bytes = std::exchange(pending, {});
  if (ended || bytes.empty()) return;
  std::string reason;
  const WriteResult result = cli::Write(Stream::Out, bytes, reason);
  ended = result != WriteResult::Done;
  if (result == WriteResult::Failed) {
    throw Failure("cannot write to standard output: " + reason + "; send it to another place");
  }
}

}  // namespace cli
