/** The JUnit report that a test program writes. */
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>

namespace proof {

/**
 * Counts the tests of a report. A test that cannot run on this machine is a failure in the report that the
 * program writes; here it becomes a skipped test.
 * @return an object of tests, failed and notRun: the last two are lists, of names, and of test and reason
 */
nlohmann::ordered_json ReadReport(const std::filesystem::path& path);

}  // namespace proof
