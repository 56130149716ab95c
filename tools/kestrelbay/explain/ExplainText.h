/** An explanation in words: for a person in tables, and the names that a program reads. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "console/Output.h"
#include "explain/Explanation.h"

namespace cli {

/** What is told of an explanation: all of it, or what concerns one name. Indexes into its keys and records.
 */
struct ExplainedPart {
  const kestrelbay::Explanation& all;
  std::string name;  ///< empty where all is told
  std::vector<std::size_t> keys;
  std::vector<std::size_t> records;
};

/** Such as "displayName": the name of a field of the list, or of what a record has beside it. */
std::string_view FieldName(kestrelbay::AppField field);
/** Such as "left out". */
std::string_view FateName(kestrelbay::Fate fate);
/** One word for a program, such as "systemComponent". */
std::string_view RuleName(kestrelbay::Verdict verdict);
/** One word for a program: "text", "missing", "tooLong", "otherType" or "unreadable". */
std::string_view FoundName(const kestrelbay::ValueFound& found);

/** Each place and, in a table, the keys below it; then how many keys met which fate. */
void PrintOverview(Output& out, const kestrelbay::Explanation& explanation);

/**
 * Each key with all that was read of it; then each record with the sources of its fields; then, where all is
 * told, how many keys met which fate.
 */
void PrintPart(Output& out, const ExplainedPart& part);

}  // namespace cli
