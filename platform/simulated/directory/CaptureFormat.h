/** What both who writes a capture and who reads it must know of its form. */
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "simulated/base/Checksum.h"

namespace simulated {

/** The newest form that is written and read. */
inline constexpr std::uint32_t kCaptureFormat = 1;

/** Of all that machine.json says but this sum itself: line ends and blanks between members do not matter. */
inline std::string ChecksumOfDescription(nlohmann::json root) {
  root["capture"].erase("checksum");
  return Checksum(root.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace simulated
