// Texts and buffers of a host at the end of a page. Behind them is a page without access, so a byte too many
// crashes in each build and not only under a sanitizer.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "exports/HostText.h"

namespace kestrelbay {
namespace {

/** Memory that ends where a page without access begins. */
class GuardedBytes {
 public:
  explicit GuardedBytes(std::size_t size) {
    pages_ = static_cast<char*>(
        mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (pages_ == MAP_FAILED || mprotect(pages_ + page_, page_, PROT_NONE) != 0)
      throw std::runtime_error("no guarded page");
    data_ = pages_ + page_ - size;
  }
  /** Holds the text and its NUL. */
  explicit GuardedBytes(const std::string& text) : GuardedBytes(text.size() + 1) {
    std::memcpy(data_, text.c_str(), text.size() + 1);
  }
  ~GuardedBytes() { munmap(pages_, 2 * page_); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  char* Data() const { return data_; }

 private:
  std::size_t page_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  char* pages_ = nullptr;
  char* data_ = nullptr;
};

class GuardedText : public testing::TestWithParam<std::size_t> {};

TEST_P(GuardedText, IsReadUpToItsNulOnly) {
  const std::string text(GetParam(), 'x');
  const GuardedBytes guarded(text);
  EXPECT_EQ(TextOf(guarded.Data()), text);
}

TEST_P(GuardedText, IsWrittenUpToItsNulOnly) {
  const std::string text(GetParam(), 'x');
  const GuardedBytes guarded(text.size() + 1);
  auto size = static_cast<std::int32_t>(text.size() + 1);
  EXPECT_TRUE(CopyToHost(text, guarded.Data(), &size));
  EXPECT_EQ(std::string_view(guarded.Data()), text);
}

TEST_P(GuardedText, IsNotTouchedIfItsBufferIsTooSmall) {
  const std::string text(GetParam() + 2, 'x');
  const GuardedBytes guarded(1);
  std::int32_t size = 1;
  EXPECT_FALSE(CopyToHost(text, guarded.Data(), &size));
  EXPECT_EQ(*guarded.Data(), '\0');
}

TEST(GuardedTextDeathTest, AByteTooManyCrashes) {
  const GuardedBytes guarded("text");
  EXPECT_DEATH(static_cast<void>(*const_cast<volatile char*>(guarded.Data() + 5)), "");
}

INSTANTIATE_TEST_SUITE_P(Sizes, GuardedText, testing::Values(0U, 1U, 7U, 8U, 15U, 16U, 63U, 520U));

}  // namespace
}  // namespace kestrelbay
