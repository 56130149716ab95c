/** What a harness asks of its subject beyond not crashing. */
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

/** Ends the program where the condition does not hold, so that the fuzzer keeps the input. */
inline void Expect(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "not so: %s\n", what);
  std::abort();
}

/** What came of the last input, in a few words: kept inputs say in outcomes/ what it should be. */
inline std::string& Outcome() {
  static std::string outcome;
  return outcome;
}

}  // namespace fuzz
