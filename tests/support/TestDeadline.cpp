// Ends a test program whose current test takes too long, and names the test. Many tests wait for a thread
// without a limit. Without this file, a wait that never ends would be reported only as a killed program.
//
// The variable KESTRELBAY_TEST_SECONDS sets the limit. Uses the process's alarm, because a thread would be
// one more in tests that count threads, locks and memory.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr unsigned kUsualSeconds = 150;

/** Prepared before the test, because a signal handler may not format. */
char message[512];

extern "C" void EndProgram(int) {
  const ssize_t ignored = write(STDERR_FILENO, message, std::strlen(message));
  static_cast<void>(ignored);
  _exit(EXIT_FAILURE);
}

class Deadline : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& test) override {
    const char* const given = std::getenv("KESTRELBAY_TEST_SECONDS");
    const unsigned seconds = given ? static_cast<unsigned>(std::atoi(given)) : kUsualSeconds;
    std::snprintf(message, sizeof message, "%s.%s did not end within %u s\n", test.test_suite_name(),
                  test.name(), seconds);
    std::signal(SIGALRM, EndProgram);
    alarm(seconds);
  }
  void OnTestEnd(const testing::TestInfo&) override { alarm(0); }
};

[[maybe_unused]] const bool isListening = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new Deadline);
  return true;
}();

}  // namespace
