/** The JUnit report that a test program writes. */
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>

namespace proof {

/**
 * Counts the tests of a report. The test program reports a test that cannot run on this machine as failed.
 * Rewrites each of these as skipped in the file.
 * @return an object: `tests` is their number, `failed` a list of names, `notRun` a list of tests with reasons
 */
nlohmann::ordered_json ReadReport(const std::filesystem::path& path);

}  // namespace proof
