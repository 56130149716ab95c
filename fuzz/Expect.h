/** Checks of a harness, beyond not crashing. */
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

/** Ends the program if the condition is false, so that the fuzzer keeps the input. */
inline void Expect(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "not so: %s\n", what);
  std::abort();
}

/** The outcome of the last input in a few words. Files in outcomes/ contain the expected ones. */
inline std::string& Outcome() {
  static std::string outcome;
  return outcome;
}

}  // namespace fuzz
