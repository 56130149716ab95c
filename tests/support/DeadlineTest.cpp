// A test that never ends. The program must name it and end.
#include <gtest/gtest.h>
#include <unistd.h>

TEST(Deadline, EndsATestThatWaitsForever) {
  for (;;) pause();
}
