/** The facts about the machine that the report contains. */
#pragma once

#include <nlohmann/json.hpp>

namespace proof {

/** Version of Windows, code pages, locale, rights, processors. Nothing that identifies the machine. */
nlohmann::ordered_json ReadMachineFacts();

}  // namespace proof
