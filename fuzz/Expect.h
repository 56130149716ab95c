/** What a harness asks of its subject beyond not crashing. */
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

/** Ends the program where the condition does not hold, so that the fuzzer keeps the input. */
inline void Expect(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "not so: %s\n", what);
  std::abort();
}

}  // namespace fuzz
