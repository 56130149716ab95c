// A test that takes longer than its deadline. The program must name it and end.
#include <gtest/gtest.h>
#include <unistd.h>

TEST(Deadline, EndsATestThatTakesTooLong) {
  sleep(30);
  FAIL() << "the deadline of one second did not end this test";
}
