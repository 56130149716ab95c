/** Compares two lists of installed applications. */
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace cli {

/** One application: the fields of the C record, UTF-8. */
struct AppRecord {
  std::string displayName;
  std::string installLocation;
  std::string displayVersion;
  std::string displayIcon;
  std::string iconText;
  std::string installDate;
  std::string lastWriteTime;
  std::int32_t architecture = 0;
};

struct ListedText {
  std::string_view name;
  std::string AppRecord::*text;
};

/** All fields except the architecture, in the order of the record. */
inline constexpr std::array kListedTexts = {
    ListedText{"displayName", &AppRecord::displayName},
    ListedText{"installLocation", &AppRecord::installLocation},
    ListedText{"displayVersion", &AppRecord::displayVersion},
    ListedText{"displayIcon", &AppRecord::displayIcon},
    ListedText{"iconText", &AppRecord::iconText},
    ListedText{"installDate", &AppRecord::installDate},
    ListedText{"lastWriteTime", &AppRecord::lastWriteTime},
};

enum class AppChange { Appeared, Gone, Changed };

/** A text, or an architecture. */
using FieldValue = std::variant<std::string, std::int32_t>;

struct FieldDifference {
  std::string_view name;
  FieldValue before;
  FieldValue after;
};

struct AppDifference {
  AppChange change = AppChange::Changed;
  const AppRecord* app = nullptr;  ///< of the second list; of the first one if it is gone
  std::vector<FieldDifference> fields;
};

struct ListDifference {
  std::vector<AppDifference> apps;  ///< by name
  std::size_t same = 0;
};

/**
 * Pairs the applications of two lists and compares the pairs. The names of a pair are exactly equal. If
 * several applications have one name, the pairs are made in this order: equal in all fields but the icon;
 * same architecture and location; same architecture and version; same architecture; same location; the rest,
 * in list order.
 * @param includeIcons  whether icon texts are compared
 * @return points into both lists
 */
ListDifference CompareLists(std::span<const AppRecord> before, std::span<const AppRecord> after,
                            bool includeIcons);

}  // namespace cli
