/** The form of a capture, for its writer and its reader. */
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "simulated/base/Checksum.h"

namespace simulated {

/** The newest form that is written and read. */
inline constexpr std::uint32_t kCaptureFormat = 1;

/** Checksum of a machine.json without the checksum itself. Line ends and blanks between members do not count.
 */
inline std::string ChecksumOfDescription(nlohmann::json root) {
  root["capture"].erase("checksum");
  return Checksum(root.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace simulated
