/** An explanation as text: tables for a person, and the names that JSON uses. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "console/Output.h"
#include "explain/Explanation.h"

namespace cli {

/** The part of an explanation that is printed: all of it, or the keys and records of one name, by index. */
struct ExplainedPart {
  const kestrelbay::Explanation& all;
  std::string name;  ///< empty for all
  std::vector<std::size_t> keys;
  std::vector<std::size_t> records;
};

/** Returns the name of a field, such as "displayName". */
std::string_view FieldName(kestrelbay::AppField field);
/** Returns a name such as "left out". */
std::string_view FateName(kestrelbay::Fate fate);
/** Returns one word, such as "systemComponent". */
std::string_view RuleName(kestrelbay::Verdict verdict);
/** Returns "text", "missing", "tooLong", "otherType" or "unreadable". */
std::string_view FoundName(const kestrelbay::ValueFound& found);

/** Prints each scan root and a table of the keys below it, then the count of keys for each fate. */
void PrintOverview(Output& out, const kestrelbay::Explanation& explanation);

/**
 * Prints each key with everything that was read of it, then each record with the sources of its fields, then,
 * if all is printed, the count of keys for each fate.
 */
void PrintPart(Output& out, const ExplainedPart& part);

}  // namespace cli
