/** What is installed, and how its fields are told to a person. */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "KestrelbayGeneralSDK.h"

namespace cli {

/** How an icon text begins that is a picture, and no path on the machine. */
inline constexpr std::string_view kPictureStart = "data:image/png;base64,";

/** The list of one scan; given back when it goes. */
class Inventory {
 public:
  explicit Inventory(bool includeIcons) { GetInstalledAppList(&entries, &count, includeIcons); }
  ~Inventory() { ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count)); }
  Inventory(const Inventory&) = delete;
  Inventory& operator=(const Inventory&) = delete;

  std::span<const InstalledAppEntry> Apps() const { return {entries, count}; }

 private:
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
};

/** x86 or x64; empty where it is not known. */
std::string ArchitectureName(std::int32_t architecture);

/** The usual YYYYMMDD with its parts set apart; anything else as it is registered. */
std::string DateText(std::string date);

/** "1 application", and its like. */
std::string CountText(std::size_t count);

}  // namespace cli
