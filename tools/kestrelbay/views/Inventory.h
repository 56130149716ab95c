/** The installed applications, and the texts of their fields for a person. */
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <string_view>

#include "KestrelbayGeneralSDK.h"

namespace cli {

/** The start of an icon text that is a picture. Other icon texts are paths on the machine. */
inline constexpr std::string_view kPictureStart = "data:image/png;base64,";

/** Owns the list of one scan. */
class Inventory {
 public:
  explicit Inventory(bool includeIcons) { GetInstalledAppList(&entries_, &count_, includeIcons); }
  ~Inventory() { ReleaseInstalledAppList(&entries_, static_cast<std::int32_t>(count_)); }
  Inventory(const Inventory&) = delete;
  Inventory& operator=(const Inventory&) = delete;

  std::span<const InstalledAppEntry> Apps() const { return {entries_, count_}; }

 private:
  InstalledAppEntry* entries_ = nullptr;
  std::uint32_t count_ = 0;
};

/** Returns an object with the fields of the C record, in the same order. */
nlohmann::ordered_json ToJson(const InstalledAppEntry& app);

/** Returns x86 or x64; empty if it is not known. */
std::string ArchitectureName(std::int32_t architecture);

/** Returns YYYY-MM-DD for YYYYMMDD, and any other text unchanged. */
std::string DateText(std::string date);

/** Returns a count in words, such as "1 application". */
std::string CountText(std::size_t count);

}  // namespace cli
